#include "cli/Command.h"

#include <utility>

#include "cli/CliSession.h"

namespace cli {

Command::Command(std::string commandName) : name(std::move(commandName)) {
}

Command::~Command() = default;

void Command::Enable() {
  enabled = true;
}

void Command::Disable() {
  enabled = false;
}

std::vector<std::string> Command::CompleteRecursive(const std::string& line) const {
  if (enabled && name.starts_with(line)) {
    return {name};
  }
  return {};
}

std::ostream& Command::OutOf(CliSession& session) {
  return session.Out();
}

}  // namespace cli
