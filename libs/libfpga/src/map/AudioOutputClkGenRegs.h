#pragma once

#include <array>

#include "map/FieldMap.h"

/// Register map of the audio clock generator of the output.
namespace audio_output_clk_gen_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 7> kFields{{
  // name         offset lsb width access
  {"reset",          0,  3,  1},
  {"clkIsFailed",    0,  2,  1, kWriteOneToClear},
  {"cycleError",     0,  1,  1, kWriteOneToClear},
  {"phaseError",     0,  0,  1, kWriteOneToClear},
  {"irqMask",        4,  0,  3, kReadWrite,       "a 1 masks the source"},
  {"irqClr",         8,  0,  3, kReadWrite,       "while it is 1, it holds the source clear"},
  {"irqStatus",     12,  0,  3, kReadOnly,        "pending sources"},
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace audio_output_clk_gen_regs
