#include "controls/AudioDeembedderDriverControl.h"

#include <utility>

#include "log/Log.h"

AudioDeembedderDriverControl::AudioDeembedderDriverControl(const std::string& name,
                                                           std::uint32_t baseAddress,
                                                           std::uint64_t index, std::uint64_t irq)
    : AudioDeembedder(name, baseAddress, index, irq) {
}

void AudioDeembedderDriverControl::SetDestChInfo(std::uint8_t channel, ChInfoPtr info) {
  if (channel >= destInfo_.size()) {
    LOG_WARNING("Channel index is out of range");
    return;
  }
  destInfo_[channel] = std::move(info);
}

void AudioDeembedderDriverControl::OnVideoTypeChange(std::uint32_t link,
                                                     std::uint32_t videoStandard) {
  AudioDeembedder::OnVideoTypeChange(link, videoStandard);
  UpdatePairTypes();
}

void AudioDeembedderDriverControl::HandleIrq() {
  if (AudioDeembedder::HandleIrq()) {
    UpdatePairTypes();
  }
}

void AudioDeembedderDriverControl::UpdatePairTypes() {
  for (std::size_t p = 0; p < destInfo_.size() / 2; ++p) {
    const AudioType type = GetPairType(static_cast<std::uint8_t>(p));
    const ChInfoPtr& even = destInfo_[2 * p];
    const ChInfoPtr& odd = destInfo_[2 * p + 1];
    if (even && odd) {
      even->SetAudioType(type);
      odd->SetAudioType(type);
    }
  }
}
