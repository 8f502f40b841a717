#pragma once

#include <cstddef>
#include <ostream>

#include "cli/CliSession.h"
#include "cli/InputHandler.h"
#include "cli/LinuxKeyboard.h"
#include "cli/Scheduler.h"

namespace cli {

/// A session at the process's own terminal: keys from standard input, output to a stream.
///
/// From the first such session on the process ignores SIGPIPE for good: a reader of the output that
/// goes away is an error of the stream, which ends the session in order.
class CliLocalTerminalSession : public CliSession {
 public:
  /// Starts the keyboard thread, puts the terminal into raw mode and writes the first prompt. Keys
  /// wait until `scheduler` runs. The exit action has to stop the scheduler, and a session must not
  /// be destroyed while its jobs may still run. Throws std::system_error if the keyboard can't be
  /// started.
  CliLocalTerminalSession(Cli& sessionCli, Scheduler& scheduler, std::ostream& stream,
                          std::size_t historySize);
  ~CliLocalTerminalSession() override;

 private:
  detail::LinuxKeyboard keyboard;
  detail::InputHandler inputHandler;
};

}  // namespace cli
