#include "audio/AudioChannelInfo.h"

#include <utility>

void AudioChannelInfo::AddCallback(std::function<void()> callback, const void* owner) {
  callbacks_.push_back({std::move(callback), owner});
}

void AudioChannelInfo::RemoveCallback(const void* owner) {
  if (owner != nullptr) {
    std::erase_if(callbacks_, [owner](const Callback& entry) { return entry.owner == owner; });
  }
}

void AudioChannelInfo::_Notify() const {
  for (const Callback& callback : callbacks_) {
    if (callback.function) {
      callback.function();
    }
  }
}

AudioChannelInfo::AudioType AudioTypeOfBurst(std::uint32_t dataType) {
  using enum AudioChannelInfo::AudioType;
  switch (dataType) {
    case 28:
      return DolbyE;
    case 1:
      return Ac3;
    case 16:
      return Eac3;
    default:
      return OtherNonPcm;
  }
}

std::uint32_t NonPcmChannels(const AudioTypeArray& types) {
  std::uint32_t channels = 0;
  for (std::size_t pair = 0; pair < types.size(); ++pair) {
    if (types[pair] != AudioChannelInfo::AudioType::Pcm) {
      channels |= 3U << 2 * pair;
    }
  }
  return channels;
}
