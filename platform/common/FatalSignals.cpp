#include "platform/FatalSignals.h"

#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <ctime>
#include <memory>

namespace platform {

namespace {

constexpr std::array kNamedSignals{SIGHUP,  SIGINT,    SIGQUIT, SIGILL,  SIGTRAP,   SIGABRT,
                                   SIGBUS,  SIGFPE,    SIGUSR1, SIGSEGV, SIGUSR2,   SIGALRM,
                                   SIGTERM, SIGSTKFLT, SIGXCPU, SIGXFSZ, SIGVTALRM, SIGPROF,
                                   SIGIO,   SIGPWR,    SIGSYS};
constexpr std::array kFaults{SIGILL, SIGTRAP, SIGABRT, SIGBUS, SIGFPE, SIGSEGV, SIGSYS};

bool IsFault(int signal) {
  return std::find(kFaults.begin(), kFaults.end(), signal) != kFaults.end();
}

bool IsFatal(int signal) {
  return std::find(kNamedSignals.begin(), kNamedSignals.end(), signal) != kNamedSignals.end() ||
         (signal >= SIGRTMIN && signal <= SIGRTMAX);
}

sigset_t FatalSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (int signal = 1; signal < NSIG; ++signal) {
    if (IsFatal(signal)) {
      sigaddset(&set, signal);
    }
  }
  return set;
}

struct Client {
  FatalHook hook = nullptr;
  int signal = kEveryFatalSignal;

