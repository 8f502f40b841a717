#include "sim/models/DriverChainModel.h"

#include <algorithm>

namespace sim {
namespace {

constexpr std::uint16_t kRead = 0x8000;
constexpr std::uint16_t kCommandBit = 0x2000;
constexpr std::uint16_t kUnused = 0x507F;  // two flags, and address bits above the 16 that exist
constexpr unsigned kUnitLsb = 7;
constexpr std::uint16_t kUnitMask = 0x1F;

constexpr std::uint16_t kForgetAddresses = 0x4000;
constexpr std::uint16_t kTakeAddress = 0x2000;

constexpr std::size_t kHeaderBytes = 4;

std::uint16_t WordAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
  return static_cast<std::uint16_t>(bytes[offset] << 8 | bytes[offset + 1]);
}

}  // namespace

std::vector<std::uint8_t> DriverChainModel::Exchange(std::span<const std::uint8_t> sent) {
  const std::lock_guard lock(mutex_);
  std::vector<std::uint8_t> received(sent.size());
  if (sent.size() < kHeaderBytes) {
    return received;
  }
  const std::uint16_t command = WordAt(sent, 0);
  if ((command & (kCommandBit | kUnused)) != kCommandBit) {
    return received;
  }
  const auto unit = static_cast<std::uint8_t>(command >> kUnitLsb & kUnitMask);
  std::uint16_t reg = WordAt(sent, 2);
  for (std::size_t i = kHeaderBytes; i + 1 < sent.size(); i += 2, ++reg) {
    if ((command & kRead) == 0) {
      _Write(unit, reg, WordAt(sent, i));
    } else if (Chip* chip = _ChipAt(unit); chip != nullptr) {
      const std::uint16_t value = chip->registers[reg];
      received[i] = static_cast<std::uint8_t>(value >> 8);
      received[i + 1] = static_cast<std::uint8_t>(value & 0xFF);
    }
  }
  return received;
}

// The chip that answers to a unit address, or null.
DriverChainModel::Chip* DriverChainModel::_ChipAt(std::uint8_t unit) {
  const std::span chain(chips_.data(), settings_.CableChips());
  const auto chip = std::find_if(chain.begin(), chain.end(),
                                 [unit](const Chip& one) { return one.unit == unit; });
  return chip != chain.end() ? &*chip : nullptr;
}

void DriverChainModel::_Write(std::uint8_t unit, std::uint16_t reg, std::uint16_t value) {
  if (unit == 0 && reg == 0) {
    _Assign(value);
  } else if (Chip* chip = _ChipAt(unit); chip != nullptr) {
    chip->registers[reg] = value;
  }
}

void DriverChainModel::_Assign(std::uint16_t value) {
  if ((value & kForgetAddresses) != 0) {
    for (Chip& chip : chips_) {
      chip.unit = 0;
    }
  }
  if (Chip* next = _ChipAt(0); (value & kTakeAddress) != 0 && next != nullptr) {
    next->unit = static_cast<std::uint8_t>(value & kUnitMask);
  }
}

std::uint8_t DriverChainModel::UnitOf(std::size_t chip) const {
  const std::lock_guard lock(mutex_);
  return chips_.at(chip).unit;
}

std::uint16_t DriverChainModel::Register(std::size_t chip, std::uint16_t reg) const {
  const std::lock_guard lock(mutex_);
  const auto& registers = chips_.at(chip).registers;
  const auto found = registers.find(reg);
  return found != registers.end() ? found->second : std::uint16_t{0};
}

void DriverChainModel::SetRegister(std::size_t chip, std::uint16_t reg, std::uint16_t value) {
  const std::lock_guard lock(mutex_);
  chips_.at(chip).registers[reg] = value;
}

}  // namespace sim
