#pragma once

#include <array>

#include "map/FieldMap.h"

/// Register map of the reference detection: for each of two reference inputs, how long its line
/// (H), field (F) and frame (V) pulses are low and high; and a timing pulse on two outputs.
namespace ref_detect_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 17> kFields{{
  // name           offset lsb width access
  {"ref1HLowCnt",    0x00,  0, 24, kReadOnly},
  {"ref1HHighCnt",   0x04,  0, 24, kReadOnly},
  {"ref1FLowCnt",    0x08,  0, 24, kReadOnly},
  {"ref1FHighCnt",   0x0C,  0, 24, kReadOnly},
  {"ref1VHighCnt",   0x10,  0, 24, kReadOnly,        "high before low, unlike H and F"},
  {"ref1VLowCnt",    0x14,  0, 24, kReadOnly},
  {"ref2HLowCnt",    0x20,  0, 24, kReadOnly},
  {"ref2HHighCnt",   0x24,  0, 24, kReadOnly},
  {"ref2FLowCnt",    0x28,  0, 24, kReadOnly},
  {"ref2FHighCnt",   0x2C,  0, 24, kReadOnly},
  {"ref2VHighCnt",   0x30,  0, 24, kReadOnly},
  {"ref2VLowCnt",    0x34,  0, 24, kReadOnly},
  {"reset",          0x40,  0,  1},
  {"pulseEnable1",   0x40,  1,  1},
  {"pulseEnable2",   0x40,  2,  1},
  {"pulseOffset1",   0x44,  0, 24},
  {"pulseOffset2",   0x48,  0, 24},
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace ref_detect_regs
