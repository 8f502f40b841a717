#pragma once

#include <cstdint>
#include <string>

#include "map/AudioDelaySrcRegs.h"
#include "regaccess/CoreDriver.h"

/// The sample-rate converter beside an audio delay line (AudioDelay). Told to grow or to shrink, it
/// changes the delay of the channels that pass it little by little, without a restart: growing
/// gains one sample in 1065, shrinking takes one away in 1019. Its interrupt is the tick of the
/// delay control: once a second, after Setup.
///
/// Threads: every register access is thread-safe by itself; the operations belong to the one thread
/// of the audio graph.
class AudioDelaySrc : public CoreDriver<AudioDelaySrc, audio_delay_src_regs::kFields> {
 public:
  /// Leaves the core untouched. `index` is the input, for messages; `irq` is the core's line at the
  /// interrupt aggregator.
  AudioDelaySrc(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
                std::uint64_t irq);

  /// Starts the core with an interrupt every 48000 samples, through a reset.
  void Setup();

  /// Stops the core. Logs at Info, as the release does.
  void HoldInReset();
  /// Lets the core run.
  void ReleaseFromReset();

  /// True while an adjustment runs.
  bool IsAdjusting();

  /// Starts to grow the delay (`grow` 1) or to shrink it (0), over so many samples at 48 kHz, at
  /// most 28 bits of them; what is wider than its register is refused and logged by the register
  /// access. Logs at Debug. While an adjustment runs the request is dropped in silence.
  void ApplyAdjustment(std::uint8_t grow, std::uint32_t samples);

  /// Acknowledges the interrupt. True if there was one.
  bool HandleIrq();
  void MaskIrq();
  void UnmaskIrq();

  /// The core's line at the interrupt aggregator.
  std::uint64_t GetIrqNumber() const { return irq_; }

 private:
  const std::uint64_t irq_;
};
