#include "cli/Menu.h"

#include <algorithm>
#include <cctype>
#include <iterator>
#include <ostream>

#include "cli/CliSession.h"

namespace cli {

namespace {

void Append(std::vector<std::string>& all, std::vector<std::string> more) {
  std::move(more.begin(), more.end(), std::back_inserter(all));
}

}  // namespace

Menu::Menu() : Command(""), commands(std::make_shared<CmdHandler::CommandList>()) {
}

Menu::Menu(std::string menuName)
    : Command(std::move(menuName)),
      description("(menu)"),
      commands(std::make_shared<CmdHandler::CommandList>()) {
}

Menu::~Menu() = default;

CmdHandler Menu::AddSubmenu(std::unique_ptr<Menu> submenu) {
  submenu->parent = this;
  return _Insert(std::move(submenu));
}

bool Menu::Dispatch(Words words, CliSession& session) {
  if (!IsEnabled()) {
    return false;
  }
  if (_Offer(commands, words, session)) {
    return true;
  }
  return parent != nullptr && parent->Execute(words, session);
}

bool Menu::Execute(Words words, CliSession& session) {
  if (!IsEnabled() || words.empty() || words[0] != Name()) {
    return false;
  }
  if (words.size() == 1) {
    session.SetCurrentMenu(*this);
    return true;
  }
  return _Offer(commands, words.subspan(1), session);
}

void Menu::WriteHelp(std::ostream& out) const {
  if (IsEnabled()) {
    out << " - " << Name() << "\n\t" << description << "\n";
  }
}

void Menu::WriteMainHelp(std::ostream& out) const {
  if (!IsEnabled()) {
    return;
  }
  for (const auto& command : *commands) {
    command->WriteHelp(out);
  }
  if (parent != nullptr) {
    parent->WriteHelp(out);
  }
}

std::vector<std::string> Menu::CompleteRecursive(const std::string& line) const {
  if (!line.starts_with(Name())) {
    return Command::CompleteRecursive(line);
  }
  const auto start =
      std::find_if_not(line.begin() + static_cast<std::ptrdiff_t>(Name().size()), line.end(),
                       [](unsigned char c) { return std::isspace(c) != 0; });
  const std::string rest(start, line.end());
  std::vector<std::string> completions;
  for (const auto& command : *commands) {
    for (const std::string& completion : command->CompleteRecursive(rest)) {
      completions.push_back(Name() + ' ' + completion);
    }
  }
  return completions;
}

std::vector<std::string> Menu::CollectCompletions(const std::string& line) const {
  std::vector<std::string> completions;
  for (const auto& command : *commands) {
    Append(completions, command->CompleteRecursive(line));
  }
  if (parent != nullptr) {
    Append(completions, parent->CompleteRecursive(line));
  }
  return completions;
}

CmdHandler Menu::_Insert(std::shared_ptr<Command> command) {
  commands->push_back(std::move(command));
  return CmdHandler(commands->back(), commands);
}

bool Menu::_Offer(const std::shared_ptr<CmdHandler::CommandList>& entries, Words words,
                  CliSession& session) {
  // A handler may remove commands, its own among them: both the list and the command that runs are
  // held for as long as they are in use.
  const auto list = entries;  // NOLINT(performance-unnecessary-copy-initialization): it holds
  for (std::size_t i = 0; i < list->size();) {
    const auto command = (*list)[i];
    if (command->Execute(words, session)) {
      return true;
    }
    // Where an entry was removed, the next one stands in its place already.
    if (i < list->size() && (*list)[i] == command) {
      ++i;
    }
  }
  return false;
}

}  // namespace cli
