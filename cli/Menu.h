#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "cli/CmdHandler.h"
#include "cli/Command.h"
#include "cli/VariadicFunctionCommand.h"

namespace cli {

/// A node of the tree: commands and submenus in their order of insertion. Its name is the prompt.
///
/// Bound to the thread that runs the session. The tree is built before the session starts; commands
/// may be disabled, enabled and removed while it runs.
class Menu : public Command {
 public:
  /// The menu of the commands that a session offers everywhere: no name, no description.
  Menu();
  /// A menu that an operator enters by its name; its description is "(menu)".
  explicit Menu(std::string menuName);
  ~Menu() override;

  /// Adds a command behind the others. `function` takes a std::ostream& and zero or more
  /// std::string; their number is the number of arguments that the operator must give.
  /// `description` is the text in the help; `parameterNames` may be left out.
  template <typename F>
  CmdHandler AddCommand(std::string commandName, F function, std::string commandDescription,
                        std::vector<std::string> parameterNames = {}) {
    return _Insert(std::make_shared<detail::CommandFor<F>>(
        std::move(commandName), std::move(function), std::move(commandDescription),
        std::move(parameterNames)));
  }

  /// Adds a submenu behind the others and becomes its parent. This menu must outlive it.
  CmdHandler AddSubmenu(std::unique_ptr<Menu> submenu);

  /// Offers a line to the entries in order, then to the parent by the parent's own name. True if
  /// one took it; a disabled menu takes nothing.
  bool Dispatch(Words words, CliSession& session);

  /// The name alone makes this the current menu; with words behind it, these are offered to the
  /// entries and the current menu stays.
  bool Execute(Words words, CliSession& session) override;

  void WriteHelp(std::ostream& out) const override;

  /// The help entries of all commands, then the parent's own entry, the way back up.
  void WriteMainHelp(std::ostream& out) const;

  /// Completes the name, or behind the name what the entries make of the rest.
  std::vector<std::string> CompleteRecursive(const std::string& line) const override;

  /// The completions of the entries and of the parent, unsorted.
  std::vector<std::string> CollectCompletions(const std::string& line) const;

 private:
  CmdHandler _Insert(std::shared_ptr<Command> command);
  static bool _Offer(const std::shared_ptr<CmdHandler::CommandList>& entries, Words words,
                     CliSession& session);

  Menu* parent = nullptr;
  std::string description;
  std::shared_ptr<CmdHandler::CommandList> commands;
};

}  // namespace cli
