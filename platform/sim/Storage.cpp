#include "platform/Storage.h"

#include "sim/Board.h"

namespace platform {

std::string StoragePath(std::string_view boardPath) {
  return sim::Board::Get().StoragePath(boardPath);
}

}  // namespace platform
