#pragma once

#include <cstdint>
#include <string>

#include "audio/AudioChannelInfo.h"
#include "map/AesTxRegs.h"
#include "regaccess/CoreDriver.h"

/// The AES3 transmitter: 8 pairs, 16 channels. It is told which of them carry bursts.
///
/// Thread-safe: there is no state beside the registers. A sequence of accesses is not atomic.
class AesTx : public CoreDriver<AesTx, aes_tx_regs::kFields> {
 public:
  /// Leaves the core untouched.
  AesTx(const std::string& name, std::uint32_t baseAddress, std::uint64_t index);

  /// Marks both channels of every pair that isn't PCM, and no others. Logs the marks at Info.
  void OnAudioTypeChange(AudioTypeArray types);
  /// Replaces `report` by one line for the reset, one for the regeneration of the channel status
  /// bits and one for each channel, and sets `*more` to 0: there is nothing beyond it. The two
  /// numbers are not used.
  void DumpStatus(std::uint64_t, std::uint64_t, std::string& report, std::uint8_t* more);
};
