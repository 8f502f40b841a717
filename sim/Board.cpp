#include "sim/Board.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <stdexcept>
#include <system_error>

#include "map/ModuleMap.h"
#include "sim/BoardFolder.h"
#include "sim/Fpga.h"
#include "sim/SignalFile.h"

namespace sim {
namespace {

// The board is never destroyed: the process's last log record and the unmapping of its registers
// come after main has returned. Its lock guards the creation.
std::mutex creation;
Board* theBoard = nullptr;

// A page that raises SIGBUS when it is touched: a file's mapping behind the file's end.
void BreakPage(volatile void* window, std::size_t offset) {
  const auto pageBytes = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  auto* page = static_cast<volatile char*>(window) + offset / pageBytes * pageBytes;
  const int empty = memfd_create("bus-error", MFD_CLOEXEC);
  (void)mmap(const_cast<char*>(page), pageBytes, PROT_READ | PROT_WRITE, MAP_SHARED | MAP_FIXED,
             empty, 0);
  (void)close(empty);
}

// The inventory's two files exist on every board, empty when the board is new.
void CreateInventoryFiles(const Board& board) {
  for (const char* name : {"/usr/orvane/lib/eeprom-lo", "/usr/orvane/lib/eeprom-hi"}) {
    const std::filesystem::path path = board.StoragePath(name);
    CreateFolder(path.parent_path());
    if (access(path.c_str(), F_OK) != 0) {  // one that can't be read is a fault of the board
      ProvideFile(path, "");
    }
  }
}

// The rate as the cable equalisers number it.
std::uint32_t EqualiserRate(SdiRate rate) {
  switch (rate) {
    case SdiRate::k270M:
      return 2;
    case SdiRate::k1500M:
      return 3;
    case SdiRate::k3GLevelA:
    case SdiRate::k3GLevelB:
      return 4;
    case SdiRate::k6G:
      return 5;
    case SdiRate::k12G:
      return 6;
  }
  return 0;
}

}  // namespace

Board::Board() : fpga_(std::make_unique<Fpga>(mutex, clock, registers)) {
}

CoreModel& Board::_CoreOf(std::string_view module) {
  for (const module_map::Module& row : module_map::kModules) {
    if (std::string_view(row.name) == module) {
      return *registers.ModelAt(row.Base());
    }
  }
  throw std::out_of_range("the board has no module " + std::string(module));
}

Board& Board::Get() {
  const std::lock_guard lock(creation);
  if (theBoard == nullptr) {
    theBoard = new Board;  // lives until the process ends
    const char* folder = std::getenv("BOARD_SIM_DIR");
    try {
      theBoard->UseFolder(folder != nullptr && *folder != '\0' ? folder : ".board-sim");
    } catch (const std::system_error& error) {
      std::cerr << "The simulated board's folder can't be used: " << error.what() << '\n';
      std::_Exit(EXIT_FAILURE);  // whoever asked for the board is half built: nothing is torn down
    }
  }
  return *theBoard;
}

Board& Board::CreateInMemory() {
  const std::lock_guard lock(creation);
  if (theBoard != nullptr) {
    throw std::logic_error("the process has a simulated board already");
  }
  theBoard = new Board;  // lives until the process ends
  return *theBoard;
}

void Board::UseFolder(const std::string& folder) {
  UseFilesFolder(folder + "/files");
  CreateFolder(folder);
  settings = ReadSettings(folder + "/board.conf");
  CreateInventoryFiles(*this);
  log.WriteTo(folder + "/log.txt");
  if (settings.traceToFile) {
    registers.TraceToFile(folder + "/trace.txt");
  }
  const std::lock_guard lock(mutex);
  signalFile_ = std::make_unique<SignalFile>(
      folder + "/signals.conf", clock, log,
      [this](std::uint32_t input, const VideoSignal& signal) { Plug(input, signal); },
      [this](std::uint32_t reference, int standardId) {
        fpga_->refDetect.SetReference(
            reference == 0 ? RefDetectModel::Input::kFirst : RefDetectModel::Input::kSecond,
            standardId);
      },
      [this](std::uint32_t line, const AudioPair& audio) { PlugAes(line, audio); });
  const auto look = [this] { signalFile_->Poll(); };
  registers.BeforeLoad(look);
  for (SpiBus* bus : {&equaliserSpi, &driverSpi}) {
    bus->BeforeTransfer(look);
  }
}

void Board::Plug(std::uint32_t input, const VideoSignal& signal) {
  const std::lock_guard lock(mutex);
  fpga_->Plug(input, signal);
  equaliserChain.SetSignal(input, signal.IsPresent(), EqualiserRate(signal.Standard().sdiRate));
}

void Board::PlugAes(std::uint32_t line, const AudioPair& audio) {
  fpga_->aesRx.Plug(line, audio);
}

void Board::UseFilesFolder(const std::string& folder) {
  filesFolder_ = folder;
}

std::string Board::StoragePath(std::string_view boardPath) const {
  return (filesFolder_.empty() ? "/nonexistent" : filesFolder_) + std::string(boardPath);
}

volatile void* Board::MapWindow(std::size_t bytes) {
  if (settings.mappingRefused) {
    errno = EPERM;
    return nullptr;
  }
  void* window =
      mmap(nullptr, bytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (window == MAP_FAILED) {
    return nullptr;
  }
  if (settings.busErrorAt) {
    BreakPage(window, *settings.busErrorAt);
  }
  return window;
}

}  // namespace sim
