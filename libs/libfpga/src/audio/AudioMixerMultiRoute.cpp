#include "audio/AudioMixerMultiRoute.h"

int AudioMixerMultiRoute::GetLinearGain(std::uint8_t index, float* gain) {
  return LinearGain(index, 0.0F, gain);
}

void AudioMixerMultiRoute::OnSrcChInfoChange() {
  if (DestChInfo()) {
    DestChInfo()->SetAudioType(AudioChannelInfo::AudioType::Pcm);
  }
  RunCallbacks();
}
