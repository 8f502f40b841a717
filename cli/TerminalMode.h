#pragma once

#include <termios.h>

namespace platform {
class FatalSignalsHeld;
}

namespace cli::detail {

/// The mode of the terminal on a descriptor; the one place that touches it. At most one object of a
/// process is in raw mode at a time. Thread-safe.
///
/// While the terminal is raw, a signal that ends the process first puts the saved mode back. After
/// such a signal the terminal isn't made raw again, since the process is about to die.
///
/// The terminal belongs to the job in the foreground: in the background its mode is left alone, and
/// no call waits there, but for the first EnterRaw.
class TerminalMode {
 public:
  /// What Resume found.
  enum class Resumed { kRaw, kInBackground, kNotWanted };

  explicit TerminalMode(int descriptor);
  /// Restores the saved mode.
  ~TerminalMode();
  TerminalMode(const TerminalMode&) = delete;
  TerminalMode& operator=(const TerminalMode&) = delete;

  /// Switches line editing and echo of the terminal off and leaves all else as it is, signal keys
  /// included. Does nothing if the descriptor is no terminal. A process in the background is
  /// stopped here until it comes to the foreground.
  void EnterRaw();

  /// Puts the mode back that was found. Does nothing if EnterRaw hasn't been called.
  void Restore();

  /// Puts the mode back that was found, until Resume: the process is about to be stopped.
  void Suspend();

  /// Makes the terminal raw again when the process goes on, however it was stopped, if EnterRaw has
  /// done so before. The mode that is put back in the end is the one that the shell has left.
  Resumed Resume();

 private:
  bool _GoRaw(platform::FatalSignalsHeld& held);
  void _GoBack(const platform::FatalSignalsHeld& held);

  const int fd;
  // Under platform::FatalSignalsHeld.
  bool isWanted = false;
  bool wasRaw = false;
  termios rawTermios{};
};

}  // namespace cli::detail
