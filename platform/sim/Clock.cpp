#include "platform/Clock.h"

#include "sim/Board.h"

namespace platform {

void SleepMicroseconds(std::uint32_t microseconds) {
  sim::Board::Get().clock.Sleep(microseconds);
}

std::chrono::steady_clock::time_point SteadyTime() {
  return sim::Board::Get().clock.Steady();
}

std::timespec RealTime() {
  return sim::Board::Get().clock.Real();
}

}  // namespace platform
