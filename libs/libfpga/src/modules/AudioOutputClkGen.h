#pragma once

#include <cstdint>
#include <string>

#include "map/AudioOutputClkGenRegs.h"
#include "regaccess/CoreDriver.h"

/// The clock generator of the audio output. It latches the errors of its clock.
///
/// The error flags share their word with `reset` and clear on a written 1: a write to any field of
/// that word clears those that were set when the word was read.
///
/// Thread-safe: there is no state beside the registers. A sequence of accesses is not atomic.
class AudioOutputClkGen : public CoreDriver<AudioOutputClkGen, audio_output_clk_gen_regs::kFields> {
 public:
  /// Leaves the core untouched. `irqNumber` is its line at the interrupt aggregator.
  AudioOutputClkGen(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
                    std::uint64_t irqNumber);

  /// Stops the clock, after an Info line with the name.
  void HoldInReset();
  /// Unmasks or masks all interrupt sources of the core. The aggregator's line is another matter.
  void UnmaskIrq();
  void MaskIrq();
  /// Clears what is pending and, if there was anything, checks the errors and gives true.
  bool HandleIrq();
  /// Logs each error flag that is set at Info and clears all of them. Gives false, with nothing
  /// written, if none was set.
  bool CheckErrors();

  /// Number of the line at the interrupt aggregator.
  std::uint64_t GetIrqNumber() const { return irqNumber_; }

 private:
  const std::uint64_t irqNumber_;
};
