#pragma once

#include <array>
#include <cstdint>

#include "map/AudioMap.h"
#include "map/FieldMap.h"

/// Register map of the audio mixer: its control and status, and the way into its coefficient
/// memory.
namespace audio_mixer_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 10> kFields{{
  // name             offset lsb width access
  {"set_toggle",       0x00,  1,  1, kStrobe,          "asks for a swap of the two sides"},
  {"reset",            0x00,  0,  1},
  {"large_mixer",      0x04, 18,  1, kReadOnly},
  {"num_links",        0x04,  2,  8, kReadOnly},
  {"coeff_side",       0x04,  1,  1, kReadOnly,        "the side that the audio uses"},
  {"toggle_bit",       0x04,  0,  1, kReadOnly,        "1 while a swap is pending"},
  {"coeff_addr",       0x08,  0, 16, kReadWrite,       "where the next words go, upwards"},
  {"coeff_data",       0x0C,  0, 32, kReadWrite,       "small version: a whole word"},
  {"coeff_data_msw",   0x0C,  0, 32, kReadWrite,       "large version: source id", true},
  {"coeff_data_lsw",   0x10,  0, 32, kReadWrite,       "large version: gain, ends the word"},
}};
// clang-format on
static_assert(WellFormed(kFields));

// The coefficient memory: the word of coefficient n of channel c of output link l has the address
// (l * kChannels + c) * kCoeffs + n.
inline constexpr std::uint32_t kChannels = audio_map::kChannels;  ///< of a link
inline constexpr std::uint32_t kCoeffs = 16;                      ///< of an output channel
inline constexpr std::uint32_t kWordsPerLink = kChannels * kCoeffs;
inline constexpr std::uint32_t kMaxLinks = 255;  ///< that num_links can hold

// A coefficient word: the source's link * kChannels + channel above the gain, which is two's
// complement with 16 fraction bits.
inline constexpr std::uint32_t kGainBits = 24;
inline constexpr std::uint32_t kGainMask = (1U << kGainBits) - 1;
inline constexpr std::uint32_t kSourceBits = 13;

}  // namespace audio_mixer_regs
