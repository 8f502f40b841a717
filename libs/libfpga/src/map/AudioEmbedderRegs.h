#pragma once

#include <array>

#include "map/AudioMap.h"
#include "map/FieldMap.h"

/// Register map of an audio embedder: 16 channels, which are 8 pairs and 4 groups.
namespace audio_embedder_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 23> kControlFields{{
  // name                        offset lsb width access
  {"nonPcmSelect",                0x00,  4, 16, kReadWrite,       "1 for a channel not PCM"},
  {"disableCBitRegen",            0x00,  3,  1},
  {"embeddingIsActive",           0x00,  0,  1, kReadOnly},
  {"reset",                       0x04, 31,  1},
  {"forceStripper",               0x04, 28,  1},
  {"enableStripper",              0x04, 27,  1},
  {"hdAFEnable",                  0x04, 26,  1},
  {"acFrameLimit",                0x04, 22,  4},
  {"hdClkPhaseEnable",            0x04, 21,  1},
  {"video3g",                     0x04, 20,  1},
  {"aesGrpEn",                    0x04, 16,  4, kReadWrite,       "1 for a group that is on"},
  {"fifoRdyThresh",               0x04,  8,  8},
  {"irqReset",                    0x04,  0,  1},
  {"outRate",                     0x08, 16, 16},
  {"embedRate",                   0x08,  0, 16},
  {"fifoLevelGroup1",             0x0C,  0, 10, kReadOnly},
  {"fifoLevelGroup2",             0x10,  0, 10, kReadOnly},
  {"fifoLevelGroup3",             0x14,  0, 10, kReadOnly},
  {"fifoLevelGroup4",             0x18,  0, 10, kReadOnly},
  {"irqMask",                     0x1C,  0,  1, kReadWrite,       "1 masks the interrupt"},
  {"irqStatus",                   0x20,  0,  1, kReadOnly},
  {"irqClr",                      0x24,  0,  1, kReadWrite,       "a held 1 clears irqStatus"},
  {"errClr",                      0x28,  0,  1, kStrobe,          "a 1 clears errStatus"},
}};

inline constexpr std::array<Field, 1> kErrorFields{{
  {"errStatus",                   0x28,  0, 16, kReadOnly,        "", true},
}};

// Pairs count from 1 here, two to a register: the line of a pair's burst, less 6.
inline constexpr Field kPairLine{"nonPcmLinePair#", 0x2C, 0, 12, kReadOnly};
inline constexpr Repeat kTwoPairsPerWord{
    .perWord = 2, .bitStride = 12, .wordStride = 4, .firstNumber = 1};

inline constexpr std::array<Field, 5> kPatternFields{{
  // name                        offset lsb width access
  {"avAlignTpgEn",                0x3C, 18,  1},
  {"avAlignTpgStripeWidthMinus1", 0x3C, 10,  8, kReadWrite,       "samples"},
  {"avAlignTpgNumFrames",         0x3C,  0, 10, kReadWrite,       "length of the pattern's cycle"},
  {"avAlignTpgLineStart",         0x40, 10, 12},
  {"avAlignTpgFrameStart",        0x40,  0, 10},
}};
// clang-format on

inline constexpr auto kFields =
    JoinFields(kControlFields, kErrorFields,
               RepeatField<audio_map::kPairs>(kPairLine, kTwoPairsPerWord), kPatternFields);
static_assert(WellFormed(kFields));

}  // namespace audio_embedder_regs
