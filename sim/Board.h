#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "map/FieldMap.h"
#include "sim/CoreModel.h"
#include "sim/LogRecords.h"
#include "sim/RegisterFile.h"
#include "sim/Settings.h"
#include "sim/SimulatedClock.h"
#include "sim/SpiBus.h"
#include "sim/VideoSignal.h"
#include "sim/models/DriverChainModel.h"
#include "sim/models/EqualiserChainModel.h"

namespace sim {

class Fpga;
class SignalFile;

/// The simulated board: all that the machine's edge reaches, in one object. There is one in a
/// process, like the real board, and it stands until the process ends.
///
/// A test calls CreateInMemory before anything else; a program that doesn't gets a board with a
/// folder at its first access: the one that the environment variable BOARD_SIM_DIR names, else
/// ".board-sim" in the working directory. The folder holds "board.conf" (see Settings), "log.txt"
/// (the records of the system log), "signals.conf" (what is plugged in, see SignalFile),
/// "trace.txt" if asked for, and the board's files below "files".
class Board {
 public:
  /// The process's board. A folder that can't be used ends the process with status 1, after a line
  /// on standard error.
  static Board& Get();
  /// Makes the process's board without a folder. Throws std::logic_error if there is one already.
  static Board& CreateInMemory();

  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  /// Gives the board a folder, which is created if it is missing. Throws std::system_error if the
  /// folder or a file of it can't be had. A file of the inventory that can't be read is a fault of
  /// the board, and none of the folder.
  void UseFolder(const std::string& folder);
  /// Keeps the board's files, such as those of the inventory, below a folder.
  void UseFilesFolder(const std::string& folder);
  /// Where a file of the board lies. Without a folder for files there is no such file.
  std::string StoragePath(std::string_view boardPath) const;

  /// Plugs a signal into an SDI input, 0 to 3: every model that has this input gets it. Throws
  /// std::out_of_range.
  void Plug(std::uint32_t input, const VideoSignal& signal);

  /// Plugs a signal into an AES3 line, 0 to 7. Throws std::out_of_range.
  void PlugAes(std::uint32_t line, const AudioPair& audio);

  /// Maps the register window: an address range of its own that nothing but LoadWord and StoreWord
  /// can reach. Null with errno set if the settings say so.
  volatile void* MapWindow(std::size_t bytes);

  /// The model of a module's core, by the name that the console lists it under. Throws
  /// std::out_of_range for a name that the map doesn't have and std::bad_cast for another model.
  template <typename Model>
  Model& Core(std::string_view module) {
    return dynamic_cast<Model&>(_CoreOf(module));
  }
  /// The same for a path's module, whose name has '#' in the place of the path.
  template <typename Model>
  Model& Core(std::string_view module, std::size_t path) {
    return dynamic_cast<Model&>(_CoreOf(NumberedName(module, path)));
  }

  // The parts of the board. Each is thread-safe by itself; `settings` belongs to start-up.
  BoardMutex mutex;
  Settings settings;
  LogRecords log;
  SimulatedClock clock;
  RegisterFile registers{mutex};

  // The SPI devices and the chips behind them.
  EqualiserChainModel equaliserChain{mutex, settings};
  DriverChainModel driverChain{mutex, settings};
  SpiBus equaliserSpi{mutex, "/dev/spidev1.0", 1, equaliserChain, settings.equaliserSpiFault};
  SpiBus driverSpi{mutex, "/dev/spidev0.0", 0, driverChain, settings.driverSpiFault};

 private:
  Board();

  CoreModel& _CoreOf(std::string_view module);

  std::string filesFolder_;
  std::unique_ptr<Fpga> fpga_;
  std::unique_ptr<SignalFile> signalFile_;  // in a board with a folder; guarded by its lock
};

}  // namespace sim
