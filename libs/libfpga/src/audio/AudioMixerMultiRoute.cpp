#include "audio/AudioMixerMultiRoute.h"

#include "log/Log.h"

int AudioMixerMultiRoute::GetLinearGain(std::uint8_t index, float* gain) {
  return LinearGain(LOG_ORIGIN, index, 0.0F, gain);
}

void AudioMixerMultiRoute::OnSrcChInfoChange() {
  if (DestChInfo()) {
    DestChInfo()->SetAudioType(AudioChannelInfo::AudioType::Pcm);
  }
  RunCallbacks();
}
