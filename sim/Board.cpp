#include "sim/Board.h"

#include <sys/mman.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <stdexcept>

#include "modules/AddressMap.h"

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

}  // namespace

Board::Board() {
  registers.Attach(address_map::BaseOf(address_map::kIrqHandler), irqAggregator);
  registers.Attach(address_map::BaseOf(address_map::kSdiRxCrosspoint), sdiRxCrosspoint);
  registers.Attach(address_map::BaseOf(address_map::kSdiTxCrosspoint), sdiTxCrosspoint);
}

Board& Board::Get() {
  const std::lock_guard lock(creation);
  if (theBoard == nullptr) {
    theBoard = new Board;  // lives until the process ends
    const char* folder = std::getenv("BOARD_SIM_DIR");
    theBoard->UseFolder(folder != nullptr ? folder : ".board-sim");
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
  folder_ = folder;
  std::filesystem::create_directories(folder_);
  const std::string conf = folder_ + "/board.conf";
  if (!std::filesystem::exists(conf)) {
    WriteDefaultSettings(conf);
  }
  settings = ReadSettings(conf);
  log.WriteTo(folder_ + "/log.txt");
  if (settings.traceToFile) {
    registers.TraceToFile(folder_ + "/trace.txt");
  }
}

std::string Board::StoragePath(std::string_view boardPath) const {
  if (folder_.empty()) {
    return "/nonexistent" + std::string(boardPath);
  }
  const std::string path = folder_ + "/files" + std::string(boardPath);
  std::filesystem::create_directories(std::filesystem::path(path).parent_path());
  return path;
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
