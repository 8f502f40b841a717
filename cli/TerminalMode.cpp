#include "cli/TerminalMode.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstddef>

namespace cli::detail {

namespace {

constexpr std::array kFatalSignals{SIGINT, SIGTERM, SIGHUP, SIGQUIT, SIGABRT, SIGSEGV, SIGBUS};

// What the signal handler works on. It may run on any thread at any instant, so it takes turns with
// the owner by the two flags: the owner changes the rest only while `changing` is set and `dying`
// is not, the handler sets `dying` and then waits for `changing` to go. Of two that start together
// at least one sees the other.
struct RawTerminal {
  std::atomic<bool> changing{false};
  std::atomic<bool> dying{false};
  bool isRaw = false;
  int fd = -1;
  termios savedTermios{};
  std::array<struct sigaction, kFatalSignals.size()> previous{};
};
static_assert(std::atomic<bool>::is_always_lock_free, "a signal handler can't take a lock");

RawTerminal terminal;

// A stack overflow is a SIGSEGV too, and leaves the handler no room on the stack itself.
alignas(std::max_align_t) std::array<std::byte, 64 * 1024> alternateStack;

sigset_t FatalSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (const int signal : kFatalSignals) {
    sigaddset(&set, signal);
  }
  return set;
}

// Holds the calling thread's own signals back while it changes `terminal`: a handler on this thread
// would wait for itself.
class Change {
 public:
  Change() {
    const sigset_t fatal = FatalSignals();
    pthread_sigmask(SIG_BLOCK, &fatal, &previousMask);
    terminal.changing = true;
  }
  ~Change() {
    terminal.changing = false;
    pthread_sigmask(SIG_SETMASK, &previousMask, nullptr);
  }
  Change(const Change&) = delete;
  Change& operator=(const Change&) = delete;

 private:
  sigset_t previousMask{};
};

// The terminal belongs to the job in the foreground. Another job has no right to its mode, and the
// attempt would stop the process instead of letting it die.
bool IsInBackground(int fd) {
  const pid_t foreground = tcgetpgrp(fd);
  return foreground != -1 && foreground != getpgrp();
}

// A fault that the processor raised comes again when the instruction runs again, with all that the
// next handler may want to know about it. Any other signal has to be sent again.
bool ComesAgain(int signal, const siginfo_t& info) {
  return (signal == SIGSEGV || signal == SIGBUS) && info.si_code > 0;
}

// Async-signal-safe: atomics and calls that POSIX lists as such.
void OnFatalSignal(int signal, siginfo_t* info, void* /*context*/) {
  const int savedErrno = errno;
  terminal.dying = true;
  while (terminal.changing) {
    // Another thread is switching the mode: a few system calls.
  }
  if (terminal.isRaw && !IsInBackground(terminal.fd)) {
    tcsetattr(terminal.fd, TCSANOW, &terminal.savedTermios);
  }
  for (std::size_t i = 0; i < kFatalSignals.size(); ++i) {
    if (kFatalSignals[i] == signal) {
      sigaction(signal, &terminal.previous[i], nullptr);
    }
  }
  if (!ComesAgain(signal, *info)) {
    raise(signal);  // held back until this handler returns
  }
  errno = savedErrno;
}

bool IsIgnored(const struct sigaction& action) {
  return (action.sa_flags & SA_SIGINFO) == 0 && action.sa_handler == SIG_IGN;
}

bool IsOurs(const struct sigaction& action) {
  return (action.sa_flags & SA_SIGINFO) != 0 && action.sa_sigaction == &OnFatalSignal;
}

void InstallHandlers() {
  struct sigaction action {};
  action.sa_sigaction = &OnFatalSignal;
  action.sa_flags = SA_SIGINFO | SA_ONSTACK;
  action.sa_mask = FatalSignals();
  for (std::size_t i = 0; i < kFatalSignals.size(); ++i) {
    // Read first: the handler may run as soon as it stands.
    if (sigaction(kFatalSignals[i], nullptr, &terminal.previous[i]) == 0 &&
        !IsIgnored(terminal.previous[i])) {
      sigaction(kFatalSignals[i], &action, nullptr);
    }
  }
}

void RemoveHandlers() {
  for (std::size_t i = 0; i < kFatalSignals.size(); ++i) {
    struct sigaction current {};
    if (sigaction(kFatalSignals[i], nullptr, &current) == 0 && IsOurs(current)) {
      sigaction(kFatalSignals[i], &terminal.previous[i], nullptr);
    }
  }
}

void InstallAlternateStack() {
  stack_t current{};
  if (sigaltstack(nullptr, &current) == 0 && (current.ss_flags & SS_DISABLE) != 0) {
    stack_t stack{};
    stack.ss_sp = alternateStack.data();
    stack.ss_size = alternateStack.size();
    sigaltstack(&stack, nullptr);
  }
}

void RemoveAlternateStack() {
  stack_t current{};
  if (sigaltstack(nullptr, &current) == 0 && current.ss_sp == alternateStack.data()) {
    stack_t none{};
    none.ss_flags = SS_DISABLE;
    sigaltstack(&none, nullptr);
  }
}

}  // namespace

TerminalMode::TerminalMode(int descriptor) : fd(descriptor) {
}

TerminalMode::~TerminalMode() {
  Restore();
}

void TerminalMode::EnterRaw() {
  if (isRaw || tcgetattr(fd, &savedTermios) != 0) {
    return;
  }
  rawTermios = savedTermios;
  rawTermios.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  // Changes nothing, but a job in the background is stopped here until it comes to the foreground,
  // and not below, where no signal could end it.
  tcsetattr(fd, TCSANOW, &savedTermios);

  const Change change;
  if (terminal.dying || terminal.isRaw) {
    return;
  }
  terminal.fd = fd;
  terminal.savedTermios = savedTermios;
  terminal.isRaw = true;
  isRaw = true;
  InstallAlternateStack();
  InstallHandlers();
  tcsetattr(fd, TCSANOW, &rawTermios);
}

void TerminalMode::Restore() {
  if (!isRaw) {
    return;
  }
  isRaw = false;
  const Change change;
  tcsetattr(fd, TCSANOW, &savedTermios);
  if (terminal.dying) {
    return;
  }
  terminal.isRaw = false;
  RemoveHandlers();
  RemoveAlternateStack();
}

}  // namespace cli::detail
