#include "audio/AudioMixerRoute.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "log/Log.h"

namespace {

float LinearOfDb(float gainDb) {
  return std::pow(10.0F, gainDb / 20.0F);
}

}  // namespace

AudioMixerRoute::~AudioMixerRoute() {
  ClearSrc();
}

int AudioMixerRoute::AddSrc(std::uint8_t link, std::uint8_t channel, std::uint8_t invert,
                            std::uint8_t mute, float gainDb) {
  if (channel >= kChannels) {
    LOG_ERROR("Attempting to add route with invalid channel");
    return -1;
  }
  const bool inRange = gainDb >= kMinSourceGainDb && gainDb <= kMaxSourceGainDb;
  if (!inRange) {  // nor is what is no number
    LOG_ERROR("Attempting to add route with a gain out of our supported range");
    return -1;
  }
  if (sources_.size() >= kMaxSources) {
    LOG_ERROR("Attempting to add a source past the maximum supported");
    return -1;
  }
  sources_.push_back({link, channel, invert, mute, gainDb, nullptr});
  return 0;
}

void AudioMixerRoute::ClearSrc() {
  for (Source& source : sources_) {
    _Unlink(source);
  }
  sources_.clear();
}

int AudioMixerRoute::GetLink(std::uint8_t index, std::uint8_t* link) const {
  const Source* source = _Find(LOG_ORIGIN, index);
  if (source == nullptr) {
    return -1;
  }
  *link = source->info ? source->info->GetLink() : source->link;
  return 0;
}

int AudioMixerRoute::GetChannel(std::uint8_t index, std::uint8_t* channel) const {
  const Source* source = _Find(LOG_ORIGIN, index);
  if (source == nullptr) {
    return -1;
  }
  *channel = source->info ? source->info->GetChannel() : source->channel;
  return 0;
}

void AudioMixerRoute::SetSrcChInfo(std::uint8_t index, ChInfoPtr info) {
  if (index >= sources_.size()) {
    return;
  }
  Source& source = sources_[index];
  _Unlink(source);
  source.info = std::move(info);
  if (source.info) {
    source.info->AddCallback([this] { OnSrcChInfoChange(); }, this);
  }
}

void AudioMixerRoute::AddCallback(std::function<void()> callback) {
  callbacks_.push_back(std::move(callback));
}

int AudioMixerRoute::LinearGain(const LogOrigin& reading, std::uint8_t index, float nonPcmGain,
                                float* gain) const {
  const Source* source = _Find(reading, index);
  if (source == nullptr) {
    return -1;
  }
  if (mute_ != 0 || source->mute != 0) {
    *gain = 0.0F;
    return 0;
  }
  if (source->info && source->info->GetAudioType() != AudioChannelInfo::AudioType::Pcm) {
    *gain = nonPcmGain;
    return 0;
  }
  const float linear = LinearOfDb(source->gain) * LinearOfDb(gain_);
  *gain = source->invert != invert_ ? -linear : linear;
  return 0;
}

void AudioMixerRoute::RunCallbacks() const {
  for (const std::function<void()>& callback : callbacks_) {
    if (callback) {
      callback();
    }
  }
}

const AudioMixerRoute::Source* AudioMixerRoute::_Find(const LogOrigin& reading,
                                                      std::uint8_t index) const {
  if (index >= sources_.size()) {
    LOG_ERROR_FROM(reading, "Trying to read from a source that doesn't exist");
    return nullptr;
  }
  return &sources_[index];
}

// Takes the object from a source. An object knows the route, not the source: what other sources
// have on the same object is put back.
void AudioMixerRoute::_Unlink(Source& source) {
  const ChInfoPtr info = std::exchange(source.info, nullptr);
  if (!info) {
    return;
  }
  info->RemoveCallback(this);
  for (const Source& other : sources_) {
    if (other.info == info) {
      info->AddCallback([this] { OnSrcChInfoChange(); }, this);
    }
  }
}
