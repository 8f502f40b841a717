#pragma once

#include <array>

#include "map/FieldMap.h"

/// Register map of the audio clock generator of an input.
namespace audio_input_clk_gen_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 8> kFields{{
  // name               offset lsb width access
  {"reset",                0, 14,  1},
  {"checkEn",              0, 13,  1},
  {"checkReset",           0, 12,  1},
  {"videoTypeOverride",    0,  6,  1},
  {"videoType",            0,  1,  5},
  {"irqMask",             24,  0,  3, kReadWrite,       "a 1 masks the source"},
  {"irqClr",              28,  0,  3, kStrobe,          "a 1 clears the source"},
  {"irqStatus",           32,  0,  3, kReadOnly,        "pending sources"},
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace audio_input_clk_gen_regs
