#pragma once

#include "audio/AudioMixerRoute.h"

/// A sum of sources, in which one that is not PCM is silent. The output channel is always PCM.
class AudioMixerMultiRoute : public AudioMixerRoute {
 public:
  int GetLinearGain(std::uint8_t index, float* gain) override;
  void OnSrcChInfoChange() override;
};
