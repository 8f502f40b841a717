#include "sim/SimulatedClock.h"

#include <thread>

namespace sim {

void SimulatedClock::TakeOver() {
  const std::lock_guard lock(mutex_);
  takenOver_ = true;
  steady_ = std::chrono::steady_clock::now();
  (void)clock_gettime(CLOCK_REALTIME, &real_);
}

void SimulatedClock::Advance(std::chrono::microseconds by) {
  const std::lock_guard lock(mutex_);
  steady_ += by;
  const auto nanoseconds = std::chrono::nanoseconds(real_.tv_nsec) + by;
  const auto seconds = std::chrono::floor<std::chrono::seconds>(nanoseconds);
  real_.tv_sec += seconds.count();
  real_.tv_nsec = (nanoseconds - seconds).count();
}

void SimulatedClock::SetRealTime(std::timespec now) {
  const std::lock_guard lock(mutex_);
  real_ = now;
}

void SimulatedClock::Sleep(std::uint32_t microseconds) {
  const std::chrono::microseconds duration(microseconds);
  bool takenOver = false;
  {
    const std::lock_guard lock(mutex_);
    slept_ += microseconds;
    takenOver = takenOver_;
  }
  if (takenOver) {
    Advance(duration);
  } else {
    std::this_thread::sleep_for(duration);
  }
}

std::chrono::steady_clock::time_point SimulatedClock::Steady() const {
  const std::lock_guard lock(mutex_);
  return takenOver_ ? steady_ : std::chrono::steady_clock::now();
}

std::timespec SimulatedClock::Real() const {
  const std::lock_guard lock(mutex_);
  if (takenOver_) {
    return real_;
  }
  std::timespec now{};
  (void)clock_gettime(CLOCK_REALTIME, &now);
  return now;
}

std::uint64_t SimulatedClock::SleptMicroseconds() const {
  const std::lock_guard lock(mutex_);
  return slept_;
}

}  // namespace sim
