#pragma once

#include <cstdint>
#include <string>

#include "audio/AudioChannelInfo.h"
#include "map/AesTxRegs.h"
#include "regaccess/BitfieldManager.h"

/// The AES3 transmitter: 8 pairs, 16 channels. It is told which of them carry bursts.
///
/// Thread-safe: there is no state beside the registers. A sequence of accesses is not atomic.
class AesTx : public RegisterBlock<aes_tx_regs::kFields> {
 public:
  /// Leaves the core untouched.
  AesTx(const std::string& name, std::uint32_t baseAddress, std::uint64_t index);

  /// Stops the core.
  void HoldInReset();
  /// Lets the core run.
  void ReleaseFromReset();
  /// HoldInReset, then ReleaseFromReset, without a delay between.
  void ResetAndRelease();
  /// Marks both channels of every pair that isn't PCM, and no others. Logs the marks at Info.
  void OnAudioTypeChange(AudioTypeArray types);
  /// Replaces `report` by one line for the reset, one for the regeneration of the channel status
  /// bits and one for each channel, and sets `*more` to 0: there is nothing beyond it. The two
  /// numbers are not used.
  void DumpStatus(std::uint64_t, std::uint64_t, std::string& report, std::uint8_t* more);

  /// The module's name.
  const std::string& GetName() const { return name_; }
  /// Byte offset of the core's registers in the window.
  std::uint32_t GetBaseAddress() const { return baseAddress_; }
  /// The number that its owner gave it.
  std::uint64_t GetIndex() const { return index_; }

 private:
  const std::string name_;
  const std::uint32_t baseAddress_;
  const std::uint64_t index_;
};
