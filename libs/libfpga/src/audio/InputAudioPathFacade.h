#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "audio/AudioChannelInfo.h"
#include "controls/AudioDeembedderDriverControl.h"
#include "controls/AudioDelayDriverControl.h"
#include "controls/AudioMixerDriverControl.h"
#include "controls/AudioPeakMeterControl.h"
#include "modules/AudioInputClkGen.h"

namespace module_map {
class OwnedModules;
}

/// The audio of one SDI input: clock generator, de-embedder, a mixer of one link, the delay line
/// with its sample-rate converter, and the peak meters. Its job beyond bring-up is to set its cores
/// up for a new video standard, since the de-embedder works by lines and frames.
///
/// Initialize leaves the delay line and its converter in reset; HandleInputVideoTypeChange brings
/// them out of it with the first standard, and puts the whole path back when the signal is lost.
///
/// Threads: no lock; everything belongs to the one thread that drives the audio graph. The mixer's
/// coefficient thread stays inside the mixer.
class InputAudioPathFacade {
 public:
  /// Builds the cores' drivers and the channel information between them; touches no core.
  /// `index`: the input, 0 to 3. `moduleStride`: bytes from one module's registers to the next's.
  InputAudioPathFacade(const std::string& name, std::uint64_t index, std::uint32_t moduleStride);
  InputAudioPathFacade(const InputAudioPathFacade&) = delete;
  InputAudioPathFacade& operator=(const InputAudioPathFacade&) = delete;
  virtual ~InputAudioPathFacade() = default;

  /// Brings the path up, once: the mixer's coefficient thread starts here. The delay line is left
  /// in reset.
  void Initialize();
  void HoldInReset();
  /// Releases from the clock to the output: nothing runs before what feeds it. This sets the delay
  /// line and its converter up, too.
  void ReleaseFromReset();
  /// HoldInReset, then ReleaseFromReset.
  void ResetAndRelease();

  /// Sets the path up for what the input's receiver reports, through reset: `videoStandard` is the
  /// id of a standard; 0, or an id that no standard has, means no signal, which leaves the path in
  /// reset. The standard that is set already costs a log line. `link` is only logged.
  ///
  /// The types of the pairs are read at the de-embedder's next interrupt.
  void HandleInputVideoTypeChange(std::uint32_t link, std::uint32_t videoStandard);

  /// Gives the delay line the object of an output channel, 0 to 15. Logs at Warning and keeps what
  /// it had for another channel.
  void SetAudioDelayDestChInfo(std::uint8_t channel, ChInfoPtr info);

  /// The input, 0 to 3.
  std::uint64_t GetIndex() const { return index_; }
  AudioInputClkGen& GetClockGenerator() { return clockGenerator_; }
  AudioDeembedderDriverControl& GetDeembedder() { return deembedder_; }
  AudioMixerDriverControl& GetMixer() { return mixer_; }
  AudioDelayDriverControl& GetDelayControl() { return delay_; }
  AudioDelay& GetDelay() { return delay_.GetAudioDelay(); }
  AudioDelaySrc& GetDelaySrc() { return delay_.GetAudioDelaySrc(); }
  AudioPeakMeterControl& GetPeakMeters() { return peakMeters_; }

 private:
  InputAudioPathFacade(const std::string& name, std::uint64_t index,
                       const module_map::OwnedModules& modules);

  const std::string controlName_;
  const std::uint64_t index_;
  std::uint32_t videoStandard_ = 0;  // the last one set; 0 for no signal
  AudioInputClkGen clockGenerator_;
  AudioDeembedderDriverControl deembedder_;
  AudioMixerDriverControl mixer_;
  AudioDelayDriverControl delay_;
  AudioPeakMeterControl peakMeters_;
  std::array<ChInfoPtr, audio_map::kChannels>
      deembeddedChInfo_;                                     // from the de-embedder to the mixer
  std::array<ChInfoPtr, audio_map::kChannels> delayChInfo_;  // from the mixer to the delay line
};
