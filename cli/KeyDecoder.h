#pragma once

#include <cstdint>
#include <optional>

#include "cli/KeyEvent.h"

namespace cli::detail {

/// Turns the bytes of a terminal into keys, one byte at a time; a pure state machine. The escape
/// sequences are those of ECMA-48 terminals ("ESC [" and a final byte). All bytes are defined.
class KeyDecoder {
 public:
  /// The key that `byte` completes; none inside an escape sequence.
  std::optional<KeyEvent> Feed(std::uint8_t byte);

  /// Gives up an escape sequence that doesn't go on: `Ignored`; none if there was none.
  std::optional<KeyEvent> BreakOff();

  /// True while an escape sequence waits for its next byte.
  bool IsInSequence() const { return state != State::kStart; }

 private:
  enum class State { kStart, kEscape, kBracket, kBracket3 };

  std::optional<KeyEvent> _FeedStart(std::uint8_t byte);
  std::optional<KeyEvent> _FeedBracket(std::uint8_t byte);

  State state = State::kStart;
};

}  // namespace cli::detail
