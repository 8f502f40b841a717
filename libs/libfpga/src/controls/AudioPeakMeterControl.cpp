#include "controls/AudioPeakMeterControl.h"

#include <algorithm>
#include <cmath>

#include "log/Log.h"
#include "map/AudioMap.h"
#include "support/Saturate.h"

namespace audio_meter {
namespace {

constexpr float kFullScale = 8388607.0F;  // the greatest magnitude of a 24-bit sample
constexpr int kLift = 2;                  // dB
constexpr int kLowest = -40;              // dB
constexpr int kHighest = 0;               // dB

}  // namespace

std::int32_t Smooth(std::int32_t level, std::int32_t peak) {
  const std::int64_t rise = std::int64_t{peak} - level;
  const float step = static_cast<float>(rise) * (rise > 0 ? kAttack : kRelease);
  // A part of the difference: the sum lies between the two.
  return static_cast<std::int32_t>(level + SaturateCast<std::int64_t>(step));
}

std::int16_t ReadingOf(std::uint32_t level) {
  // The product in double: rounded to single precision, some would reach the next whole dB.
  const double decibels = double{log10f(static_cast<float>(level) / kFullScale)} * 20.0;
  const int reading = SaturateCast<std::int16_t>(decibels) + kLift;  // no level: minus infinity
  return static_cast<std::int16_t>(std::clamp(reading, kLowest, kHighest));
}

}  // namespace audio_meter

AudioPeakMeterControl::AudioPeakMeterControl(const std::string& name, std::uint32_t baseAddress,
                                             std::uint64_t index, std::uint64_t /*irq*/,
                                             std::uint32_t numLinks)
    : AudioPeakMeter(name, baseAddress, index, numLinks) {
}

void AudioPeakMeterControl::Initialize() {
  ReadNumLinks();
  levels_.assign(std::size_t{GetNumLinks()} * audio_map::kChannels, 0);
}

void AudioPeakMeterControl::UpdateMeters(std::vector<std::int16_t>& meters) {
  meters.clear();
  std::vector<std::uint32_t> peaks;
  ReadPeaks(peaks);
  if (peaks.size() != levels_.size()) {
    LOG_WARNING("Audio peak meter vector sizes differ. This should not occur!");
    return;
  }
  for (std::size_t i = 0; i < peaks.size(); ++i) {
    levels_[i] = static_cast<std::uint32_t>(audio_meter::Smooth(
        static_cast<std::int32_t>(levels_[i]), static_cast<std::int32_t>(peaks[i])));
    meters.push_back(audio_meter::ReadingOf(levels_[i]));
  }
  SwitchBank();
}
