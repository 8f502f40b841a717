#include <algorithm>
#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "audio/AudioMixerSingleRoute.h"
#include "log/Log.h"
#include "modules/AudioMixer.h"
#include "platform/PhysicalMemory.h"
#include "regaccess/FpgaCsrAccess.h"
#include "support/Allocations.h"
#include "support/Ratio.h"

// What programming the main mixer costs beside a thread that does the same locks, loads and stores
// and nothing else, and how long its caller is held up.

namespace {

using Clock = std::chrono::steady_clock;
using Microseconds = std::chrono::duration<double, std::micro>;

// Control and status end a cache line, and the coefficients' registers begin the next one: a look
// at the toggle doesn't slow the writer down.
constexpr std::uint32_t kBase = 0x2500000 - 8;
constexpr std::uint32_t kLinks = 17;
constexpr std::uint32_t kToggle = 2;
constexpr int kRounds = 500;

// The mixer's registers, without its lock. It stands until the end, when it unmaps them.
FpgaCsrAccess window;

// The large version with all its links: the registers are plain memory.
void SetUpCore() {
  window.RawUnsafeWrite(kBase + 4, 1U << 18 | kLinks << 2);
}

// A thread that is handed words and writes them the way the mixer's thread does.
class BareMixer {
 public:
  BareMixer() {
    platform::StoreWord(window_, kBase + 4, 1U << 18 | kLinks << 2);
    thread_ = std::thread([this] { _Run(); });
  }
  ~BareMixer() {
    {
      const std::lock_guard lock(mutex_);
      stop_ = true;
    }
    wakeUp_.notify_one();
    thread_.join();
  }
  BareMixer(const BareMixer&) = delete;
  BareMixer& operator=(const BareMixer&) = delete;

  void Program() {
    {
      const std::lock_guard lock(mutex_);
      std::copy(coeffs_.begin(), coeffs_.end(), programmed_.begin());
      due_ = true;
    }
    wakeUp_.notify_one();
  }
  std::uint32_t Control() const { return platform::LoadWord(window_, kBase); }
  void ClearControl() { platform::StoreWord(window_, kBase, 0); }

 private:
  void _Write(std::uint32_t offset, std::uint32_t keep, std::uint32_t value) {
    const std::lock_guard lock(access_);
    const std::uint32_t word = platform::LoadWord(window_, kBase + offset);
    platform::StoreWord(window_, kBase + offset, (word & keep) | value);
  }
  std::uint32_t _Read(std::uint32_t offset) {
    const std::lock_guard lock(access_);
    return platform::LoadWord(window_, kBase + offset);
  }
  void _Run() {
    std::unique_lock lock(mutex_);
    for (;;) {
      wakeUp_.wait(lock, [this] { return due_ || stop_; });
      lock.unlock();
      if (stop_) {
        return;
      }
      while ((_Read(4) & 1) != 0) {
      }
      lock.lock();
      due_ = false;
      _Write(0x08, 0xFFFF0000, 0);
      for (const std::uint64_t word : programmed_) {
        _Write(0x0C, 0, static_cast<std::uint32_t>(word >> 24));
        _Write(0x10, 0, static_cast<std::uint32_t>(word & 0xFFFFFF));
      }
      _Write(0, ~kToggle, kToggle);
    }
  }

  volatile void* window_ = platform::MapMemory(platform::OpenMemory(), 0, 0x4000000);
  std::vector<std::uint64_t> coeffs_ = std::vector<std::uint64_t>(kLinks * 256, 0x1010000);
  std::vector<std::uint64_t> programmed_ = coeffs_;
  std::mutex mutex_;  // guards programmed_ and due_
  std::mutex access_;
  std::condition_variable wakeUp_;
  bool due_ = false;
  std::atomic<bool> stop_{false};
  std::thread thread_;
};

template <typename Control>
void AwaitToggle(Control&& control) {
  while ((control() & kToggle) == 0) {
    std::this_thread::yield();
  }
}

// Lets a thread that has just started, or asked for a swap, get to its wait.
void Settle() {
  std::this_thread::sleep_for(std::chrono::microseconds(500));
}

void ReportMixer(AudioMixer& mixer, BareMixer& bare) {
  bench::Comparison best{1e18, 1e18};
  std::vector<double> calls;  // microseconds
  calls.reserve(kRounds);
  std::size_t allocated = 0;
  const auto nanoseconds = [](Clock::duration taken) {
    return std::chrono::duration<double, std::nano>(taken).count();
  };
  for (int round = 0; round < kRounds; ++round) {
    window.RawUnsafeWrite(kBase, 0);
    const std::size_t before = bench::AllocationCount();
    const auto start = Clock::now();
    mixer.ProgramCoeffs();
    calls.push_back(Microseconds(Clock::now() - start).count());
    AwaitToggle([] { return window.RawUnsafeRead(kBase); });
    best.workNs = std::min(best.workNs, nanoseconds(Clock::now() - start));
    allocated += bench::AllocationCount() - before;
    Settle();

    bare.ClearControl();
    const auto bareStart = Clock::now();
    bare.Program();
    AwaitToggle([&bare] { return bare.Control(); });
    best.baseNs = std::min(best.baseNs, nanoseconds(Clock::now() - bareStart));
    Settle();
  }
  std::sort(calls.begin(), calls.end());
  std::printf("programming %.1f us, the bare thread %.1f us\n", best.workNs / 1000,
              best.baseNs / 1000);
  // The slow ones are those in which the scheduler lets the woken thread run in the caller's place.
  std::printf("ProgramCoeffs: 9 of 10 calls %.1f us, 99 of 100 %.1f us, slowest %.1f us\n",
              calls[kRounds * 9 / 10], calls[kRounds * 99 / 100], calls.back());
  bench::Report("main mixer, ProgramCoeffs to toggle / same locks, loads, stores", best.Ratio(),
                "x", 1.5);
  bench::Report("heap allocations in all of these programmings", static_cast<double>(allocated), "",
                0);
  bench::Report("ProgramCoeffs of an idle mixer, median", calls[kRounds / 2], "us", 50);
}

}  // namespace

int main() {
  AudioMixer mixer("main_mixer", kBase, 4);
  SetUpCore();
  mixer.Initialize();
  const auto route = std::make_shared<AudioMixerSingleRoute>();
  (void)route->AddSrc(16, 15, 1, 0, -6.0F);  // in range
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    route->SetDestChannel(channel);
    (void)mixer.BuildRoute(route);  // in range, too
  }
  BareMixer bare;
  std::this_thread::sleep_for(
      std::chrono::milliseconds(100));  // the threads start, one with a line
  ReportMixer(mixer, bare);
  return 0;
}
