#pragma once

#include <array>

/// The two strap pins of the board, which say how many cable devices its chains hold.
namespace platform {

/// A line of a GPIO chip and the label under which this process asks for it.
struct StrapLine {
  unsigned offset;
  const char* consumer;
};

inline constexpr const char* kStrapChip = "gpiochip1";
inline constexpr std::array<StrapLine, 2> kStrapLines{{{2, "PS_MIO2"}, {3, "PS_MIO3"}}};

/// What one reading of the pins gave. `values` holds 0 or 1 for each line of kStrapLines, or -1 for
/// a line that could not be read. `failedCall` names the first call that failed, null if none did,
/// and `error` is its errno.
struct StrapReading {
  std::array<int, 2> values{-1, -1};
  const char* failedCall = nullptr;
  int error = 0;
};

/// Reads both pins once, in the order of kStrapLines. If the chip or a line can't be had, both
/// values are -1. Whatever was opened is closed again.
StrapReading ReadStrapPins();

}  // namespace platform
