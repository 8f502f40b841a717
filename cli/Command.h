#pragma once

#include <iosfwd>
#include <span>
#include <string>
#include <vector>

namespace cli {

class CliSession;

/// The words of a typed line, or what is left of them behind the menus already passed.
using Words = std::span<const std::string>;

/// What an operator can type: the base of menus and of commands that run something.
///
/// Bound to the thread that runs the session. Names are compared exactly, case included.
class Command {
 public:
  /// `commandName` is the word that the operator types.
  explicit Command(std::string commandName);
  virtual ~Command();
  Command(const Command&) = delete;
  Command& operator=(const Command&) = delete;

  /// Undoes Disable.
  virtual void Enable();
  /// A disabled command can't be run, has no help entry and no completion.
  virtual void Disable();

  /// Offers the line's words. True if this command took the line; lets through what a handler
  /// throws.
  virtual bool Execute(Words words, CliSession& session) = 0;

  /// Writes the command's entry in the help listing, nothing if disabled.
  virtual void WriteHelp(std::ostream& out) const = 0;

  /// What `line` can be completed to: the name, if it begins with `line`.
  virtual std::vector<std::string> CompleteRecursive(const std::string& line) const;

  const std::string& Name() const { return name; }
  bool IsEnabled() const { return enabled; }

 protected:
  static std::ostream& OutOf(CliSession& session);

 private:
  std::string name;
  bool enabled = true;
};

}  // namespace cli
