#pragma once

#include "audio/AudioMixerRoute.h"

/// One source that is passed on, bit-exact if it is not PCM: its factor is exactly 1 then, and the
/// output channel has its type.
class AudioMixerSingleRoute : public AudioMixerRoute {
 public:
  int GetLinearGain(std::uint8_t index, float* gain) override;
  /// Gives the output channel the type of the source, or PCM if the source (not the route) is mute.
  void OnSrcChInfoChange() override;
};
