#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string_view>
#include <vector>

#include "regaccess/Bitfield.h"

/// Finds a module's field by a name that comes at run time, in a few nanoseconds and without an
/// allocation: an open hash table over entries that it doesn't own.
class FieldIndex {
 public:
  /// Adds a field under a name that is not there yet. Both must outlive the index and stay in
  /// place.
  void Add(std::string_view name, Bitfield& field);

  /// The field of this name, or null.
  Bitfield* Find(std::string_view name) const {
    if (slots_.empty()) {
      return nullptr;
    }
    const std::size_t mask = slots_.size() - 1;
    for (std::size_t i = _Hash(name) >> shift_;; i = (i + 1) & mask) {
      const Slot& slot = slots_[i];
      if (slot.field == nullptr || slot.name == name) {
        return slot.field;
      }
    }
  }

 private:
  struct Slot {
    std::string_view name;
    Bitfield* field = nullptr;
  };

  static std::uint64_t _EightBytes(const char* text) {
    std::uint64_t bytes = 0;
    std::memcpy(&bytes, text, sizeof bytes);
    return bytes;
  }

  // Names differ in their numbers, often by one digit at any place. Eight bytes at a time, of which
  // the last ones may overlap, are mixed by a multiplication; its upper half depends on all of
  // them.
  static std::uint64_t _Hash(std::string_view name) {
    constexpr std::uint64_t kOdd = 0x9E3779B97F4A7C15;  // 2^64 divided by the golden ratio
    std::uint64_t hash = name.size();
    if (name.size() < 8) {
      for (const char c : name) {
        hash = hash << 8 | static_cast<unsigned char>(c);
      }
      return hash * kOdd;
    }
    const char* const last = name.data() + name.size() - 8;
    for (const char* text = name.data(); text < last; text += 8) {
      hash = (hash ^ _EightBytes(text)) * kOdd;
      hash ^= hash >> 32;
    }
    hash = (hash ^ _EightBytes(last)) * kOdd;
    return hash;
  }

  void _Insert(const Slot& slot);

  std::vector<Slot> slots_;  // a power of two of them, at most half of them taken
  std::size_t count_ = 0;
  int shift_ = 64;  // leaves as many bits of a hash as number the slots
};
