#include "TerminalInterface.h"

#include <exception>
#include <iostream>
#include <utility>

#include "FieldCommands.h"
#include "cli/Cli.h"
#include "cli/CliLocalTerminalSession.h"
#include "cli/Colors.h"
#include "cli/FileHistoryStorage.h"

namespace {

constexpr const char* kHistoryFile = ".cli";
constexpr std::size_t kHistoryFileEntries = 1000;
constexpr std::size_t kHistoryEntries = 200;

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
  auto bitfieldsMenu = _BitfieldsMenu();
  boardCommands_.AddTo(*bitfieldsMenu);
  mainMenu->AddSubmenu(std::move(bitfieldsMenu));
  mainMenu->AddSubmenu(boardCommands_.EepromMenu());
  mainMenu->AddSubmenu(boardCommands_.SdiMenu());

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
      "ls", [](ostream& out) { out << field_commands::ListModules(""); },
      "List all bitfield modules");
  menu->AddCommand(
      "ls", [](ostream& out, const string& filter) { out << field_commands::ListModules(filter); },
      "List all bitfield modules that match arg");
  menu->AddCommand(
      "lsbf",
      [](ostream& out, const string& module) { out << field_commands::ListBitfields(module, ""); },
      "List all bitfields of the specified module");
  menu->AddCommand(
      "lsbf",
      [](ostream& out, const string& module, const string& filter) {
        out << field_commands::ListBitfields(module, filter);
      },
      "From module arg1 list all bitfields that match arg2");
  menu->AddCommand(
      "read",
      [](ostream& out, const string& module) { out << field_commands::ReadBitfields(module, ""); },
      "From module arg1 read the values of all bitfields");
  menu->AddCommand(
      "read",
      [](ostream& out, const string& module, const string& filter) {
        out << field_commands::ReadBitfields(module, filter);
      },
      "From module arg1 read the values of all bitfields that match arg2");
  menu->AddCommand(
      "write",
      [](ostream& out, const string& module, const string& field, const string& value) {
        out << field_commands::WriteBitfield(module, field, value);
      },
      "Write module arg1, bitfield arg2, the value of arg3 (can be decimal or hex)");
  return menu;
}
