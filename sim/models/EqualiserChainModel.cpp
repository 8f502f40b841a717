#include "sim/models/EqualiserChainModel.h"

#include <deque>

namespace sim {
namespace {

constexpr std::uint8_t kReadFlag = 0x80;
constexpr std::uint8_t kNoRegister = 0x7F;
constexpr std::uint8_t kRevision = 1;
constexpr std::uint8_t kNoSignal = 0x01;
constexpr std::uint32_t kMaxRate = 6;
constexpr std::uint32_t kUnknownRate = 7;

bool IsReadOnly(std::uint8_t reg) {
  return reg == EqualiserChainModel::kRevisionReg || reg == EqualiserChainModel::kStatusReg ||
         reg == kNoRegister;
}

}  // namespace

EqualiserChainModel::EqualiserChainModel(BoardMutex& mutex, const Settings& settings)
    : mutex_(mutex), settings_(settings) {
  for (Chip& chip : chips_) {
    chip.registers[kRevisionReg] = kRevision;
    chip.registers[kStatusReg] = kNoSignal;
  }
}

std::vector<std::uint8_t> EqualiserChainModel::Exchange(std::span<const std::uint8_t> sent) {
  const std::lock_guard lock(mutex_);
  // The last chip of the chain stands at the output.
  const std::span chain(chips_.data(), settings_.CableChips());
  std::deque<std::uint8_t> shift;
  for (auto chip = chain.rbegin(); chip != chain.rend(); ++chip) {
    shift.insert(shift.end(), chip->frame.begin(), chip->frame.end());
  }
  std::vector<std::uint8_t> received;
  received.reserve(sent.size());
  for (const std::uint8_t byte : sent) {
    received.push_back(shift.front());
    shift.pop_front();
    shift.push_back(byte);
  }
  for (auto chip = chain.rbegin(); chip != chain.rend(); ++chip) {
    for (std::uint8_t& byte : chip->frame) {
      byte = shift.front();
      shift.pop_front();
    }
    _ActOnFrame(*chip);
  }
  return received;
}

void EqualiserChainModel::_ActOnFrame(Chip& chip) {
  const auto reg = static_cast<std::uint8_t>(chip.frame[0] & ~kReadFlag);
  if ((chip.frame[0] & kReadFlag) != 0) {
    chip.frame[1] = chip.registers[reg];
  } else if (!IsReadOnly(reg)) {
    chip.registers[reg] = chip.frame[1];
  }
}

void EqualiserChainModel::SetSignal(std::size_t chip, bool present, std::uint32_t rate) {
  const std::uint32_t code = rate >= 1 && rate <= kMaxRate ? rate - 1 : kUnknownRate;
  SetRegister(chip, kStatusReg, present ? static_cast<std::uint8_t>(code << 1) : kNoSignal);
}

std::uint8_t EqualiserChainModel::Register(std::size_t chip, std::uint8_t reg) const {
  const std::lock_guard lock(mutex_);
  return chips_.at(chip).registers[reg];
}

void EqualiserChainModel::SetRegister(std::size_t chip, std::uint8_t reg, std::uint8_t value) {
  const std::lock_guard lock(mutex_);
  chips_.at(chip).registers[reg] = value;
}

}  // namespace sim
