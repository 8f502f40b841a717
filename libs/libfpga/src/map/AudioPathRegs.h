#pragma once

#include <array>

#include "map/FieldMap.h"

/// Register map of the audio path itself: the drivers and receivers of the AES3 lines, in two
/// groups of four.
namespace audio_path_regs {

// clang-format off
inline constexpr std::array<Field, 4> kFields{{
  // name          offset lsb width
  {"aes_txrxl_1_4", 0x08,  0,  1},
  {"aes_en_1_4",    0x08,  1,  1},
  {"aes_txrxl_5_8", 0x08,  2,  1},
  {"aes_en_5_8",    0x08,  3,  1},
}};
// clang-format on
static_assert(WellFormed(kFields));

}  // namespace audio_path_regs
