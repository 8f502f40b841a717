#pragma once

#include <memory>
#include <vector>

namespace cli {

class Command;

/// What an insertion into a menu gives back: a plain value that can be copied, and that may outlive
/// its command; all operations do nothing then. Bound to the thread that runs the session.
class CmdHandler {
 public:
  using CommandList = std::vector<std::shared_ptr<Command>>;

  /// Stands for no command.
  CmdHandler();
  CmdHandler(const std::shared_ptr<Command>& command, const std::shared_ptr<CommandList>& list);

  // Copied only: a handler that was moved from would stand for nothing at all.
  CmdHandler(const CmdHandler&) = default;
  CmdHandler& operator=(const CmdHandler&) = default;
  ~CmdHandler() = default;

  void Enable() const;
  void Disable() const;

  /// Takes the command out of its menu for good; the order of the others stays. A handler may do
  /// this to other commands and to its own while it runs. A menu in which a session stands must
  /// not be removed.
  void Remove() const;

 private:
  struct Descriptor {
    std::weak_ptr<Command> command;
    std::weak_ptr<CommandList> list;
  };

  std::shared_ptr<Descriptor> descriptor;
};

}  // namespace cli
