#include "sim/models/CrosspointModel.h"

namespace sim {
namespace {

constexpr std::uint32_t kControlWord = 0x20000000;
constexpr std::uint32_t kOutputCommand = 0x40000000;

}  // namespace

bool CrosspointModel::_HasPort(std::uint32_t offset) {
  const bool has = offset < 4 * kPorts;
  Complain(has ? "" : "no such port");
  return has;
}

std::uint32_t CrosspointModel::Load(std::uint32_t offset) {
  const std::lock_guard lock(mutex_);
  return _HasPort(offset) ? words_[offset / 4] : 0;
}

void CrosspointModel::Store(std::uint32_t offset, std::uint32_t value) {
  const std::lock_guard lock(mutex_);
  const bool command = (value & kOutputCommand) != 0 || (value == kControlWord && offset == 0);
  if (!_HasPort(offset) || command) {
    return;
  }
  if ((value & ~kDisabled) >= kSources) {
    Complain("no such source");
    return;
  }
  words_[offset / 4] = value;
}

int CrosspointModel::SourceOf(std::uint32_t port) const {
  const std::lock_guard lock(mutex_);
  const std::uint32_t word = words_.at(port);
  return (word & kDisabled) == 0 ? static_cast<int>(word) : -1;
}

}  // namespace sim
