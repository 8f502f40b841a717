#pragma once

#include <concepts>
#include <limits>

/// Converts to an integer type by truncation towards zero. What lies outside the target's range
/// gives its nearest end, and what is not a number gives 0, so that no input is undefined.
template <std::integral Target, std::floating_point Source>
constexpr Target SaturateCast(Source value) {
  using Limits = std::numeric_limits<Target>;
  // Both ends as powers of two (or 0), which every floating-point type holds exactly.
  constexpr auto kLowest = static_cast<Source>(Limits::min());
  constexpr auto kPastHighest = static_cast<Source>(Limits::max() / 2 + 1) * static_cast<Source>(2);
  if (value != value) {
    return 0;
  }
  if (value <= kLowest) {
    return Limits::min();
  }
  if (value >= kPastHighest) {
    return Limits::max();
  }
  return static_cast<Target>(value);
}
