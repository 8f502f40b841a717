#pragma once

#include <array>

#include "map/FieldMap.h"

/// Register map of the interface to the Dante core.
namespace dante_core_interface_regs {

// clang-format off
inline constexpr std::array<Field, 3> kFields{{
  // name                         offset lsb width
  {"reset",                          0,  0,  1},
  {"src_write_read_start_offset",   24,  6,  6},
  {"src_write_read_run_offset",     24,  0,  6},
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace dante_core_interface_regs
