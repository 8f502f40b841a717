#pragma once

#include <array>

#include "map/FieldMap.h"

/// Register map of the peak meters of one or more links.
namespace audio_peak_meter_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 4> kFields{{
  // name             offset lsb width access
  {"reset",              0,  1,  1},
  {"switch_bank",        0,  0,  1, kStrobe,          "hands out what was measured till now"},
  {"peak_data",          4,  0, 23, kReadAdvances,    "each read gives the next channel's peak"},
  {"num_audio_links",    8,  0,  8, kReadOnly,        "links of 16 channels"},
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace audio_peak_meter_regs
