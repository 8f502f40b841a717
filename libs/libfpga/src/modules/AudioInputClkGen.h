#pragma once

#include <cstdint>
#include <string>

#include "map/AudioInputClkGenRegs.h"
#include "regaccess/CoreDriver.h"

/// The clock generator of one input's audio.
///
/// Thread-safe: there is no state beside the registers. A sequence of accesses is not atomic.
class AudioInputClkGen : public CoreDriver<AudioInputClkGen, audio_input_clk_gen_regs::kFields> {
 public:
  /// Leaves the core untouched.
  AudioInputClkGen(const std::string& name, std::uint32_t baseAddress, std::uint64_t index);

  /// Releases the core, then switches the override of the video type off.
  void ReleaseFromReset();
  /// Unmasks or masks all interrupt sources of the core.
  void UnmaskIrq();
  void MaskIrq();
  /// Clears what is pending.
  void HandleIrq();
};
