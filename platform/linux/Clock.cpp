#include "platform/Clock.h"

#include <cerrno>

namespace platform {

void SleepMicroseconds(std::uint32_t microseconds) {
  std::timespec left{};
  left.tv_sec = microseconds / 1'000'000;
  left.tv_nsec = static_cast<long>(microseconds % 1'000'000) * 1000;
  while (nanosleep(&left, &left) != 0 && errno == EINTR) {
  }
}

std::chrono::steady_clock::time_point SteadyTime() {
  return std::chrono::steady_clock::now();
}

std::timespec RealTime() {
  std::timespec now{};
  (void)clock_gettime(CLOCK_REALTIME, &now);  // this clock always exists
  return now;
}

}  // namespace platform
