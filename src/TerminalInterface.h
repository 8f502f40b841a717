#pragma once

#include <memory>
#include <mutex>
#include <thread>

#include "BoardCommands.h"
#include "cli/CmdHandler.h"
#include "cli/GenericAsioScheduler.h"
#include "cli/Menu.h"

/// The operator's console: the menu tree and its commands on the local terminal.
///
/// Threads: Service and every command run on the thread that calls Service; Stop may be called from
/// any thread.
class TerminalInterface {
 public:
  /// The board's objects are not owned and outlive this one.
  TerminalInterface(CSysEeprom* inventory, TopFpga* topFpga, SdiCableEqInterface* equalisers,
                    GS12281_Soc* drivers)
      : boardCommands_(inventory, topFpga, equalisers, drivers) {}
  TerminalInterface(const TerminalInterface&) = delete;
  TerminalInterface& operator=(const TerminalInterface&) = delete;
  /// Waits for the session that Start began.
  virtual ~TerminalInterface();

  /// Serves the operator until the session ends. Gives 0, or -1 after an exception, whose text is
  /// written on standard error.
  int Service();

  /// Runs Service on a thread of its own.
  void Start();

  /// Makes Service return without ending the session in order: the new history lines are not
  /// stored. Does nothing before Service has begun and after it has returned.
  void Stop();

 private:
  using EventLoop = cli::detail::GenericAsioScheduler<cli::detail::NewStandaloneAsioLib>;

  void _RunSession();
  static void _AddColorCommands(cli::Menu& menu, cli::CmdHandler& colorCmd,
                                cli::CmdHandler& nocolorCmd);
  static std::unique_ptr<cli::Menu> _BitfieldsMenu();

  std::thread serviceThread_;
  std::mutex schedulerMutex_;             // guards the pointer below
  std::shared_ptr<EventLoop> scheduler_;  // null until Service has made it
  BoardCommands boardCommands_;
};
