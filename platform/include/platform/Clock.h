#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>

/// Time as the machine gives it. Thread-safe.
namespace platform {

/// Sleeps for at least so many microseconds, also over signals.
void SleepMicroseconds(std::uint32_t microseconds);

/// The clock that never goes back.
std::chrono::steady_clock::time_point SteadyTime();

/// The clock of the calendar: seconds and nanoseconds since 1970-01-01 UTC.
std::timespec RealTime();

}  // namespace platform
