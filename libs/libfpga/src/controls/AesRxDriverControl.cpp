#include "controls/AesRxDriverControl.h"

#include <utility>

#include "log/Log.h"

AesRxDriverControl::AesRxDriverControl(const std::string& name, std::uint32_t baseAddress,
                                       std::uint64_t index, std::uint64_t irq)
    : AesRx(name, baseAddress, index, irq) {
}

void AesRxDriverControl::SetDestChInfo(std::uint8_t channel, ChInfoPtr info) {
  if (channel >= destInfo_.size()) {
    LOG_WARNING("Channel index is out of range");
    return;
  }
  destInfo_[channel] = std::move(info);
}

void AesRxDriverControl::SetUpdateEnable(std::uint8_t channel, std::uint8_t enable) {
  if (channel < updateEnable_.size()) {
    updateEnable_[channel] = enable;
  }
}

void AesRxDriverControl::HandleIrq() {
  if (AesRx::HandleIrq()) {
    UpdatePairTypes();
  }
}

void AesRxDriverControl::UpdatePairTypes() {
  for (std::uint8_t pair = 0; pair < audio_map::kPairs; ++pair) {
    const AudioChannelInfo::AudioType type = GetPairType(pair);
    const std::size_t first = 2 * std::size_t{pair};
    if (!destInfo_[first] || !destInfo_[first + 1]) {
      continue;
    }
    for (const std::size_t channel : {first, first + 1}) {
      if (updateEnable_[channel] != 0) {
        destInfo_[channel]->SetAudioType(type);
      }
    }
  }
}
