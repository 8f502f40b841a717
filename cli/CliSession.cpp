#include "cli/CliSession.h"

#include <algorithm>
#include <cctype>
#include <exception>
#include <iterator>
#include <utility>

#include "cli/Colors.h"
#include "cli/SplitLine.h"
#include "cli/WithoutControls.h"

namespace cli {

CliSession::CliSession(Cli& sessionCli, std::ostream& stream, std::size_t historySize)
    : cli(sessionCli),
      current(&sessionCli.RootMenu()),
      globalMenu(std::make_unique<Menu>()),
      out(stream),
      exitAction([](std::ostream&) {}),
      history(historySize) {
  for (const std::string& command : cli.History().Newest(historySize)) {
    const std::string shown = WithoutControls(command);
    if (!shown.empty() || command.empty()) {
      history.PushNewest(shown);
    }
  }
  globalMenu->AddCommand(
      "help", [this](std::ostream&) { WriteHelpListing(); }, "This help message");
  globalMenu->AddCommand(
      "exit", [this](std::ostream&) { Leave(); }, "Quit the session");
  // Last, since nothing removes it again when a constructor throws.
  Cli::Out().Add(out);
}

CliSession::~CliSession() {
  Cli::Out().Remove(out);
}

void CliSession::ProcessLine(const std::string& line) {
  const std::vector<std::string> words = SplitLine(line);
  if (words.empty()) {
    return;
  }
  history.Record(line);
  try {
    _Run(line, words);
  } catch (const std::exception& exception) {
    cli.ReportException(out, line, exception);
  } catch (...) {
    out << "Cli. Unknown exception caught handling command line \"" << line << "\"\n";
  }
}

void CliSession::_Run(const std::string& line, Words words) {
  if (!globalMenu->Dispatch(words, *this) && !current->Dispatch(words, *this)) {
    out << "wrong command: " << line << "\n";
  }
}

void CliSession::ShowPrompt() {
  if (!leaving) {
    WritePrompt();
    out.flush();
  }
}

void CliSession::WritePrompt() {
  if (!leaving) {
    out << BeforePrompt << current->Name() << AfterPrompt << "> ";
  }
}

void CliSession::Leave() {
  if (leaving) {
    return;
  }
  if (exitAction) {
    exitAction(out);
  }
  cli.RunExitAction(out);
  cli.History().Store(history.NewCommands());
  leaving = true;
}

void CliSession::WriteHelpListing() {
  out << "Commands available:\n";
  globalMenu->WriteMainHelp(out);
  current->WriteMainHelp(out);
}

std::vector<std::string> CliSession::CompletionsFor(std::string line) const {
  line.erase(line.begin(), std::find_if_not(line.begin(), line.end(),
                                            [](unsigned char c) { return std::isspace(c) != 0; }));
  std::vector<std::string> completions = globalMenu->CollectCompletions(line);
  std::vector<std::string> more = current->CollectCompletions(line);
  std::move(more.begin(), more.end(), std::back_inserter(completions));
  std::sort(completions.begin(), completions.end());
  completions.erase(std::unique(completions.begin(), completions.end()), completions.end());
  return completions;
}

void CliSession::SetExitAction(std::function<void(std::ostream& out)> action) {
  exitAction = std::move(action);
}

}  // namespace cli
