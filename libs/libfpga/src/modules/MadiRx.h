#pragma once

#include <cstdint>
#include <string>

#include "map/MadiRegs.h"
#include "regaccess/CoreDriver.h"

/// The MADI receiver: 64 channels, four links of 16.
class MadiRx {
 public:
  virtual ~MadiRx() = default;
};

/// The driver. It shares its registers with the transmitter's: a reset of one resets both.
///
/// Thread-safe: there is no state beside the registers. A sequence of accesses is not atomic, and
/// no access excludes the transmitter driver's.
class MadiRxImpl : public CoreDriver<MadiRxImpl, madi_regs::kRxFields>, public MadiRx {
 public:
  /// Leaves the core untouched.
  MadiRxImpl(const std::string& name, std::uint32_t baseAddress, std::uint64_t index);

  /// Says whether nothing went wrong on the link since the last call and, if so, whether it runs at
  /// the right sample rate; both are false otherwise. Clears what it read of the errors.
  void GetMadiRxStatus(bool* ok, bool* rateOk);
  /// Replaces `report` by one line for the reset and sets `*more` to 0: there is nothing beyond it.
  /// The two numbers are not used.
  void DumpStatus(std::uint64_t, std::uint64_t, std::string& report, std::uint8_t* more);
};
