#include "modules/AudioPeakMeter.h"

#include "map/AudioMap.h"

AudioPeakMeter::AudioPeakMeter(const std::string& name, std::uint32_t baseAddress,
                               std::uint64_t index, std::uint32_t numLinks)
    : CoreDriver(name, baseAddress, index), numLinks_(numLinks) {
}

void AudioPeakMeter::ReadNumLinks() {
  (void)ReadBitfield("num_audio_links", &numLinks_);  // a refusal is logged there
}

void AudioPeakMeter::SwitchBank() {
  WriteBitfield("switch_bank", 1);
}

void AudioPeakMeter::ReadPeaks(std::vector<std::uint32_t>& peaks) {
  const bool inReset = IsHeldInReset();
  peaks.clear();
  const std::size_t channels = std::size_t{numLinks_} * audio_map::kChannels;
  peaks.reserve(channels);
  for (std::size_t i = 0; i < channels; ++i) {
    peaks.push_back(inReset ? 0 : ReadBitfield("peak_data"));
  }
}
