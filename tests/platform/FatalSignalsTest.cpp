#include "platform/FatalSignals.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <ctime>
#include <thread>
#include <vector>

namespace {

using platform::FatalSignalsHeld;
using platform::kEveryFatalSignal;
using platform::LastStep;
using testing::ExitedWithCode;
using testing::KilledBySignal;

void Say(const char* text) {
  (void)!write(STDERR_FILENO, text, std::strlen(text));
}

void SetHook(LastStep step, int signal, platform::FatalHook hook) {
  FatalSignalsHeld().SetHook(step, signal, hook);
}

void Fault() {
  void* page = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  *static_cast<volatile int*>(page) = 1;
}

// In a process of its own each, from a state as the shell gives it.
class FatalSignalsDeathTest : public testing::Test {
 protected:
  FatalSignalsDeathTest() {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    for (const int signal : {SIGABRT, SIGBUS, SIGSEGV}) {
      std::signal(signal, SIG_DFL);  // not the sanitizer's
    }
  }

  // Sets hooks for every step and raises `signal`.
  [[noreturn]] static void Die(int signal) {
    SetHook(LastStep::kReport, SIGBUS, [](const siginfo_t&) { Say("report "); });
    SetHook(LastStep::kRemoveFile, kEveryFatalSignal, [](const siginfo_t&) { Say("file "); });
    SetHook(LastStep::kRestoreTerminal, kEveryFatalSignal, [](const siginfo_t& info) {
      Say(info.si_pid == getpid() ? "terminal " : "a stranger's signal ");
    });
    FatalSignalsHeld().ClearHook(LastStep::kRemoveFile);
    raise(signal);
    _exit(9);
  }
};

TEST_F(FatalSignalsDeathTest, HooksRunInTheOrderOfTheirSteps) {
  EXPECT_EXIT(Die(SIGBUS), KilledBySignal(SIGBUS), "^terminal report (qemu|$)");
  EXPECT_EXIT(Die(SIGTERM), KilledBySignal(SIGTERM), "^terminal (qemu|$)");
}

TEST_F(FatalSignalsDeathTest, WhatOthersDecidedAboutASignalStays) {
  const auto own = [](int) {
    Say("own");
    _exit(3);
  };
  EXPECT_EXIT((std::signal(SIGHUP, SIG_IGN), Die(SIGHUP)), ExitedWithCode(9), "^$");
  EXPECT_EXIT((std::signal(SIGTERM, own), Die(SIGTERM)), ExitedWithCode(3), "^own$");
  EXPECT_EXIT((std::signal(SIGSEGV, own), Die(SIGSEGV)), ExitedWithCode(3), "^terminal own$");
  EXPECT_EXIT(
      {
        SetHook(LastStep::kReport, SIGBUS, [](const siginfo_t&) { Say("report"); });
        raise(SIGTERM);
      },
      KilledBySignal(SIGTERM), "^(qemu|$)");
}

TEST_F(FatalSignalsDeathTest, AFaultInAHookEndsTheProcess) {
  EXPECT_EXIT(
      {
        SetHook(LastStep::kReport, kEveryFatalSignal, [](const siginfo_t&) { Fault(); });
        raise(SIGTERM);
      },
      KilledBySignal(SIGSEGV), "");
}

TEST_F(FatalSignalsDeathTest, ThreadsThatFaultTogetherWaitForOneRunOfTheHooks) {
  EXPECT_EXIT(
      {
        SetHook(LastStep::kReport, kEveryFatalSignal, [](const siginfo_t&) {
          constexpr timespec kWhile{0, 100'000'000};
          Say("begin ");
          nanosleep(&kWhile, nullptr);
          Say("end");
        });
        std::vector<std::thread> threads;
        for (int i = 0; i < 4; ++i) {
          threads.emplace_back(&Fault);
        }
        threads.front().join();
      },
      KilledBySignal(SIGSEGV), "^begin end(qemu|$)");
}

}  // namespace
