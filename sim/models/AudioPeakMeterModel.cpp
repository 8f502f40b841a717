#include "sim/models/AudioPeakMeterModel.h"

#include <algorithm>

namespace sim {

AudioPeakMeterModel::AudioPeakMeterModel(BoardMutex& mutex, std::uint32_t links)
    : ModelOf(mutex),
      levels_(std::size_t{links} * audio_map::kChannels),
      measuring_(levels_),
      handedOut_(levels_) {
  Set("num_audio_links", links);
}

void AudioPeakMeterModel::SetLevel(std::uint32_t channel, std::uint32_t level) {
  const std::lock_guard lock(Mutex());
  levels_.at(channel) = level;
  if (Get("reset") == 0) {
    measuring_[channel] = std::max(measuring_[channel], level);
  }
}

void AudioPeakMeterModel::AfterLoad(std::uint32_t offset) {
  if (offset == WordOf("peak_data")) {
    _HandOut(next_ + 1);
  }
}

void AudioPeakMeterModel::OnStore(std::uint32_t offset, std::uint32_t written,
                                  std::uint32_t /*before*/) {
  if (Strobed("reset", offset, written)) {
    std::fill(measuring_.begin(), measuring_.end(), 0);
    _SwitchBank();
    std::fill(measuring_.begin(), measuring_.end(), 0);
  } else if (offset == WordOf("reset")) {
    std::transform(levels_.begin(), levels_.end(), measuring_.begin(), measuring_.begin(),
                   [](std::uint32_t level, std::uint32_t peak) { return std::max(level, peak); });
    if (Strobed("switch_bank", offset, written)) {
      _SwitchBank();
    }
  }
}

void AudioPeakMeterModel::_SwitchBank() {
  handedOut_ = measuring_;
  measuring_ = levels_;
  _HandOut(0);
}

void AudioPeakMeterModel::_HandOut(std::size_t channel) {
  next_ = channel < handedOut_.size() ? channel : 0;
  Set("peak_data", handedOut_.empty() ? 0 : handedOut_[next_]);
}

}  // namespace sim
