#include "cli/KeyDecoder.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace {

using cli::detail::KeyDecoder;
using cli::detail::KeyEvent;
using cli::detail::KeyType;

using Keys = std::vector<KeyEvent>;

KeyEvent Key(KeyType type) {
  return {type, ' '};
}

KeyEvent Char(char c) {
  return {KeyType::Ascii, c};
}

Keys Decode(std::string_view bytes, KeyDecoder& decoder) {
  Keys keys;
  for (const char byte : bytes) {
    if (const auto key = decoder.Feed(static_cast<std::uint8_t>(byte))) {
      keys.push_back(*key);
    }
  }
  return keys;
}

TEST(KeyDecoderTest, EveryByteAloneIsAKeyButTheEscape) {
  for (int byte = 0; byte < 256; ++byte) {
    KeyDecoder decoder;
    const auto key = decoder.Feed(static_cast<std::uint8_t>(byte));
    switch (byte) {
      case 4:
        EXPECT_EQ(key, Key(KeyType::EndOfInput));
        break;
      case 10:
        EXPECT_EQ(key, Key(KeyType::Return));
        break;
      case 27:
        EXPECT_EQ(key, std::nullopt);
        break;
      case 127:
        EXPECT_EQ(key, Key(KeyType::Backspace));
        break;
      default:
        EXPECT_EQ(key, Char(static_cast<char>(byte))) << byte;
    }
    EXPECT_EQ(decoder.IsInSequence(), byte == 27);
  }
}

TEST(KeyDecoderTest, EveryByteEndsOrGoesOnWithASequenceAsTheTableSays) {
  for (int i = 0; i < 256; ++i) {
    const char byte = static_cast<char>(i);
    KeyDecoder decoder;
    const Keys behindEscape = Decode(std::string("\x1b") + byte, decoder);
    EXPECT_EQ(behindEscape, byte == '[' ? Keys{} : Keys{Key(KeyType::Ignored)}) << i;

    Keys expected{Key(KeyType::Ignored)};
    switch (byte) {
      case 'A':
        expected = {Key(KeyType::Up)};
        break;
      case 'B':
        expected = {Key(KeyType::Down)};
        break;
      case 'C':
        expected = {Key(KeyType::Right)};
        break;
      case 'D':
        expected = {Key(KeyType::Left)};
        break;
      case 'F':
        expected = {Key(KeyType::End)};
        break;
      case 'H':
        expected = {Key(KeyType::Home)};
        break;
      case '3':
        expected = {};
        break;
      default:
        break;
    }
    decoder = KeyDecoder();
    EXPECT_EQ(Decode(std::string("\x1b[") + byte, decoder), expected) << i;
    EXPECT_EQ(decoder.IsInSequence(), byte == '3');

    decoder = KeyDecoder();
    EXPECT_EQ(Decode(std::string("\x1b[3") + byte, decoder),
              Keys{Key(byte == '~' ? KeyType::Delete : KeyType::Ignored)})
        << i;
    EXPECT_EQ(Decode("x", decoder), Keys{Char('x')});
  }
}

TEST(KeyDecoderTest, ABrokenOffSequenceIsDroppedWhereverItStands) {
  for (const std::string_view begun : {"\x1b", "\x1b[", "\x1b[3"}) {
    KeyDecoder decoder;
    EXPECT_EQ(Decode(begun, decoder), Keys{});
    EXPECT_EQ(decoder.BreakOff(), Key(KeyType::Ignored));
    EXPECT_EQ(Decode("A~", decoder), (Keys{Char('A'), Char('~')}));
    EXPECT_EQ(decoder.BreakOff(), std::nullopt);
  }
}

}  // namespace
