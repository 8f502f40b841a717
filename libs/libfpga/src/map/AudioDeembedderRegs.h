#pragma once

#include <array>

#include "map/AudioMap.h"
#include "map/FieldMap.h"

/// Register map of an audio de-embedder: 16 channels, which are 8 pairs.
namespace audio_deembedder_regs {

using audio_map::kChannels;
using audio_map::kPairs;
using enum Access;

// clang-format off
inline constexpr std::array<Field, 9> kControlFields{{
  // name                    offset lsb width access
  {"debug_audio_data",        0x00,  8,  1},
  {"switch_line",             0x00,  4,  4, kReadWrite,       "line of the video switching point"},
  {"deembed_en",              0x00,  0,  1},
  {"dolby_realign",           0x04,  9,  8},
  {"lines_to_wait",           0x04,  5,  4},
  {"alignment_err_saved",     0x04,  3,  2, kWriteOneToClear},
  {"fifo_auto_reset",         0x04,  2,  1},
  {"reset_on_invalid_format", 0x04,  1,  1},
  {"reset",                   0x04,  0,  1},
}};

// A pair's register: the line on which a burst was found, 0 for none, and its data type.
inline constexpr Field kPairLine{"nonpcm_channel_pair_#_line", 0x08, 5, 12, kReadOnly};
inline constexpr Field kPairType{"nonpcm_channel_pair_#_type", 0x08, 0,  5, kReadOnly};

inline constexpr std::array<Field, 12> kStatusFields{{
  // name                    offset lsb width access
  {"fifoFull",                0x48,  0, 16, kWriteOneToClear, "a bit for each channel"},
  {"fifoOverflow",            0x4C,  0, 16, kWriteOneToClear},
  {"fifoEmpty",               0x50,  0, 16, kWriteOneToClear},
  {"fifoUnderflow",           0x54,  0, 16, kWriteOneToClear},
  {"audioStatus",             0x58,  0, 16, kReadOnly,        "1 for a channel present"},
  {"sampleErrorMask",         0x6C,  0, 32},
  {"irqMask",                 0x70,  0, 13, kReadWrite,       "1 masks a source"},
  {"irqStatus",               0x74,  0, 13, kReadOnly},
  {"irqClr",                  0x78,  0, 13, kReadWrite,       "a held 1 clears a source"},
  {"avSyncClearResults",      0x7C, 20,  1, kReadWrite,       "a held 1 clears"},
  {"avSyncStripeWidthMinus1", 0x7C, 12,  8, kReadWrite,       "samples"},
  {"avSyncTestLineToSample",  0x7C,  0, 12},
}};

// Results of the audio and video alignment test, one for each channel. Where they lie is provisional: it holds for this
// revision of the FPGA.
inline constexpr Field kTestLine {"avSyncTestLine_#",  0x80,  0, 12, kReadOnly};
inline constexpr Field kTestFrame{"avSyncTestFrame_#", 0x80, 12, 10, kReadOnly};
inline constexpr Field kTestValue{"avSyncTestValue_#", 0x80, 22, 10, kReadOnly};
inline constexpr std::array<Field, 3> kTestFifoFields{{
  // name                    offset lsb width access
  {"avSyncFifoFrameNum",      0xC0,  0, 16, kReadOnly},
  {"avSyncFifoEmpty",         0xC0, 16,  1, kReadOnly},
  {"avSyncFifoRd",            0xC0, 17,  1, kStrobe,          "brings the next frame number out"},
}};
// clang-format on
inline constexpr auto kProvisionalTestFields =
    JoinFields(RepeatField<kChannels>(kTestLine), RepeatField<kChannels>(kTestFrame),
               RepeatField<kChannels>(kTestValue), kTestFifoFields);

inline constexpr auto kFields =
    JoinFields(kControlFields, RepeatField<kPairs>(kPairLine), RepeatField<kPairs>(kPairType),
               kStatusFields, kProvisionalTestFields);
static_assert(WellFormed(kFields));

}  // namespace audio_deembedder_regs
