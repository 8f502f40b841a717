#pragma once

#include <cstdint>

/// Where one named register field lies. A plain value; the limits of its members are checked where
/// a field is declared (BitfieldManager::AddBitfield) and where it is accessed (FpgaCsrAccess).
class Bitfield {
 public:
  Bitfield(std::uint32_t registerAddress, std::uint8_t lowestBit, std::uint8_t bits)
      : address(registerAddress), lsb(lowestBit), width(bits) {}
  Bitfield(const Bitfield&) = default;
  Bitfield& operator=(const Bitfield&) = default;
  virtual ~Bitfield() = default;

  /// The field's mask, not shifted. A shift by 32 is undefined, so that width 32 stands apart.
  std::uint32_t Mask() const { return width >= 32 ? 0xFFFFFFFFU : (1U << width) - 1U; }

  std::uint32_t address;  ///< byte offset of the register from the start of the register window
  std::uint8_t lsb;       ///< number of the lowest bit
  std::uint8_t width;     ///< number of bits, 0 to 32
};
