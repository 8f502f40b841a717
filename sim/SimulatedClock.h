#pragma once

#include <chrono>
#include <cstdint>
#include <ctime>
#include <mutex>

namespace sim {

/// The clock of the machine: the real one until a test takes it into its own hand. Thread-safe.
class SimulatedClock {
 public:
  /// From now on time stands still and moves only by Advance and by sleeps, which return at once.
  void TakeOver();
  /// Moves a clock that was taken over.
  void Advance(std::chrono::microseconds by);
  /// Sets the calendar of a clock that was taken over.
  void SetRealTime(std::timespec now);

  void Sleep(std::uint32_t microseconds);
  std::chrono::steady_clock::time_point Steady() const;
  std::timespec Real() const;

  /// Sum of all sleeps so far, in microseconds, whether or not they took real time.
  std::uint64_t SleptMicroseconds() const;

 private:
  mutable std::mutex mutex_;  // guards all that follows
  bool takenOver_ = false;
  std::chrono::steady_clock::time_point steady_;
  std::timespec real_{};
  std::uint64_t slept_ = 0;
};

}  // namespace sim
