// The inputs' video and audio to the outputs of the same number, until a signal ends the program:
//
//     follow-inputs [seconds]

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <thread>

#include "FollowInputs.h"
#include "log/Log.h"

namespace {

using Clock = std::chrono::steady_clock;
constexpr std::chrono::milliseconds kPollInterval{5};
constexpr std::chrono::seconds kCheckInterval{1};

volatile std::sig_atomic_t stopped = 0;

}  // namespace

int main(int argc, char** argv) {
  const long seconds = argc > 1 ? std::strtol(argv[1], nullptr, 10) : 0;
  for (const int signal : {SIGINT, SIGTERM}) {
    (void)std::signal(signal, [](int) { stopped = 1; });
  }
  SetLogLevel(kLogInfo);
  TopFpgaImpl fpga(4);
  const Clock::time_point start = Clock::now();
  FollowInputs application(fpga, [start](const std::string& line) {
    const std::chrono::duration<double> since = Clock::now() - start;
    std::printf("%7.3f s  %s\n", since.count(), line.c_str());
    (void)std::fflush(stdout);
  });
  Clock::time_point nextCheck = start;
  while (stopped == 0 && (seconds <= 0 || Clock::now() - start < std::chrono::seconds(seconds))) {
    application.Poll();
    if (Clock::now() >= nextCheck) {
      application.CheckOutputs();
      nextCheck += kCheckInterval;
    }
    std::this_thread::sleep_for(kPollInterval);
  }
  return 0;
}
