#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "cli/Cli.h"
#include "cli/CommandHistory.h"
#include "cli/Menu.h"

namespace cli {

/// One operator at work on a tree: the current menu, the prompt, the history. It knows nothing of
/// where the lines come from. Bound to the thread that runs the scheduler.
class CliSession {
 public:
  /// Starts at the top menu with the newest `historySize` entries of the stored history. Somebody
  /// else may have written them: their control characters are dropped, and an entry that consists
  /// of nothing else. `sessionCli` and `stream` must outlive the session.
  CliSession(Cli& sessionCli, std::ostream& stream, std::size_t historySize);
  virtual ~CliSession();
  CliSession(const CliSession&) = delete;
  CliSession& operator=(const CliSession&) = delete;

  /// Runs a finished line: splits and records it and offers it to the global and the current menu.
  /// Reports what nobody took and what a command threw; no exception of a command gets out.
  void ProcessLine(const std::string& line);

  /// Writes the prompt and flushes it. Nothing once the session is leaving.
  void ShowPrompt();
  /// The same without the flush, for a caller that goes on writing.
  void WritePrompt();

  /// Ends the session: runs the session's exit action, then the one of the `Cli`, and stores the
  /// new history lines. A second call does nothing.
  void Leave();
  /// True once Leave has done its work; nothing more is run then.
  bool IsLeaving() const { return leaving; }

  /// Writes the help of the commands that can be typed now.
  void WriteHelpListing();

  /// What `line` can be completed to, sorted, each once.
  std::vector<std::string> CompletionsFor(std::string line) const;

  /// The session keeps a pointer to `menu`, which must be part of the tree for as long.
  void SetCurrentMenu(Menu& menu) { current = &menu; }

  /// Replaces what is called first with the stream when the session ends.
  void SetExitAction(std::function<void(std::ostream& out)> action);

  std::ostream& Out() { return out; }
  CommandHistory& History() { return history; }

 private:
  void _Run(const std::string& line, Words words);

  Cli& cli;
  Menu* current;
  std::unique_ptr<Menu> globalMenu;
  std::ostream& out;
  std::function<void(std::ostream& out)> exitAction;
  CommandHistory history;
  bool leaving = false;
};

}  // namespace cli
