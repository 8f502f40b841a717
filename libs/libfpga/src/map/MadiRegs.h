#pragma once

#include <array>
#include <cstdint>

#include "map/FieldMap.h"

/// Register map of the MADI cores: receiver and transmitter lie side by side in one block and share
/// the bit that resets them.
namespace madi_regs {

using enum Access;

// clang-format off
inline constexpr std::array<Field, 2> kReceiver{{
  // name                   offset lsb width access
  {"rxSampleCount",            0,  8, 24, kReadOnly,        "measures the sample rate"},
  {"rxStatus",                 0,  4,  4, kWriteOneToClear, "what went wrong"},
}};
inline constexpr std::array<Field, 1> kTransmitterStatus{{
  {"txStatus",                 0,  0,  4, kReadOnly},
}};
inline constexpr std::array<Field, 1> kReset{{
  {"reset",                    4,  0,  1},
}};
inline constexpr std::array<Field, 2> kTransmitterMarks{{
  {"nonPcmChannels1To32",      8,  0, 32, kReadWrite,       "the first channel at bit 0"},
  {"nonPcmChannels33To64",    12,  0, 32},
}};
// clang-format on

inline constexpr auto kRxFields = JoinFields(kReceiver, kReset);
inline constexpr auto kTxFields = JoinFields(kTransmitterStatus, kReset, kTransmitterMarks);
/// The whole block.
inline constexpr auto kFields =
    JoinFields(kReceiver, kTransmitterStatus, kReset, kTransmitterMarks);
static_assert(WellFormed(kFields));

// The values of rxSampleCount at which the rate counts as right.
inline constexpr std::uint32_t kLowestSampleCount = 6399995;
inline constexpr std::uint32_t kHighestSampleCount = 6400005;

}  // namespace madi_regs
