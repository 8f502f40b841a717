#pragma once

#include <array>

#include "map/FieldMap.h"

/// Register map of the AES3 transmitter.
namespace aes_tx_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 3> kFields{{
  // name               offset lsb width
  {"reset",                0, 17,  1},
  {"disableCBitRegen",     0, 16,  1},
  {"perChannelNonPcm",     0,  0, 16, kReadWrite,       "channel 0 at bit 0"},
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace aes_tx_regs
