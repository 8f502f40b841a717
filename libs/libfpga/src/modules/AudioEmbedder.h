#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "audio/AudioChannelInfo.h"
#include "map/AudioEmbedderRegs.h"
#include "regaccess/CoreDriver.h"

/// The core that puts 16 channels of audio, in four groups, into the ancillary data of one SDI
/// output. It is held in reset while no video standard is set.
///
/// No operation reports a failure: what an access refuses is in the log. Pairs count from 0. Each
/// register access is thread-safe by itself; all operations belong to the one thread that drives
/// the audio graph.
class AudioEmbedder : public CoreDriver<AudioEmbedder, audio_embedder_regs::kFields> {
 public:
  using AudioType = AudioChannelInfo::AudioType;

  /// Leaves the core untouched. `baseAddress`: bytes from the start of the register window; `irq`:
  /// the core's line at the interrupt aggregator.
  AudioEmbedder(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
                std::uint64_t irq);

  /// Sets the core up for the video standard with this id, through a reset, whatever the link, and
  /// logs that at Info; nothing for the id that is set. Id 0, and any other id that no standard
  /// has, holds the core in reset.
  void OnVideoTypeChange(std::uint32_t link, const std::uint32_t& videoStandard);
  /// The id that was last set; 0 at first, and for an id that no standard has.
  std::uint32_t GetVideoStandard() const { return videoStandard_; }

  /// Keeps the types of the eight pairs and marks the channels of those that aren't `Pcm`.
  void OnAudioTypeChange(AudioTypeArray types);
  /// Gives the type of a pair, as last told, and the line of its burst; line 0 for `Pcm`, without
  /// an access. A pair of 8 or more throws std::out_of_range.
  void GetPairNonPcmInfo(std::size_t pair, AudioType* type, std::uint16_t* line);

  /// Switches a group of four channels, 0 to 3, on (`enable` of 1 or more) or off. Another group is
  /// logged at Info and changes nothing.
  void SetGroupEnable(std::uint8_t group, std::int16_t enable);
  /// Whether a group is on. Another group than 0 to 3 is logged at Info and gives false.
  bool GetGroupEnable(std::uint8_t group);

  /// As CoreDriver's. Logs at Debug.
  void ResetAndRelease();
  /// ResetAndRelease, for a change of the clock. Logs at Info.
  void OnAudioOutputClockGenIrq();

  /// Serves the core's interrupt: clears what is pending, and resets the core, with a line at Info,
  /// if an error of those that need it was found and any group is on.
  void HandleIrq();
  /// Masks the core's interrupt.
  void MaskIrq();
  /// Unmasks the core's interrupt and releases its interrupt logic from reset.
  void UnmaskIrq();

  /// Switches the audio and video alignment test pattern off (0) or on (1) and sets its period in
  /// ms, which is kept for later standards, too. An `enable` above 1 is refused by the register
  /// access, which logs it at Error; the period and its frames are taken all the same.
  void SetAvAlignTpg(std::uint8_t enable, std::uint16_t periodMs);
  /// Length of the test pattern's cycle in frames, as the core has it.
  unsigned GetAvAlignTpgNumFrames();

  /// Replaces `report` by a line for each channel, whether it is marked as PCM. Sets `*more` to 0.
  /// The two numbers make no difference.
  void DumpStatus(std::uint64_t, std::uint64_t, std::string& report, std::uint8_t* more);

  /// The core's line at the interrupt aggregator.
  std::uint64_t GetIrqNumber() const { return irq_; }

 protected:
  /// The types of the pairs, as last told; all `Pcm` at first.
  const AudioTypeArray& GetPairTypes() const { return pairTypes_; }

 private:
  void _Setup(std::uint32_t videoStandard);
  std::uint32_t _CycleFrames() const;

  const std::uint64_t irq_;
  // The rest belongs to the thread of the audio graph.
  std::uint32_t videoStandard_ = 0;
  AudioTypeArray pairTypes_{};
  std::uint16_t patternPeriodMs_ = 3000;
};
