#include "cli/TerminalMode.h"

#include <pthread.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <iterator>

#include "cli/UniqueFd.h"
#include "platform/FatalSignals.h"

namespace cli::detail {

namespace {

// What a fatal signal puts back. Changed under FatalSignalsHeld alone.
struct RawTerminal {
  bool isRaw = false;
  int fd = -1;
  termios savedTermios{};
};

RawTerminal terminal;

bool IsInBackground(int fd) {
  const pid_t foreground = tcgetpgrp(fd);
  return foreground != -1 && foreground != getpgrp();
}

// Another job has no right to the mode, and the attempt would stop the process: in a signal handler
// instead of letting it die, or where it keeps others from dying. A job that is moved to the
// background behind the question isn't stopped here, either.
bool SetMode(int fd, const termios& mode) {
  if (IsInBackground(fd)) {
    return false;
  }
  sigset_t stop;
  sigset_t previous;
  sigemptyset(&stop);
  sigaddset(&stop, SIGTTOU);
  pthread_sigmask(SIG_BLOCK, &stop, &previous);
  const bool isSet = tcsetattr(fd, TCSANOW, &mode) == 0;
  pthread_sigmask(SIG_SETMASK, &previous, nullptr);
  return isSet;
}

void RestoreForDeath(const siginfo_t& /*info*/) {
  if (terminal.isRaw) {
    SetMode(terminal.fd, terminal.savedTermios);
  }
}

bool AreEqual(const termios& a, const termios& b) {
  return a.c_iflag == b.c_iflag && a.c_oflag == b.c_oflag && a.c_cflag == b.c_cflag &&
         a.c_lflag == b.c_lflag && std::equal(std::begin(a.c_cc), std::end(a.c_cc), b.c_cc);
}

}  // namespace

TerminalMode::TerminalMode(int descriptor) : fd(descriptor) {
}

TerminalMode::~TerminalMode() {
  Restore();
}

void TerminalMode::EnterRaw() {
  // Starts output that nobody has stopped, so that it does nothing, but that a job in the
  // background is stopped here.
  if (RetryInterrupted([this] { return tcflow(fd, TCOON); }) != 0) {
    return;
  }
  platform::FatalSignalsHeld held;
  if (!isWanted && !terminal.isRaw && !held.IsDying()) {
    isWanted = true;
    _GoRaw(held);
  }
}

void TerminalMode::Restore() {
  platform::FatalSignalsHeld held;
  if (isWanted) {
    isWanted = false;
    _GoBack(held);
    held.ClearHook(platform::LastStep::kRestoreTerminal);
  }
}

void TerminalMode::Suspend() {
  const platform::FatalSignalsHeld held;
  if (isWanted) {
    _GoBack(held);
  }
}

TerminalMode::Resumed TerminalMode::Resume() {
  platform::FatalSignalsHeld held;
  if (!isWanted || held.IsDying()) {
    return Resumed::kNotWanted;
  }
  if (IsInBackground(fd)) {
    terminal.isRaw = false;  // whatever the mode is now, it is the shell's
    return Resumed::kInBackground;
  }
  return _GoRaw(held) ? Resumed::kRaw : Resumed::kNotWanted;
}

bool TerminalMode::_GoRaw(platform::FatalSignalsHeld& held) {
  termios found{};
  if (tcgetattr(fd, &found) != 0) {
    return false;
  }
  // Not every shell has a mode of its own: one may have left ours behind a SIGSTOP.
  if (!wasRaw || !AreEqual(found, rawTermios)) {
    terminal.savedTermios = found;
  }
  rawTermios = terminal.savedTermios;
  rawTermios.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  terminal.fd = fd;
  terminal.isRaw = true;
  held.SetHook(platform::LastStep::kRestoreTerminal, platform::kEveryFatalSignal, &RestoreForDeath);
  if (!SetMode(fd, rawTermios)) {
    return false;
  }
  wasRaw = true;
  return true;
}

void TerminalMode::_GoBack(const platform::FatalSignalsHeld& held) {
  if (!terminal.isRaw) {
    return;
  }
  SetMode(fd, terminal.savedTermios);  // also while dying: the process may end before the hook
  if (!held.IsDying()) {
    terminal.isRaw = false;
  }
}

}  // namespace cli::detail
