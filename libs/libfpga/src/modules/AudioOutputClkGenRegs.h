#pragma once

#include <array>

#include "regaccess/FieldMap.h"

/// Register map of the audio clock generator of the output.
namespace audio_output_clk_gen_regs {

// clang-format off
inline constexpr std::array<Field, 7> kFields{{
  // name         offset lsb width access
  {"reset",          0,  3,  1},
  {"clkIsFailed",    0,  2,  1, Access::kWriteOneToClear},
  {"cycleError",     0,  1,  1, Access::kWriteOneToClear},
  {"phaseError",     0,  0,  1, Access::kWriteOneToClear},
  {"irqMask",        4,  0,  3},                     // a 1 masks the source
  {"irqClr",         8,  0,  3},                     // while it is 1, it holds the source clear
  {"irqStatus",     12,  0,  3, Access::kReadOnly},  // pending sources
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace audio_output_clk_gen_regs
