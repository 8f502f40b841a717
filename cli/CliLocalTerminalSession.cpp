#include "cli/CliLocalTerminalSession.h"

#include <csignal>

namespace cli {

namespace {

void IgnoreBrokenPipe() {
  struct sigaction current {};
  if (sigaction(SIGPIPE, nullptr, &current) == 0 && current.sa_handler == SIG_DFL) {
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, nullptr);
  }
}

}  // namespace

CliLocalTerminalSession::CliLocalTerminalSession(Cli& sessionCli, Scheduler& scheduler,
                                                 std::ostream& stream, std::size_t historySize)
    : CliSession(sessionCli, stream, historySize),
      keyboard(scheduler),
      inputHandler(*this, keyboard) {
  IgnoreBrokenPipe();
  ShowPrompt();
}

CliLocalTerminalSession::~CliLocalTerminalSession() = default;

}  // namespace cli
