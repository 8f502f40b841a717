#pragma once

#include <cstdint>
#include <string>

#include "map/AudioDelayRegs.h"
#include "regaccess/CoreDriver.h"

/// The delay line of one input: it delays 16 channels through a ring in DRAM, by a time that is set
/// for each channel. Pairs go through a sample-rate converter (AudioDelaySrc) or, where they carry
/// data instead of PCM, bypass it.
///
/// Channels count from 0 to 15, pairs from 0 to 7. A delay is given in ms and held in the core as
/// samples at 48 kHz, at least 64 of them (1.333 ms). A delay has no upper end here but the 28 bits
/// of its register: that it fits the ring (GetChunkCount) is the caller's care.
///
/// Threads: every register access is thread-safe by itself; the operations belong to the one thread
/// of the audio graph.
class AudioDelay : public CoreDriver<AudioDelay, audio_delay_regs::kFields> {
 public:
  /// Leaves the core untouched. `index` is the input, for messages.
  AudioDelay(const std::string& name, std::uint32_t baseAddress, std::uint64_t index);

  /// Gives the line its part of the DRAM: a physical base, of which the core sees whole units of 8
  /// bytes, and a size, both in bytes. The core learns of it at the next Setup. Logs both at Info.
  void _InitializeDramAndCsr(std::uint32_t dramBase, std::uint32_t dramSize);

  /// Puts the core's options on their defaults, with all pairs through the converter.
  void Initialize();

  /// Starts the line in its DRAM, through a reset, with the delays that stand in the registers; it
  /// can be repeated at any time. Without DRAM it logs an Error and holds the core in reset; with
  /// less than one chunk of DRAM it logs an Error and leaves the core as it is.
  void Setup();

  /// Stops the line, and forgets restarts that failed.
  void HoldInReset();

  /// Sets a channel's delay in ms, which the core takes at the channel's next restart. Less than 64
  /// samples gives 64; more than the register holds is refused and logged by the register access. A
  /// channel above 15 is logged at Warning.
  void SetChannelDelay(std::uint8_t channel, float ms);

  /// Measures a channel's delay by its pointers, in samples and in ms; neither pointer may be null.
  /// A channel above 15 is logged at Warning and leaves both as they are.
  void GetChannelDelay(std::uint8_t channel, std::uint32_t* samples, float* ms);

  /// The samples that a channel's measured delay lacks to `ms`; negative if it is too long. What
  /// lies outside the range of the type gives its end. A channel above 15 is logged at Warning and
  /// gives 0.
  int GetSampleDelta(std::uint8_t channel, float ms);

  /// Restarts a channel, if the core isn't in reset, as soon as the channel's output is valid and
  /// no restart of it runs. It tries 10 times, and sleeps 100 us after each try in vain; then the
  /// channel counts as failed, without a line in the log. A channel above 15 is logged at Warning.
  void RestartChannel(std::uint8_t channel);

  /// The same for all channels at once: as soon as the output of any is valid and no restart runs.
  /// It sleeps only between the tries, 9 times at most.
  void RestartAllChannels();

  /// RestartChannel for each channel whose restart failed since the last reset of the core or the
  /// last Initialize. A channel stays on the list when its retry succeeds.
  void RetryFailedRestarts();

  /// Lets a pair bypass the sample-rate converter, or go through it, and restarts both channels.
  /// For a pair above 7 the routes are written back as they are, and a Warning stands for each
  /// channel.
  void SetPairViaNonSrc(std::uint8_t pair, bool viaNonSrc);
  /// Whether a pair bypasses the converter; false for a pair above 7.
  bool IsPairViaNonSrc(std::uint8_t pair);

  /// Clears the errors that piled up and reports each at Error, unless the core is in reset. A pair
  /// with a framing error is restarted, and an error in the framing of all the input resets the
  /// core. True if an error concerned the core as a whole; false while the core is in reset.
  bool CheckErrors();

  /// The DRAM in chunks of 1 ms: the longest delay, in ms. 0 without DRAM.
  std::uint32_t GetChunkCount() const { return chunkCount_; }

 private:
  std::uint32_t _MeasureDelay(std::uint8_t channel);
  void _Restart(std::uint32_t channels, unsigned pauses);
  void _ReportErrors(const LogOrigin& check, std::uint32_t errors, std::uint32_t sameChannelErrors);
  void _RestartPair(std::uint8_t pair);

  // Bound to the thread of the audio graph.
  bool dramGiven_ = false;
  std::uint32_t dramBase_ = 0;        // bytes
  std::uint32_t dramSize_ = 0;        // bytes
  std::uint32_t chunkCount_ = 0;      // ms
  std::uint32_t memoryChunks_ = 0;    // the size of the ring in samples, minus 1
  std::uint16_t failedRestarts_ = 0;  // a bit for each channel
};
