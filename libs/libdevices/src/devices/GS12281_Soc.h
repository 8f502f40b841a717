#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "devices/GS12281.h"
#include "interfaces/Spi.h"

/// The chain of cable drivers on the processor's SPI.
///
/// The chips share one chip select and know their own unit address, which they are given at start:
/// each assignment that is sent to unit 0 is taken by the next chip of the chain that has none. A
/// transaction is a command word, an address word and data words of 16 bits, the high byte of each
/// first:
///
///     command  15      1 read, 0 write
///              14      a flag, 0 so far
///              13      1
///              12      a flag, 0 so far
///              11..7   unit address
///              6..0    bits 22..16 of the register's address, 0 so far
///     address          bits 15..0 of the register's address
///
/// Writing 8 to register 30 of unit 1, and reading register 30 of unit 5 with one word of zero
/// behind it that clocks the answer out, are the bytes
///
///     20 80 00 1E 00 08
///     A2 80 00 1E 00 00
///
/// and the assignment of the addresses 1 and 2 to a chain of two chips is
///
///     20 00 00 00 40 00
///     20 00 00 00 20 01
///     20 00 00 00 20 02
///
/// Every transaction ends with a sleep of 1 ms. One that fails gives -1 after an Error line, as all
/// do before Initialize. The chain belongs to one thread at a time.
class GS12281_Soc : public GS12281 {
 public:
  /// Tells the chain its controller, which is not owned and outlives it, and the number of chips
  /// (up to 31), and gives out the unit addresses 1 to `count`. Gives 0, also if a transfer failed,
  /// or -1 after an Error line on a second call, with nothing sent.
  int Initialize(Spi* spi, const SpiSettings& settings, std::size_t count);

  /// Reads one word of a register into `data`, as it came: its first byte on the wire is its low
  /// one. `device` counts from 0.
  int ReadRegister(std::uint8_t device, std::uint16_t reg, std::vector<std::uint16_t>& data);
  /// Writes the low 16 bits of `value`.
  int WriteRegister(std::uint8_t device, std::uint16_t reg, std::uint32_t value);

  /// Writes the start values of every chip of a chain of 2, 3 or 5: 68 ms with 5 chips. Gives 0,
  /// whatever the writes gave.
  int ApplyDefaultRegisters();

  // Each of these writes the registers that it names to every chip, first chip first, in the order
  // of the numbers. Only the bits named here of an argument count; a flag is set if it isn't 0.

  /// Register 50: bits 4..0 of `b` above bits 5..0 of `c`, with bit 6 set if `c` is 0. Register 51:
  /// bits 5..0 of `a` from bit 8 on. So (1, 2, 0) writes 0x0240 and 0x0100.
  void SetRegs50And51(std::uint8_t a, std::uint8_t b, std::uint8_t c);
  /// The same for registers 46 and 47.
  void SetRegs46And47(std::uint8_t a, std::uint8_t b, std::uint8_t c);
  /// Bits 2..0 of `a` from bit 1 on, and bit 0 set.
  void SetReg30(std::uint8_t a);
  /// Bit 1 set if flag `a` is clear, bit 3 set if flag `b` is clear.
  void SetReg74(std::uint8_t a, std::uint8_t b);
  /// Register 10: bits 4..0 of `a`, in both bytes. Register 11: the same of `b`.
  void SetRegs10And11(std::uint8_t a, std::uint8_t b);
  /// Bits 3..0 of `a` from bit 1 on.
  void SetReg6(std::uint8_t a);
  /// 53 if both flags are set, 54 with `b` alone, 57 with `a` alone, 58 with neither.
  void SetReg73(std::uint8_t a, std::uint8_t b);
  /// Writes 1028.
  void SetReg75();
  /// Writes 0.
  void SetReg76();

 private:
  struct RegValue {
    std::uint16_t reg;
    std::uint16_t value;
  };

  void _AssignUniqueAddresses();
  int _DoWriteTransaction(bool flag14, bool flag12, std::uint8_t unit, std::uint32_t address,
                          std::uint16_t value);
  int _DoWriteTransaction(bool flag14, bool flag12, std::uint8_t unit, std::uint32_t address,
                          const std::vector<std::uint16_t>& values);
  int _DoReadTransaction(bool flag14, bool flag12, std::uint8_t unit, std::uint32_t address,
                         std::vector<std::uint16_t>& data, std::uint32_t count);
  void _WriteToUnit(std::size_t unit, RegValue write);
  void _WriteToEveryUnit(std::span<const RegValue> writes);

  Spi* spi_ = nullptr;
  SpiSettings settings_;
  std::size_t count_ = 1;
};
