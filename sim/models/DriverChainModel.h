#pragma once

#include <array>
#include <cstdint>
#include <unordered_map>

#include "sim/RegisterFile.h"
#include "sim/Settings.h"
#include "sim/SpiBus.h"

namespace sim {

/// A chain of GS12281 cable drivers with 16-bit registers. A transfer is a command word, an address
/// word and data words; data words beyond the first belong to the registers that follow. The first
/// chip with the command's unit address takes part. Unit 0 is the first chip of the chain that has
/// no address yet; a word written to its register 0 is not held but acted on: with bit 14 set every
/// chip forgets its address, with bit 13 set the next chip without one takes the address in bits 4
/// to 0. A command without bit 13 or with another bit that nobody has use for is not understood:
/// nobody takes it.
///
/// The chain has as many chips as the straps say. Thread-safe.
class DriverChainModel : public SpiChain {
 public:
  /// `settings` is not owned.
  DriverChainModel(BoardMutex& mutex, const Settings& settings)
      : mutex_(mutex), settings_(settings) {}

  std::vector<std::uint8_t> Exchange(std::span<const std::uint8_t> sent) override;

  /// Unit address of a chip, 0 if it has none. `chip` counts from 0 to kMaxCableChips - 1, fitted
  /// or not; else std::out_of_range.
  std::uint8_t UnitOf(std::size_t chip) const;
  /// A register of a chip, and what the hardware puts into it.
  std::uint16_t Register(std::size_t chip, std::uint16_t reg) const;
  void SetRegister(std::size_t chip, std::uint16_t reg, std::uint16_t value);

 private:
  struct Chip {
    std::uint8_t unit = 0;
    std::unordered_map<std::uint16_t, std::uint16_t> registers;
  };

  Chip* _ChipAt(std::uint8_t unit);
  void _Write(std::uint8_t unit, std::uint16_t reg, std::uint16_t value);
  void _Assign(std::uint16_t value);

  BoardMutex& mutex_;  // guards all that follows
  const Settings& settings_;
  std::array<Chip, kMaxCableChips> chips_;
};

}  // namespace sim
