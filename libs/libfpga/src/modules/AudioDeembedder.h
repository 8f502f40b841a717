#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "audio/AudioChannelInfo.h"
#include "map/AudioDeembedderRegs.h"
#include "regaccess/CoreDriver.h"

/// The core that takes the 16 channels of embedded audio out of one SDI input. It is set up for a
/// video standard, tells which pairs carry bursts that are not PCM (SMPTE ST 337) and on which
/// line, and measures the audio and video alignment test pattern of an embedder.
///
/// No operation reports a failure: what an access refuses is in the log. Each register access is
/// thread-safe by itself; Setup, HandleIrq and CheckErrors belong to one thread at a time.
class AudioDeembedder : public CoreDriver<AudioDeembedder, audio_deembedder_regs::kFields> {
 public:
  using AudioType = AudioChannelInfo::AudioType;

  /// Leaves the core untouched. `baseAddress`: bytes from the start of the register window; `irq`:
  /// the core's line at the interrupt aggregator.
  AudioDeembedder(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
                  std::uint64_t irq);

  /// Sets the core up for the video standard with this id, through a reset, and enables it. Id 0,
  /// and any other id that no standard has, leaves it in reset, with its other fields as they were.
  void Setup(std::uint32_t videoStandard);
  /// Setup, whatever the link.
  void OnVideoTypeChange(std::uint32_t link, std::uint32_t videoStandard);

  /// What a pair (0 to 7; above that, pair 7) carries: `Pcm` unless both its channels are present
  /// and a burst was found on some line. Logs at Debug what the core reports.
  AudioType GetPairType(std::uint8_t pair);
  /// True if GetPairType gives `Pcm`.
  bool IsPairPcm(std::uint8_t pair);

  /// Serves the core's interrupt: clears what is pending, then CheckErrors. Gives false if nothing
  /// was pending.
  bool HandleIrq();
  /// Clears the sticky error flags, logs them at Info (an empty FIFO is no error and isn't logged),
  /// and after an overflow, an underflow or an alignment error sets the core up again for the
  /// standard of the last Setup.
  void CheckErrors();

  /// Masks all interrupt sources of the core.
  void MaskIrq();
  /// Unmasks all interrupt sources of the core.
  void UnmaskIrq();

  /// Appends a line for each of the 16 results of the alignment test: channel, delay in ms, frame
  /// and line, or that there is no pattern; then clears the core's results. Before the first
  /// set-up with a standard there is no pattern.
  void GetAvSyncResults(std::vector<std::string>& lines);
  /// Appends the frame numbers that the alignment test's FIFO holds, 256 at most.
  void ReadAvSyncFifo(std::vector<std::uint16_t>& frames);

  /// Replaces `report` by a line for each pair: presence, as its bit of the core's status says, and
  /// whether it is PCM. Sets `*more` to 0. The two numbers make no difference.
  void DumpStatus(std::uint64_t, std::uint64_t, std::string& report, std::uint8_t* more);

  /// The core's line at the interrupt aggregator.
  std::uint64_t GetIrqNumber() const { return irq_; }

 private:
  bool _ClearFlags(const LogOrigin& check, FieldId flags, const char* what);

  const std::uint64_t irq_;
  // The rest belongs to the thread that sets the core up.
  std::uint32_t videoStandard_ = 0;  // of the last Setup
  float frameRate_ = 0;              // frames per second; these two of the last standard but 0
  std::uint32_t totalLines_ = 0;     // of a frame
};

/// The decision behind GetPairType, on what the registers hold: the type of a pair from the
/// presence bits of its two channels, the line of its bursts (0: none) and their data type.
AudioChannelInfo::AudioType DeembeddedPairType(std::uint32_t presence, std::uint32_t line,
                                               std::uint32_t dataType);
