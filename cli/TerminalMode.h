#pragma once

#include <termios.h>

namespace cli::detail {

/// The mode of the terminal on a descriptor; the one place that touches it. At most one object of a
/// process is in raw mode at a time. Bound to the thread that made it.
///
/// While the terminal is raw, the signals that end a process (SIGINT, SIGTERM, SIGHUP, SIGQUIT,
/// SIGABRT, SIGSEGV, SIGBUS) first put the saved mode back and then take the course that they would
/// have taken without. A signal that is ignored stays so. After such a signal the terminal isn't
/// made raw again, since the process is about to die.
class TerminalMode {
 public:
  explicit TerminalMode(int descriptor);
  /// Restores the saved mode.
  ~TerminalMode();
  TerminalMode(const TerminalMode&) = delete;
  TerminalMode& operator=(const TerminalMode&) = delete;

  /// Switches line editing and echo of the terminal off and leaves all else as it is, signal keys
  /// included. Does nothing if the descriptor is no terminal.
  void EnterRaw();

  /// Puts the mode back that EnterRaw found. Does nothing if the terminal isn't raw.
  void Restore();

 private:
  int fd;
  bool isRaw = false;
  termios savedTermios{};
  termios rawTermios{};
};

}  // namespace cli::detail
