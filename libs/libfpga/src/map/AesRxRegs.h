#pragma once

#include <array>

#include "map/AudioMap.h"
#include "map/FieldMap.h"

/// Register map of the AES3 receiver: two words for each pair, then the core's own.
namespace aes_rx_regs {

using audio_map::kPairs;
using enum Access;

// clang-format off
inline constexpr std::array<Field, 3> kPairFields{{
  // name                  offset lsb width access
  {"aesLocked#",              0,  0,  1, kReadOnly},
  {"nonPcmPair#",             4,  7,  1, kReadOnly,        "the pair carries bursts"},
  {"nonPcmDolbyType#",        4,  0,  5, kReadOnly,        "their data type (SMPTE ST 337)"},
}};
inline constexpr std::array<Field, 8> kCoreFields{{
  {"writeReadStartOffset",   64, 20,  8},
  {"writeReadRunOffset",     64, 12,  8},
  {"reset",                  64,  8,  1},
  {"manualBypass",           64,  0,  8},
  {"irqMask",                68,  0,  2, kReadWrite,       "a 1 masks the source"},
  {"irqStatus",              72,  0,  2, kReadOnly,        "pending sources"},
  {"irqClr",                 76,  0,  2, kReadWrite,       "a 1 clears the source; written back to 0"},
  {"unlockSaved",            80,  0,  8, kWriteOneToClear, "pairs that lost their lock"},
}};
// clang-format on

inline constexpr Repeat kEachPair{.wordStride = 8};
inline constexpr auto kFields = JoinFields(
    RepeatField<kPairs>(kPairFields[0], kEachPair), RepeatField<kPairs>(kPairFields[1], kEachPair),
    RepeatField<kPairs>(kPairFields[2], kEachPair), kCoreFields);
static_assert(WellFormed(kFields));

}  // namespace aes_rx_regs