  bool Wants(int which) const {
    return hook != nullptr && (signal == which || signal == kEveryFatalSignal);
  }
};

// What the handler works on. It may run on any thread at any instant, so it takes turns with the
// thread that has FatalSignalsHeld by two flags: that one changes the rest, and what the hooks
// read, only while `changing` is set and `dying` is not; the handler sets `dying` and then waits
// for `changing` to go. Of two that start together at least one sees the other.
struct State {
  std::atomic<bool> changing{false};
  std::atomic<bool> dying{false};
  std::atomic<bool> hooksAreDone{false};
  std::array<Client, kLastSteps> clients{};
  std::array<bool, NSIG> isCaught{};
  std::array<struct sigaction, NSIG> previous{};  // of those that are caught
};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler can't take a lock");

State state;
std::mutex holdersMutex;

// What a handler waits for takes a few system calls. It gives up where a thread is stuck in one of
// them: the process is to end in any case.
bool ComesTo(const std::atomic<bool>& flag, bool value) {
  constexpr int kTries = 2000;
  constexpr timespec kMillisecond{0, 1'000'000};
  for (int i = 0; i < kTries; ++i) {
    if (flag == value) {
      return true;
    }
    nanosleep(&kMillisecond, nullptr);
  }
  return flag == value;
}

// Sends the signal to this thread again, with all that the next handler or the core dump may want
// to know about it. It is held back until the handler returns. A fault thus comes twice, which
// makes no difference: the process has died, or run the previous handler, before the instruction
// runs again.
void SendAgain(int signal, const siginfo_t& info) {
  siginfo_t copy = info;
  if (syscall(SYS_rt_tgsigqueueinfo, getpid(), gettid(), signal, &copy) != 0) {
    raise(signal);
  }
}

// Async-signal-safe: atomics and system calls.
void OnFatalSignal(int signal, siginfo_t* info, void* /*context*/) {
  const int savedErrno = errno;
  if (state.dying.exchange(true)) {
    // Another thread is at it, unless a hook has called abort.
    (void)ComesTo(state.hooksAreDone, true);
  } else {
    if (ComesTo(state.changing, false)) {
      for (const Client& client : state.clients) {
        if (client.Wants(signal)) {
          client.hook(*info);
        }
      }
    }
    state.hooksAreDone = true;
  }
  sigaction(signal, &state.previous[static_cast<std::size_t>(signal)], nullptr);
  SendAgain(signal, *info);
  errno = savedErrno;
}

bool IsOurs(const struct sigaction& action) {
  return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &OnFatalSignal;
}

// The first process of a system, or of a container, isn't ended by a signal's default: what it
// doesn't catch passes it by. A fault ends it all the same.
bool PassesBy(int signal) {
  return getpid() == 1 && !IsFault(signal);
}

bool MayBeCaught(int signal, const struct sigaction& action) {
  const bool hasHandler = (action.sa_flags & SA_SIGINFO) != 0 ||
                          (action.sa_handler != SIG_DFL && action.sa_handler != SIG_IGN);
  return hasHandler ? IsFault(signal) : action.sa_handler == SIG_DFL && !PassesBy(signal);
}

void Catch(int signal) {
  const auto index = static_cast<std::size_t>(signal);
  struct sigaction ours {};
  ours.sa_sigaction = &OnFatalSignal;
  ours.sa_flags = SA_SIGINFO | SA_ONSTACK;
  sigfillset(&ours.sa_mask);
  // Read first: the handler may run as soon as it stands.
  if (sigaction(signal, nullptr, &state.previous[index]) == 0 &&
      MayBeCaught(signal, state.previous[index])) {
    state.isCaught[index] = sigaction(signal, &ours, nullptr) == 0;
  }
}

void LetGo(int signal) {
  const auto index = static_cast<std::size_t>(signal);
  struct sigaction current {};
  if (sigaction(signal, nullptr, &current) == 0 && IsOurs(current)) {
    sigaction(signal, &state.previous[index], nullptr);
  }
  state.isCaught[index] = false;
}

// Catches what a client wants, and nothing else.
void FollowClients() {
  for (int signal = 1; signal < NSIG; ++signal) {
    const bool isWanted =
        IsFatal(signal) && std::any_of(state.clients.begin(), state.clients.end(),
                                       [&](const Client& client) { return client.Wants(signal); });
    const bool isCaught = state.isCaught[static_cast<std::size_t>(signal)];
    if (isWanted && !isCaught) {
      Catch(signal);
    } else if (!isWanted && isCaught) {
      LetGo(signal);
    }
  }
}

// A stack overflow is a SIGSEGV too, and leaves the handler no room on the stack itself.
class AlternateStack {
 public:
  AlternateStack() = default;
  ~AlternateStack() {
    stack_t current{};
    if (memory && sigaltstack(nullptr, &current) == 0 && current.ss_sp == memory.get()) {
      stack_t none{};
      none.ss_flags = SS_DISABLE;
      sigaltstack(&none, nullptr);
    }
  }
  AlternateStack(const AlternateStack&) = delete;
  AlternateStack& operator=(const AlternateStack&) = delete;

  void Provide() {
    constexpr std::size_t kBytes = 64 * 1024;
    stack_t current{};
    if (sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) != 0) {
      memory = std::make_unique<std::byte[]>(kBytes);
      stack_t own{};
      own.ss_sp = memory.get();
      own.ss_size = kBytes;
      sigaltstack(&own, nullptr);
    }
  }

 private:
  std::unique_ptr<std::byte[]> memory;
};

thread_local AlternateStack alternateStack;

}  // namespace

FatalSignalsHeld::FatalSignalsHeld() {
  // A handler on this thread would wait for itself.
  const sigset_t fatal = FatalSignals();
  pthread_sigmask(SIG_BLOCK, &fatal, &previousMask);
  lock = std::unique_lock(holdersMutex);
  state.changing = true;
  isDying = state.dying;
}

FatalSignalsHeld::~FatalSignalsHeld() {
  state.changing = false;
  lock.unlock();
  pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
}

void FatalSignalsHeld::SetHook(LastStep step, int signal, FatalHook hook) {
  if (!isDying) {
    alternateStack.Provide();
    state.clients[static_cast<std::size_t>(step)] = {hook, signal};
    FollowClients();
  }
}

void FatalSignalsHeld::ClearHook(LastStep step) {
  if (!isDying) {
    state.clients[static_cast<std::size_t>(step)] = {};
    FollowClients();
  }
}

}  // namespace platform
