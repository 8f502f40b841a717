#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "audio/AudioChannelInfo.h"
#include "map/AesRxRegs.h"
#include "regaccess/CoreDriver.h"

/// The AES3 receiver: 8 pairs, 16 channels.
///
/// Threads: HandleIrq belongs to one thread at a time. The other operations have no state beside
/// the registers; a sequence of accesses is not atomic.
class AesRx : public CoreDriver<AesRx, aes_rx_regs::kFields> {
 public:
  /// Leaves the core untouched. `irqNumber` is its line at the interrupt aggregator.
  AesRx(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
        std::uint64_t irqNumber);

  /// Holds the core in reset, then sets writeReadRunOffset and writeReadStartOffset.
  void HoldInReset();
  /// Unmasks or masks all interrupt sources of the core. The aggregator's line is another matter.
  void UnmaskIrq();
  void MaskIrq();
  /// The type of what a pair carries, 0 to 7; a greater number is pair 7. A pair without lock
  /// counts as PCM. Logs the report at Debug.
  AudioChannelInfo::AudioType GetPairType(std::uint8_t pair);
  /// True if a pair, as in GetPairType, carries PCM.
  bool IsPairPcm(std::uint8_t pair);
  /// Gives the pairs that lost their lock since the last call, pair 0 at bit 0, and clears them.
  void GetUnlockSaved(std::uint8_t& saved);
  /// Clears what is pending and gives true if there was anything, with a line at Debug. Looks at
  /// the core once in 2 s at most: within that time of the last look it gives false, and what is
  /// pending stays so.
  bool HandleIrq();

  /// Number of the line at the interrupt aggregator.
  std::uint64_t GetIrqNumber() const { return irqNumber_; }

 private:
  const std::uint64_t irqNumber_;
  std::chrono::steady_clock::time_point lastIrqCheck_;
};
