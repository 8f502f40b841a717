#pragma once

#include <cstdint>
#include <string>

#include "audio/AudioChannelInfo.h"
#include "map/MadiRegs.h"
#include "regaccess/CoreDriver.h"

/// The MADI transmitter: 64 channels, four links of 16.
class MadiTx {
 public:
  virtual ~MadiTx() = default;
};

/// The driver. It shares its registers with the receiver's: a reset of one resets both.
///
/// Thread-safe: there is no state beside the registers. A sequence of accesses is not atomic, and
/// no access excludes the receiver driver's.
class MadiTxImpl : public CoreDriver<MadiTxImpl, madi_regs::kTxFields>, public MadiTx {
 public:
  /// Leaves the core untouched.
  MadiTxImpl(const std::string& name, std::uint32_t baseAddress, std::uint64_t index);

  /// Marks both channels of every pair that isn't PCM, and no others.
  void OnAudioTypeChange(MadiAudioTypeArray types);
  /// Replaces `report` by one line for the reset and one for each word of marks, and sets `*more`
  /// to 0: there is nothing beyond it. The two numbers are not used.
  void DumpStatus(std::uint64_t, std::uint64_t, std::string& report, std::uint8_t* more);
};
