#include <benchmark/benchmark.h>

#include <atomic>
#include <mutex>
#include <thread>

#include "log/Log.h"
#include "platform/PhysicalMemory.h"
#include "regaccess/BitfieldManager.h"
#include "support/Allocations.h"
#include "support/Ratio.h"

// What a named field access costs beside an uncontended lock with the same raw accesses, and what a
// filtered log line costs.

namespace {

constexpr auto kFields =
    RepeatField<50>(Field{"per_channel_setting_#", 0x100, 4, 12}, {.wordStride = 4});
constexpr std::uint32_t kBase = 0x300000;

class Module : public RegisterBlock<kFields> {
 public:
  Module() : RegisterBlock("module", kBase) {}
};

struct Bare {
  Bare() : window(platform::MapMemory(platform::OpenMemory(), 0, 0x1000000)) {}

  std::uint32_t Read() {
    const std::lock_guard lock(mutex);
    return (platform::LoadWord(window, kBase + 0x15C) >> 4) & 0xFFF;
  }
  void Write(std::uint32_t value) {
    const std::lock_guard lock(mutex);
    const std::uint32_t word = platform::LoadWord(window, kBase + 0x15C);
    platform::StoreWord(window, kBase + 0x15C, (word & ~0xFFF0U) | (value << 4));
  }

  std::mutex mutex;
  volatile void* window;
};

void ReportAccesses(Module& module, Bare& bare) {
  const auto bareRead = [&] { benchmark::DoNotOptimize(bare.Read()); };
  const auto bareWrite = [&] { bare.Write(5); };
  BitfieldManager& byName = module;
  const std::string name = "per_channel_setting_23";

  const std::size_t before = bench::AllocationCount();
  const auto literalRead = bench::Compare(
      [&] { benchmark::DoNotOptimize(module.ReadBitfield("per_channel_setting_23")); }, bareRead);
  const auto literalWrite =
      bench::Compare([&] { module.WriteBitfield("per_channel_setting_23", 5); }, bareWrite);
  const auto nameRead =
      bench::Compare([&] { benchmark::DoNotOptimize(byName.ReadBitfield(name)); }, bareRead);
  const auto nameWrite = bench::Compare([&] { byName.WriteBitfield(name, 5); }, bareWrite);
  const std::size_t allocated = bench::AllocationCount() - before;

  std::printf("lock and load %.2f ns, lock, load and store %.2f ns\n", literalRead.baseNs,
              literalWrite.baseNs);
  bench::Report("ReadBitfield, literal name / lock and load", literalRead.Ratio(), "x", 1.25);
  bench::Report("WriteBitfield, literal name / lock, load and store", literalWrite.Ratio(), "x",
                1.25);
  bench::Report("ReadBitfield, name at run time, 50 fields / lock and load", nameRead.Ratio(), "x",
                2.0);
  bench::Report("WriteBitfield, name at run time, 50 fields / lock, load, store", nameWrite.Ratio(),
                "x", 2.0);
  bench::Report("heap allocations in all of these accesses", static_cast<double>(allocated), "", 0);
}

void ReportLogging() {
  int evaluated = 0;
  int i = 0;
  const auto filtered = bench::Compare(
      [&] {
        benchmark::DoNotOptimize(++i);
        LOG_DEBUG("value %d", ++evaluated);
      },
      [&] { benchmark::DoNotOptimize(++i); }, 1'000'000);
  bench::Report("filtered log line at Debug, on top of not having it",
                filtered.workNs - filtered.baseNs, "ns", 2.0);
  bench::Report("arguments that filtered lines evaluated", evaluated, "", 0);
}

}  // namespace

int main() {
  // The console has a second thread, and a lock in a process of one thread costs less than one that
  // other threads could take.
  std::atomic<bool> stop{false};
  std::thread second([&stop] { stop.wait(false); });
  Module module;
  Bare bare;
  ReportAccesses(module, bare);
  ReportLogging();
  stop = true;
  stop.notify_one();
  second.join();
  return 0;
}
