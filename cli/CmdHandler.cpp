#include "cli/CmdHandler.h"

#include <algorithm>

#include "cli/Command.h"

namespace cli {

CmdHandler::CmdHandler() : descriptor(std::make_shared<Descriptor>()) {
}

CmdHandler::CmdHandler(const std::shared_ptr<Command>& command,
                       const std::shared_ptr<CommandList>& list)
    : descriptor(std::make_shared<Descriptor>(Descriptor{command, list})) {
}

void CmdHandler::Enable() const {
  if (const auto command = descriptor->command.lock()) {
    command->Enable();
  }
}

void CmdHandler::Disable() const {
  if (const auto command = descriptor->command.lock()) {
    command->Disable();
  }
}

void CmdHandler::Remove() const {
  const auto command = descriptor->command.lock();
  const auto list = descriptor->list.lock();
  if (!command || !list) {
    return;
  }
  const auto entry = std::find(list->begin(), list->end(), command);
  if (entry != list->end()) {
    list->erase(entry);
  }
}

}  // namespace cli
