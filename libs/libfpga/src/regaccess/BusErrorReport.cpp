#include "regaccess/BusErrorReport.h"

#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>

namespace {

// What the signal handler reads. It is written only while the window is mapped and modules are
// built, and published by its count, since the handler may neither lock nor allocate.
struct NamedModule {
  std::uint32_t baseAddress = 0;
  std::array<char, 44> name{};
};
constexpr std::size_t kMaxModules = 128;
std::array<NamedModule, kMaxModules> modules;
std::atomic<std::size_t> moduleCount{0};

std::atomic<std::uintptr_t> windowStart{0};
std::atomic<std::size_t> windowBytes{0};
struct sigaction previousAction {};

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
  void Write() const { (void)!write(STDERR_FILENO, text_.data(), length_); }

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

void OnBusError(int /*signal*/, siginfo_t* info, void* /*context*/) {
  const auto at = reinterpret_cast<std::uintptr_t>(info->si_addr);
  const std::uintptr_t start = windowStart.load();
  if (info->si_code > 0 && at >= start && at - start < windowBytes.load()) {
    const auto address = static_cast<std::uint32_t>(at - start);
    LastWords words;
    words.Add("Bus error at register address 0x");
    words.AddHex(address);
    AddModulesAt(words, address);
    words.Add("\n");
    words.Write();
  }
  // The faulting access runs again under the action that was there before; a signal that somebody
  // sent has to be sent again.
  (void)sigaction(SIGBUS, &previousAction, nullptr);
  if (info->si_code <= 0) {
    (void)raise(SIGBUS);
  }
}

}  // namespace

void ReportBusErrorsIn(const volatile void* window, std::size_t bytes) {
  windowStart = reinterpret_cast<std::uintptr_t>(window);
  windowBytes = bytes;
  struct sigaction action {};
  action.sa_sigaction = OnBusError;
  action.sa_flags = SA_SIGINFO;
  (void)sigemptyset(&action.sa_mask);
  (void)sigaction(SIGBUS, &action, &previousAction);
}

void StopReportingBusErrors() {
  (void)sigaction(SIGBUS, &previousAction, nullptr);
  windowBytes = 0;
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
