#include "cli/JobSignals.h"

#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <csignal>

namespace cli::detail {

namespace {

// What the handlers share with the watching thread.
std::atomic<int> wakeDescriptor{-1};
std::atomic<int> handlersRunning{0};
std::atomic<bool> isToStop{false};
std::atomic<bool> hasGoneOn{false};
static_assert(std::atomic<int>::is_always_lock_free, "a signal handler can't take a lock");

void OnJobSignal(int signal) {
  const int savedErrno = errno;
  ++handlersRunning;
  // Each takes the other back, as the system does with those that it hasn't delivered yet.
  (signal == SIGCONT ? isToStop : hasGoneOn) = false;
  (signal == SIGCONT ? hasGoneOn : isToStop) = true;
  const int fd = wakeDescriptor;
  if (fd >= 0) {
    // A full pipe has bytes enough to wake its reader.
    (void)!::write(fd, " ", 1);
  }
  --handlersRunning;
  errno = savedErrno;
}

void SetAction(int signal, void (*handler)(int)) {
  struct sigaction action {};
  action.sa_handler = handler;
  action.sa_flags = SA_RESTART;
  sigaction(signal, &action, nullptr);
}

bool Catch(int signal) {
  struct sigaction current {};
  if (sigaction(signal, nullptr, &current) != 0 || (current.sa_flags & SA_SIGINFO) != 0 ||
      current.sa_handler != SIG_DFL) {
    return false;
  }
  SetAction(signal, &OnJobSignal);
  return true;
}

}  // namespace

JobSignals::~JobSignals() {
  Unwatch();
}

void JobSignals::Watch(int wakeFd) {
  const std::lock_guard lock(mutex);
  isToStop = false;
  hasGoneOn = false;
  wakeDescriptor = wakeFd;
  watchesContinue = Catch(SIGCONT);
  watchesStop = Catch(SIGTSTP);
}

void JobSignals::Unwatch() {
  const std::lock_guard lock(mutex);
  if (watchesStop) {
    SetAction(SIGTSTP, SIG_DFL);
  }
  if (watchesContinue) {
    SetAction(SIGCONT, SIG_DFL);
  }
  watchesStop = watchesContinue = false;
  wakeDescriptor = -1;
  while (handlersRunning != 0) {
    // On another thread, a few instructions: the descriptor may be closed behind this.
  }
}

bool JobSignals::TakeStop() {
  return isToStop.exchange(false);
}

bool JobSignals::TakeContinue() {
  return hasGoneOn.exchange(false);
}

void JobSignals::Stop() {
  sigset_t stopAndContinue, previous, pending;
  sigemptyset(&stopAndContinue);
  sigaddset(&stopAndContinue, SIGTSTP);
  sigaddset(&stopAndContinue, SIGCONT);
  pthread_sigmask(SIG_BLOCK, &stopAndContinue, &previous);
  // Not by SIGSTOP, which would also stop a process that no shell can bring back. While the signal
  // is held back, a SIGCONT drops it. One that came before that has to do so, too: nobody would
  // send another.
  SetAction(SIGTSTP, SIG_DFL);
  raise(SIGTSTP);
  sigemptyset(&pending);
  sigpending(&pending);
  if (hasGoneOn || sigismember(&pending, SIGCONT) != 0) {
    SetAction(SIGTSTP, SIG_IGN);  // drops it
  }
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);  // stops here
  const std::lock_guard lock(mutex);
  SetAction(SIGTSTP, watchesStop ? &OnJobSignal : SIG_DFL);
}

}  // namespace cli::detail
