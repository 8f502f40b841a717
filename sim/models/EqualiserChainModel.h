#pragma once

#include <array>
#include <cstdint>

#include "sim/RegisterFile.h"
#include "sim/Settings.h"
#include "sim/SpiBus.h"

namespace sim {

/// A chain of M23664 cable equalisers: one shift register through all chips, two bytes in each. At
/// the end of a transfer each chip acts on the frame that it holds then, whatever went through it
/// before: bit 7 of the first byte says read, and the value is put into the second byte to be
/// shifted out by the next transfer; otherwise the second byte is written to the register. Register
/// 0x7F doesn't exist, writing it does nothing. Revision and status ignore writes.
///
/// The chain has as many chips as the straps say. Thread-safe.
class EqualiserChainModel : public SpiChain {
 public:
  static constexpr std::uint8_t kRevisionReg = 1;
  static constexpr std::uint8_t kStatusReg = 15;

  /// `settings` is not owned.
  EqualiserChainModel(BoardMutex& mutex, const Settings& settings);

  std::vector<std::uint8_t> Exchange(std::span<const std::uint8_t> sent) override;

  /// What is on a chip's cable. `chip` counts from 0 to kMaxCableChips - 1, fitted or not; else
  /// std::out_of_range. `rate` is 1 MADI, 2 SD, 3 HD, 4 3G, 5 6G, 6 12G; any other is one that the
  /// chip doesn't know. It has no meaning without a signal.
  void SetSignal(std::size_t chip, bool present, std::uint32_t rate);

  /// A register of a chip, and what the hardware puts into it.
  std::uint8_t Register(std::size_t chip, std::uint8_t reg) const;
  void SetRegister(std::size_t chip, std::uint8_t reg, std::uint8_t value);

 private:
  struct Chip {
    std::array<std::uint8_t, 256> registers{};
    std::array<std::uint8_t, 2> frame{};
  };

  static void _ActOnFrame(Chip& chip);

  BoardMutex& mutex_;  // guards all that follows
  const Settings& settings_;
  std::array<Chip, kMaxCableChips> chips_;
};

}  // namespace sim
