#pragma once

#include <array>

#include "regaccess/FieldMap.h"

/// Register map of the peak meters of one or more links.
namespace audio_peak_meter_regs {

// clang-format off
inline constexpr std::array<Field, 4> kFields{{
  // name             offset lsb width access
  {"reset",              0,  1,  1},
  {"switch_bank",        0,  0,  1, Access::kStrobe},    // hands out what was measured till now
  {"peak_data",          4,  0, 23, Access::kReadOnly},  // each read gives the next channel's peak
  {"num_audio_links",    8,  0,  8, Access::kReadOnly},  // links of 16 channels
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace audio_peak_meter_regs
