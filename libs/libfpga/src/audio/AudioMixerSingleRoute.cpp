#include "audio/AudioMixerSingleRoute.h"

#include "log/Log.h"

int AudioMixerSingleRoute::GetLinearGain(std::uint8_t index, float* gain) {
  return LinearGain(LOG_ORIGIN, index, 1.0F, gain);
}

void AudioMixerSingleRoute::OnSrcChInfoChange() {
  if (!Sources().empty() && Sources().front().info && DestChInfo()) {
    const Source& source = Sources().front();
    DestChInfo()->SetAudioType(source.mute != 0 ? AudioChannelInfo::AudioType::Pcm
                                                : source.info->GetAudioType());
  }
  RunCallbacks();
}
