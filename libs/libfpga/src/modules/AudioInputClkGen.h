#pragma once

#include <cstdint>
#include <string>

#include "map/AudioInputClkGenRegs.h"
#include "regaccess/BitfieldManager.h"

/// The clock generator of one input's audio.
///
/// Thread-safe: there is no state beside the registers. A sequence of accesses is not atomic.
class AudioInputClkGen : public RegisterBlock<audio_input_clk_gen_regs::kFields> {
 public:
  /// Leaves the core untouched.
  AudioInputClkGen(const std::string& name, std::uint32_t baseAddress, std::uint64_t index);

  /// Stops the clock.
  void HoldInReset();
  /// Releases the core, then switches the override of the video type off.
  void ReleaseFromReset();
  /// HoldInReset, then ReleaseFromReset, without a delay between.
  void ResetAndRelease();
  /// Unmasks or masks all interrupt sources of the core.
  void UnmaskIrq();
  void MaskIrq();
  /// Clears what is pending.
  void HandleIrq();

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
