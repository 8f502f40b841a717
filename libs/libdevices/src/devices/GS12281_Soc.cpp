#include "devices/GS12281_Soc.h"

#include <array>

#include "log/Log.h"
#include "platform/Clock.h"

namespace {

constexpr std::uint32_t kReadBit = 1U << 15;
constexpr std::uint32_t kFlag14 = 1U << 14;
constexpr std::uint32_t kCommandBit = 1U << 13;
constexpr std::uint32_t kFlag12 = 1U << 12;
constexpr unsigned kUnitLsb = 7;
constexpr std::uint32_t kUnitMask = 0x1F;
constexpr std::uint32_t kHighAddressMask = 0x7F;

// The register that gives out addresses, at the unit that every chip answers to before it has one.
constexpr std::uint8_t kUnassignedUnit = 0;
constexpr std::uint32_t kAssignReg = 0;
constexpr std::uint16_t kForgetAddresses = 0x4000;
constexpr std::uint32_t kTakeAddress = 0x2000;

// Time that the chips need between two transactions.
constexpr std::uint32_t kTransactionMicroseconds = 1000;

// Start values of the chips in front of the last one.
struct DefaultRow {
  std::uint16_t reg, unit1, units2And3, unit4;
};
// clang-format off
constexpr std::array<DefaultRow, 15> kDefaults{{
    // reg  unit 1  units 2, 3  unit 4
    {30,    0x0008, 0x0008,     0x0008},
    {49,    0x1D40, 0x1E40,     0x1E40},
    {51,    0x1D40, 0x1E40,     0x1E40},
    {48,    0x0404, 0x0202,     0x0000},
    {50,    0x0404, 0x0202,     0x0000},
    {45,    0x1980, 0x1980,     0x1980},
    {47,    0x1980, 0x1980,     0x1980},
    {44,    0x0605, 0x0805,     0x0605},
    {46,    0x0605, 0x0805,     0x0605},
    {10,    0x0108, 0x0108,     0x0108},
    {74,    0x0002, 0x0002,     0x0002},
    {16,    0x0100, 0x0100,     0x0100},
    {17,    0x0100, 0x0100,     0x0100},
    {18,    0x0100, 0x0100,     0x0100},
    {19,    0x0100, 0x0100,     0x0100},
}};

// Start values of the last chip of a chain.
struct LastDefaultRow {
  std::uint16_t reg, value;
};
constexpr std::array<LastDefaultRow, 8> kLastDefaults{{
    { 6, 0x3F01},
    {30, 0x0008},
    {41, 0x17A0},
    {43, 0x0880},
    {40, 0x0300},
    {42, 0x0300},
    {10, 0x0108},
    {74, 0x0000},
}};
// clang-format on

constexpr std::uint16_t CommandWord(std::uint32_t read, bool flag14, bool flag12, std::uint8_t unit,
                                    std::uint32_t address) {
  return static_cast<std::uint16_t>(read | (flag14 ? kFlag14 : 0) | kCommandBit |
                                    (flag12 ? kFlag12 : 0) | (unit & kUnitMask) << kUnitLsb |
                                    (address >> 16 & kHighAddressMask));
}

constexpr std::uint16_t AddressWord(std::uint32_t address) {
  return static_cast<std::uint16_t>(address & 0xFFFF);
}

// Registers 46 and 50, of which each has the next register as its second half.
constexpr std::uint16_t LevelWord(std::uint8_t b, std::uint8_t c) {
  return static_cast<std::uint16_t>((b & 31U) << 8 | (c & 63U) | (c == 0 ? 64U : 0U));
}

constexpr std::uint16_t SecondLevelWord(std::uint8_t a) {
  return static_cast<std::uint16_t>((a & 63U) << 8);
}

constexpr std::uint16_t InBothBytes(std::uint8_t a) {
  return static_cast<std::uint16_t>((a & 31U) << 8 | (a & 31U));
}

}  // namespace

int GS12281_Soc::Initialize(Spi* spi, const SpiSettings& settings, std::size_t count) {
  if (spi_ != nullptr) {
    LOG_ERROR("Attempt to re-initialize");
    return -1;
  }
  spi_ = spi;
  settings_ = settings;
  count_ = count;
  _AssignUniqueAddresses();
  return 0;
}

void GS12281_Soc::_AssignUniqueAddresses() {
  LOG_INFO("Assigning unique addresses to GS12281 instances");
  // A failed write is logged; the chips behind it may still get theirs.
  (void)_DoWriteTransaction(false, false, kUnassignedUnit, kAssignReg, kForgetAddresses);
  for (std::size_t i = 0; i < count_; ++i) {
    (void)_DoWriteTransaction(false, false, kUnassignedUnit, kAssignReg,
                              static_cast<std::uint16_t>(kTakeAddress | (i + 1)));
  }
}

int GS12281_Soc::ReadRegister(std::uint8_t device, std::uint16_t reg,
                              std::vector<std::uint16_t>& data) {
  return _DoReadTransaction(false, false, static_cast<std::uint8_t>(device + 1), reg, data, 1);
}

