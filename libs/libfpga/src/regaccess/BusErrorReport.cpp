#include "regaccess/BusErrorReport.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>

#include "platform/FatalSignals.h"

namespace {

// What the hook reads. The modules are published by their count, so that a bus error while they are
// built is reported, too.
struct NamedModule {
  std::uint32_t baseAddress = 0;
  std::array<char, 44> name{};
};
constexpr std::size_t kMaxModules = 128;
std::array<NamedModule, kMaxModules> modules;
std::atomic<std::size_t> moduleCount{0};

std::uintptr_t windowStart = 0;
std::size_t windowBytes = 0;

// Text on standard error, with nothing but write.
class LastWords {
 public:
  void Add(std::string_view text) {
    const std::size_t count = std::min(text.size(), text_.size() - length_);
    std::copy_n(text.begin(), count, text_.begin() + length_);
    length_ += count;
  }
  void AddHex(std::uint32_t value) {
    std::array<char, 8> digits{};
    for (std::size_t i = 0; i < digits.size(); ++i) {
      digits[digits.size() - 1 - i] = "0123456789abcdef"[(value >> (4 * i)) & 0xF];
    }
    Add({digits.data(), digits.size()});
  }
  // A stopped terminal must not keep the process from its end.
  void Write() const {
    constexpr int kPatienceMs = 500;
    pollfd errors{STDERR_FILENO, POLLOUT, 0};
    if (poll(&errors, 1, kPatienceMs) > 0) {
      (void)!write(STDERR_FILENO, text_.data(), length_);
    }
  }

 private:
  std::array<char, 512> text_{};
  std::size_t length_ = 0;
};

void AddModulesAt(LastWords& words, std::uint32_t address) {
  const std::size_t count = moduleCount.load(std::memory_order_acquire);
  std::uint32_t base = 0;
  bool found = false;
  for (std::size_t i = 0; i < count; ++i) {
    if (modules[i].baseAddress <= address && (!found || modules[i].baseAddress > base)) {
      base = modules[i].baseAddress;
      found = true;
    }
  }
  if (!found) {
    words.Add(" of no known module");
    return;
  }
  words.Add(" of");
  for (std::size_t i = 0; i < count; ++i) {
    if (modules[i].baseAddress == base) {
      words.Add(" ");
      words.Add(modules[i].name.data());
    }
  }
}

void ReportBusError(const siginfo_t& info) {
  const auto at = reinterpret_cast<std::uintptr_t>(info.si_addr);
  // What somebody has sent has no address.
  if (info.si_code <= 0 || at < windowStart || at - windowStart >= windowBytes) {
    return;
  }
  const auto address = static_cast<std::uint32_t>(at - windowStart);
  LastWords words;
  words.Add("Bus error at register address 0x");
  words.AddHex(address);
  AddModulesAt(words, address);
  words.Add("\n");
  words.Write();
}

}  // namespace

void ReportBusErrorsIn(const volatile void* window, std::size_t bytes) {
  platform::FatalSignalsHeld held;
  if (!held.IsDying()) {
    windowStart = reinterpret_cast<std::uintptr_t>(window);
    windowBytes = bytes;
    held.SetHook(platform::LastStep::kReport, SIGBUS, &ReportBusError);
  }
}

void StopReportingBusErrors() {
  platform::FatalSignalsHeld held;
  held.ClearHook(platform::LastStep::kReport);
}

void NameModuleForBusErrors(std::uint32_t baseAddress, std::string_view name) {
  const std::size_t index = moduleCount.load(std::memory_order_relaxed);
  if (index >= modules.size()) {
    return;  // the report then names the module below
  }
  modules[index].baseAddress = baseAddress;
  const std::size_t length = std::min(name.size(), modules[index].name.size() - 1);
  std::copy_n(name.begin(), length, modules[index].name.begin());
  moduleCount.store(index + 1, std::memory_order_release);
}
