#include "cli/WithoutControls.h"

#include <algorithm>
#include <cstddef>

namespace cli {

namespace {

unsigned ByteOf(char c) {
  return static_cast<unsigned char>(c);
}

std::size_t SizeByLead(unsigned lead) {
  if (lead < 0xC2 || lead > 0xF4) {
    return 1;
  }
  return lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
}

/// How many bytes at the front of `text`, which isn't empty, are one character: 1 for whatever
/// doesn't begin a valid sequence of UTF-8. One that is longer than need be isn't valid, so that no
/// control hides in it.
std::size_t CharacterSize(std::string_view text) {
  const unsigned lead = ByteOf(text[0]);
  const std::size_t size = SizeByLead(lead);
  const std::string_view rest = text.substr(1, size - 1);
  if (rest.size() + 1 < size ||
      std::any_of(rest.begin(), rest.end(), [](char c) { return (ByteOf(c) & 0xC0U) != 0x80; })) {
    return 1;
  }
  if (size > 2) {
    const unsigned second = ByteOf(rest[0]);
    const unsigned lowest = lead == 0xE0 ? 0xA0 : lead == 0xF0 ? 0x90 : 0x80;
    const unsigned highest = lead == 0xED ? 0x9F : lead == 0xF4 ? 0x8F : 0xBF;
    if (second < lowest || second > highest) {
      return 1;
    }
  }
  return size;
}

bool IsControl(std::string_view character) {
  const unsigned last = ByteOf(character.back());
  if (last >= 0x80 && last < 0xA0) {
    return character.size() == 1 || (character.size() == 2 && ByteOf(character[0]) == 0xC2);
  }
  return last < 0x20 || last == 0x7F;
}

}  // namespace

std::string WithoutControls(std::string_view text) {
  std::string shown;
  while (!text.empty()) {
    const std::string_view character = text.substr(0, CharacterSize(text));
    if (!IsControl(character)) {
      shown += character;
    }
    text.remove_prefix(character.size());
  }
  return shown;
}

}  // namespace cli
