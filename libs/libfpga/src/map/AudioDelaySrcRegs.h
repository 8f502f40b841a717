#pragma once

#include <array>

#include "map/FieldMap.h"

/// Register map of the sample-rate converter beside an audio delay line. It counts samples at 48
/// kHz.
namespace audio_delay_src_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 18> kFields{{
  // name                       offset lsb width access
  {"logic_reset",                0x00, 30,  1},
  {"grow_else_shrink_delay",     0x00, 29,  1},
  {"new_adjustment",             0x00, 28,  1, kStrobe,          "a written 1 starts one"},
  {"application_samples",        0x00,  0, 28, kReadWrite,       "samples that the adjustment is spread over"},
  {"audio_src_running",          0x04, 30,  1, kReadOnly},
  {"apply_adjustment_pending",   0x04, 29,  1, kReadOnly},
  {"apply_adjustment",           0x04, 28,  1, kReadOnly,        "1 while an adjustment runs"},
  {"sample_cnt",                 0x04,  0, 28, kReadOnly},
  {"write_read_start_offset",    0x08, 15,  6},
  {"write_read_run_offset",      0x08,  9,  6},
  {"fixed_ratio",                0x08,  8,  1},
  {"ratio_delta",                0x08,  0,  8},
  {"write_pointer",              0x0C,  8,  7, kReadOnly},
  {"read_pointer",               0x0C,  0,  7, kReadOnly},
  {"irq_sample_num",             0x10,  0, 20, kReadWrite,       "samples between interrupts"},
  {"irq_mask",                   0x14,  0,  1, kReadWrite,       "1 means masked"},
  {"irq_status",                 0x18,  0,  1, kReadOnly},
  {"irq_clr",                    0x1C,  0,  1, kReadWrite,       "clears the status while it is 1"},
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace audio_delay_src_regs
