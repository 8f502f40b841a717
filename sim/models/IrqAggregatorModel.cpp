#include "sim/models/IrqAggregatorModel.h"

#include <utility>

namespace sim {

IrqAggregatorModel::IrqAggregatorModel(BoardMutex& mutex) : ModelOf(mutex) {
  for (std::uint32_t group = 0; group < raised_.size(); ++group) {
    SetWord(kMask + 4 * group, 0xFFFFFFFF);
  }
}

void IrqAggregatorModel::SetLine(std::uint32_t line, bool raised) {
  const std::lock_guard lock(Mutex());
  const std::uint32_t group = line / 32;
  const std::uint32_t bit = 1U << (line % 32);
  if (raised) {
    raised_.at(group) |= bit;
    SetWord(kStatus + 4 * group, Word(kStatus + 4 * group) | bit);
  } else {
    raised_.at(group) &= ~bit;
  }
  _UpdateOutput();
}

void IrqAggregatorModel::Pulse(std::uint32_t line) {
  const std::lock_guard lock(Mutex());
  SetLine(line, true);
  SetLine(line, false);
}

void IrqAggregatorModel::AddSource(std::function<void()> follow) {
  const std::lock_guard lock(Mutex());
  sources_.push_back(std::move(follow));
}

void IrqAggregatorModel::OnLoad(std::uint32_t /*offset*/) {
  for (const auto& follow : sources_) {
    follow();
  }
}

void IrqAggregatorModel::OnStore(std::uint32_t offset, std::uint32_t written,
                                 std::uint32_t /*before*/) {
  if (offset >= kClear && offset <= kLastClear) {
    const std::uint32_t group = (offset - kClear) / 4;
    const std::uint32_t latched = Word(kStatus + 4 * group) & ~written;
    SetWord(kStatus + 4 * group, latched | raised_[group]);
  }
  _UpdateOutput();
}

void IrqAggregatorModel::_UpdateOutput() {
  bool output = false;
  for (std::uint32_t group = 0; group < raised_.size(); ++group) {
    output |= (Word(kStatus + 4 * group) & ~Word(kMask + 4 * group)) != 0;
  }
  Set("irqOutputStatus", output ? 1 : 0);
}

}  // namespace sim
