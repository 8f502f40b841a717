#pragma once

#include <array>

#include "map/FieldMap.h"

/// Register map of the interrupt aggregator: 256 lines in eight groups of 32.
namespace irq_handler_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 25> kFields{{
  // name                offset lsb width access
  {"irq_mask_0_31",       0x00,  0, 32, kReadWrite,       "1 means masked"},
  {"irq_mask_32_63",      0x04,  0, 32},
  {"irq_mask_64_95",      0x08,  0, 32},
  {"irq_mask_96_127",     0x0C,  0, 32},
  {"irq_mask_128_159",    0x10,  0, 32},
  {"irq_mask_160_191",    0x14,  0, 32},
  {"irq_mask_192_223",    0x18,  0, 32},
  {"irq_mask_224_255",    0x1C,  0, 32},
  {"irq_status_0_31",     0x20,  0, 32, kReadOnly,        "1 means raised"},
  {"irq_status_32_63",    0x24,  0, 32, kReadOnly},
  {"irq_status_64_95",    0x28,  0, 32, kReadOnly},
  {"irq_status_96_127",   0x2C,  0, 32, kReadOnly},
  {"irq_status_128_159",  0x30,  0, 32, kReadOnly},
  {"irq_status_160_191",  0x34,  0, 32, kReadOnly},
  {"irq_status_192_223",  0x38,  0, 32, kReadOnly},
  {"irq_status_224_255",  0x3C,  0, 32, kReadOnly},
  {"irq_clr_0_31",        0x40,  0, 32, kStrobe,          "a written 1 clears"},
  {"irq_clr_32_63",       0x44,  0, 32, kStrobe},
  {"irq_clr_64_95",       0x48,  0, 32, kStrobe},
  {"irq_clr_96_127",      0x4C,  0, 32, kStrobe},
  {"irq_clr_128_159",     0x50,  0, 32, kStrobe},
  {"irq_clr_160_191",     0x54,  0, 32, kStrobe},
  {"irq_clr_192_223",     0x58,  0, 32, kStrobe},
  {"irq_clr_224_255",     0x5C,  0, 32, kStrobe},
  {"irqOutputStatus",     0x60,  0,  1, kReadOnly,        "1 while the summary output is raised"},
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace irq_handler_regs
