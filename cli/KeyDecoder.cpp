#include "cli/KeyDecoder.h"

#include <algorithm>
#include <array>

namespace cli::detail {

namespace {

constexpr std::uint8_t kCtrlD = 4;
constexpr std::uint8_t kLineFeed = 10;
constexpr std::uint8_t kEscape = 27;
constexpr std::uint8_t kDelete = 127;

struct Row {
  std::uint8_t byte;
  KeyType key;
};

constexpr std::array kSingleKeys{
    Row{kLineFeed, KeyType::Return},
    Row{kCtrlD, KeyType::EndOfInput},
    Row{kDelete, KeyType::Backspace},
};

// The byte behind "ESC [".
constexpr std::array kBracketKeys{
    Row{'A', KeyType::Up},   Row{'B', KeyType::Down}, Row{'C', KeyType::Right},
    Row{'D', KeyType::Left}, Row{'F', KeyType::End},  Row{'H', KeyType::Home},
};

template <std::size_t N>
std::optional<KeyType> LookUp(const std::array<Row, N>& rows, std::uint8_t byte) {
  const auto row =
      std::find_if(rows.begin(), rows.end(), [&](const Row& r) { return r.byte == byte; });
  if (row == rows.end()) {
    return std::nullopt;
  }
  return row->key;
}

KeyEvent Key(KeyType type) {
  return {type, ' '};
}

}  // namespace

std::optional<KeyEvent> KeyDecoder::Feed(std::uint8_t byte) {
  switch (state) {
    case State::kEscape:
      if (byte == '[') {
        state = State::kBracket;
        return std::nullopt;
      }
      return BreakOff();
    case State::kBracket:
      return _FeedBracket(byte);
    case State::kBracket3:
      state = State::kStart;
      return Key(byte == '~' ? KeyType::Delete : KeyType::Ignored);
    case State::kStart:
      break;
  }
  return _FeedStart(byte);
}

std::optional<KeyEvent> KeyDecoder::BreakOff() {
  if (!IsInSequence()) {
    return std::nullopt;
  }
  state = State::kStart;
  return Key(KeyType::Ignored);
}

std::optional<KeyEvent> KeyDecoder::_FeedStart(std::uint8_t byte) {
  if (byte == kEscape) {
    state = State::kEscape;
    return std::nullopt;
  }
  if (const auto key = LookUp(kSingleKeys, byte)) {
    return Key(*key);
  }
  return KeyEvent{KeyType::Ascii, static_cast<char>(byte)};
}

std::optional<KeyEvent> KeyDecoder::_FeedBracket(std::uint8_t byte) {
  if (byte == '3') {
    state = State::kBracket3;
    return std::nullopt;
  }
  state = State::kStart;
  return Key(LookUp(kBracketKeys, byte).value_or(KeyType::Ignored));
}

}  // namespace cli::detail
