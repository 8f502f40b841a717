#include "sim/models/CrosspointModel.h"

namespace sim {

std::uint32_t CrosspointModel::Load(std::uint32_t offset) {
  const std::lock_guard lock(mutex_);
  const auto word = words_.find(offset);
  return word != words_.end() ? word->second : kDisabled;
}

void CrosspointModel::Store(std::uint32_t offset, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  if ((value & kCommandBits) != 0) {
    ++commands_;
    return;
  }
  words_[offset] = value;
}

int CrosspointModel::SourceOf(std::uint32_t port) const {
  const std::lock_guard lock(mutex_);
  const auto word = words_.find(4 * port);
  return word != words_.end() && (word->second & kDisabled) == 0 ? static_cast<int>(word->second)
                                                                 : -1;
}

std::uint32_t CrosspointModel::CommandCount() const {
  const std::lock_guard lock(mutex_);
  return commands_;
}

}  // namespace sim
