#include "platform/Storage.h"

namespace platform {

std::string StoragePath(std::string_view boardPath) {
  return std::string(boardPath);
}

}  // namespace platform
