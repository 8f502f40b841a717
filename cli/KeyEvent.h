#pragma once

#include <cstdint>
#include <utility>

namespace cli::detail {

/// The kind of a key event.
enum class KeyType : std::uint32_t {
  Ascii = 0,
  Up = 1,
  Down = 2,
  Left = 3,
  Right = 4,
  Backspace = 5,
  Delete = 6,
  Home = 7,
  End = 8,
  Return = 9,
  EndOfInput = 10,
  Ignored = 11,
};

/// A key and, for `Ascii`, its byte; a blank for all others.
using KeyEvent = std::pair<KeyType, char>;

}  // namespace cli::detail
