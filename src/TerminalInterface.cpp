#include "TerminalInterface.h"

#include <cstdint>
#include <exception>
#include <iostream>
#include <utility>
#include <vector>

#include "Numbers.h"
#include "cli/Cli.h"
#include "cli/CliLocalTerminalSession.h"
#include "cli/Colors.h"
#include "cli/FileHistoryStorage.h"
#include "log/Log.h"
#include "regaccess/BitfieldManager.h"

namespace {

constexpr const char* kHistoryFile = ".cli";
constexpr std::size_t kHistoryFileEntries = 1000;
constexpr std::size_t kHistoryEntries = 200;

std::string Lines(const std::vector<std::string>& lines, const char* textIfNone) {
  if (lines.empty()) {
    return textIfNone;
  }
  std::string text;
  for (const std::string& line : lines) {
    text += line;
    text += '\n';
  }
  return text;
}

std::string ModuleNotFound(const std::string& module) {
  return "Module " + module + " not found\n";
}

}  // namespace

TerminalInterface::~TerminalInterface() {
  if (serviceThread_.joinable()) {
    serviceThread_.join();
  }
}

void TerminalInterface::Start() {
  serviceThread_ = std::thread(&TerminalInterface::Service, this);
}

void TerminalInterface::Stop() {
  const std::lock_guard lock(schedulerMutex_);
  if (scheduler_ != nullptr) {
    scheduler_->Stop();
  }
}

int TerminalInterface::Service() {
  try {
    _RunSession();
    return 0;
  } catch (const std::exception& error) {
    std::cerr << "Exception caught in main: " << error.what() << std::endl;
  } catch (...) {
    std::cerr << "Unknown exception caught in main." << std::endl;
  }
  return -1;
}

void TerminalInterface::_RunSession() {
  // The tree's commands refer to both handles, so these outlive it.
  cli::CmdHandler colorCmd;
  cli::CmdHandler nocolorCmd;
  auto mainMenu = std::make_unique<cli::Menu>("main");
  _AddColorCommands(*mainMenu, colorCmd, nocolorCmd);
  mainMenu->AddSubmenu(_BitfieldsMenu());

  cli::Cli console(std::move(mainMenu),
                   std::make_unique<cli::FileHistoryStorage>(kHistoryFileEntries, kHistoryFile));
  console.SetExitAction([](std::ostream& out) { out << "Goodbye and thanks for all the fish.\n"; });
  console.SetStdExceptionHandler(
      [](std::ostream& out, const std::string& commandLine, const std::exception& error) {
        out << "Exception caught in cli handler: " << error.what()
            << " handling command: " << commandLine << ".\n";
      });

  // Shared, so that a Stop that comes late finds an event loop that no longer runs, and not a
  // dangling pointer.
  const auto scheduler = std::make_shared<EventLoop>();
  {
    const std::lock_guard lock(schedulerMutex_);
    scheduler_ = scheduler;
  }
  cli::CliLocalTerminalSession session(console, *scheduler, std::cout, kHistoryEntries);
  session.SetExitAction([this](std::ostream& out) {
    out << "Closing App...\n";
    Stop();
  });
  scheduler->Run();
}

void TerminalInterface::_AddColorCommands(cli::Menu& menu, cli::CmdHandler& colorCmd,
                                          cli::CmdHandler& nocolorCmd) {
  colorCmd = menu.AddCommand(
      "color",
      [&colorCmd, &nocolorCmd](std::ostream& out) {
        out << "Colors ON\n";
        cli::SetColorEnabled(true);
        colorCmd.Disable();
        nocolorCmd.Enable();
      },
      "Enable colors in the cli");
  nocolorCmd = menu.AddCommand(
      "nocolor",
      [&colorCmd, &nocolorCmd](std::ostream& out) {
        out << "Colors OFF\n";
        cli::SetColorEnabled(false);
        colorCmd.Enable();
        nocolorCmd.Disable();
      },
      "Disable colors in the cli");
  nocolorCmd.Disable();  // colours start off
  menu.AddCommand(
      "removecmds",
      [&colorCmd, &nocolorCmd](std::ostream& /*out*/) {
        colorCmd.Remove();
        nocolorCmd.Remove();
      },
      "");
}

std::unique_ptr<cli::Menu> TerminalInterface::_BitfieldsMenu() {
  using std::ostream;
  using std::string;
  auto menu = std::make_unique<cli::Menu>("bitfields");
  menu->AddCommand(
      "ls", [](ostream& out) { out << _ListModules(""); }, "List all bitfield modules");
  menu->AddCommand(
      "ls", [](ostream& out, const string& filter) { out << _ListModules(filter); },
      "List all bitfield modules that match arg");
  menu->AddCommand(
      "lsbf", [](ostream& out, const string& module) { out << _ListBitfields(module, ""); },
      "List all bitfields of the specified module");
  menu->AddCommand(
      "lsbf",
      [](ostream& out, const string& module, const string& filter) {
        out << _ListBitfields(module, filter);
      },
      "From module arg1 list all bitfields that match arg2");
  menu->AddCommand(
      "read", [](ostream& out, const string& module) { out << _ReadBitfields(module, ""); },
      "From module arg1 read the values of all bitfields");
  menu->AddCommand(
      "read",
      [](ostream& out, const string& module, const string& filter) {
        out << _ReadBitfields(module, filter);
      },
      "From module arg1 read the values of all bitfields that match arg2");
  menu->AddCommand(
      "write",
      [](ostream& out, const string& module, const string& field, const string& value) {
        out << _WriteBitfield(module, field, value);
      },
      "Write module arg1, bitfield arg2, the value of arg3 (can be decimal or hex)");
  return menu;
}

std::string TerminalInterface::_ListModules(const std::string& filter) {
  std::vector<std::string> lines;
  BitfieldManager::ListModules(lines, filter);
  return Lines(lines, "No Modules Found\n");
}

std::string TerminalInterface::_ListBitfields(const std::string& module,
                                              const std::string& filter) {
  std::vector<std::string> lines;
  if (BitfieldManager::ListBitfields(lines, module, filter) != 0) {
    return ModuleNotFound(module);
  }
  return Lines(lines, "No Bitfields Found\n");
}

std::string TerminalInterface::_ReadBitfields(const std::string& module,
                                              const std::string& filter) {
  std::vector<std::string> lines;
  if (BitfieldManager::ListBitfieldValues(lines, module, filter) != 0) {
    return ModuleNotFound(module);
  }
  return Lines(lines, "No bitfields found\n");
}

std::string TerminalInterface::_WriteBitfield(const std::string& module, const std::string& field,
                                              const std::string& value) {
  std::uint32_t number = 0;
  try {
    number = static_cast<std::uint32_t>(ToInt(value));  // a negative one as its two's complement
  } catch (const std::exception&) {
    return "Value argument <" + value + "> cannot be converted to integer\n";
  }
  std::string report;
  if (BitfieldManager::WriteBitfieldAndReport(report, module, field, number) != 0) {
    return "Module " + module + " or bitfield " + field + " not found\n";
  }
  return FormatMessage("Value 0X%08X was written successfully, read back:\n", number) + report +
         "\n";
}