int GS12281_Soc::WriteRegister(std::uint8_t device, std::uint16_t reg, std::uint32_t value) {
  return _DoWriteTransaction(false, false, static_cast<std::uint8_t>(device + 1), reg,
                             static_cast<std::uint16_t>(value & 0xFFFF));
}

int GS12281_Soc::ApplyDefaultRegisters() {
  const auto writeColumn = [this](std::size_t unit, std::uint16_t DefaultRow::*column) {
    for (const DefaultRow& row : kDefaults) {
      _WriteToUnit(unit, {row.reg, row.*column});
    }
  };
  writeColumn(1, &DefaultRow::unit1);
  if (count_ > 2) {
    writeColumn(2, &DefaultRow::units2And3);
  }
  if (count_ > 4) {
    writeColumn(3, &DefaultRow::units2And3);
    writeColumn(4, &DefaultRow::unit4);
  }
  for (const LastDefaultRow& row : kLastDefaults) {
    _WriteToUnit(count_, {row.reg, row.value});
  }
  return 0;
}

void GS12281_Soc::SetRegs50And51(std::uint8_t a, std::uint8_t b, std::uint8_t c) {
  _WriteToEveryUnit(std::array<RegValue, 2>{{{50, LevelWord(b, c)}, {51, SecondLevelWord(a)}}});
}

void GS12281_Soc::SetRegs46And47(std::uint8_t a, std::uint8_t b, std::uint8_t c) {
  _WriteToEveryUnit(std::array<RegValue, 2>{{{46, LevelWord(b, c)}, {47, SecondLevelWord(a)}}});
}

void GS12281_Soc::SetReg30(std::uint8_t a) {
  const auto value = static_cast<std::uint16_t>((a & 7U) * 2 + 1);
  _WriteToEveryUnit(std::array<RegValue, 1>{{{30, value}}});
}

void GS12281_Soc::SetReg74(std::uint8_t a, std::uint8_t b) {
  const auto value = static_cast<std::uint16_t>((a != 0 ? 0U : 2U) | (b != 0 ? 0U : 8U));
  _WriteToEveryUnit(std::array<RegValue, 1>{{{74, value}}});
}

void GS12281_Soc::SetRegs10And11(std::uint8_t a, std::uint8_t b) {
  _WriteToEveryUnit(std::array<RegValue, 2>{{{10, InBothBytes(a)}, {11, InBothBytes(b)}}});
}

void GS12281_Soc::SetReg6(std::uint8_t a) {
  const auto value = static_cast<std::uint16_t>((a & 15U) * 2);
  _WriteToEveryUnit(std::array<RegValue, 1>{{{6, value}}});
}

void GS12281_Soc::SetReg73(std::uint8_t a, std::uint8_t b) {
  const std::uint16_t withB = a != 0 ? 53 : 54;
  const std::uint16_t withoutB = a != 0 ? 57 : 58;
  _WriteToEveryUnit(std::array<RegValue, 1>{{{73, b != 0 ? withB : withoutB}}});
}

void GS12281_Soc::SetReg75() {
  _WriteToEveryUnit(std::array<RegValue, 1>{{{75, 1028}}});
}

void GS12281_Soc::SetReg76() {
  _WriteToEveryUnit(std::array<RegValue, 1>{{{76, 0}}});
}

void GS12281_Soc::_WriteToEveryUnit(std::span<const RegValue> writes) {
  for (std::size_t unit = 1; unit <= count_; ++unit) {
    for (const RegValue& write : writes) {
      _WriteToUnit(unit, write);
    }
  }
}

// A failed write is logged and doesn't keep the others back.
void GS12281_Soc::_WriteToUnit(std::size_t unit, RegValue write) {
  (void)_DoWriteTransaction(false, false, static_cast<std::uint8_t>(unit), write.reg, write.value);
}

int GS12281_Soc::_DoWriteTransaction(bool flag14, bool flag12, std::uint8_t unit,
                                     std::uint32_t address, std::uint16_t value) {
  return _DoWriteTransaction(flag14, flag12, unit, address, std::vector<std::uint16_t>{value});
}

int GS12281_Soc::_DoWriteTransaction(bool flag14, bool flag12, std::uint8_t unit,
                                     std::uint32_t address,
                                     const std::vector<std::uint16_t>& values) {
  std::vector<std::uint16_t> words{CommandWord(0, flag14, flag12, unit, address),
                                   AddressWord(address)};
  words.insert(words.end(), values.begin(), values.end());
  if (spi_ == nullptr || spi_->Transmit16(words, settings_) != 0) {
    LOG_ERROR("Unable to write to device");
    return -1;
  }
  platform::SleepMicroseconds(kTransactionMicroseconds);
  return 0;
}

int GS12281_Soc::_DoReadTransaction(bool flag14, bool flag12, std::uint8_t unit,
                                    std::uint32_t address, std::vector<std::uint16_t>& data,
                                    std::uint32_t count) {
  std::vector<std::uint16_t> words{CommandWord(kReadBit, flag14, flag12, unit, address),
                                   AddressWord(address)};
  if (spi_ == nullptr || spi_->TransmitAndReceive16(words, data, count, true, settings_) != 0) {
    LOG_ERROR("Unable to read from device");
    return -1;
  }
  platform::SleepMicroseconds(kTransactionMicroseconds);
  return 0;
}
