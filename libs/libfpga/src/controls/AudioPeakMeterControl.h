#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "modules/AudioPeakMeter.h"

/// What the meters show of the peaks.
namespace audio_meter {

// The part of the difference by which a level moves to a new peak, up and down.
inline constexpr float kAttack = 0.75F;
inline constexpr float kRelease = 0.85F;

/// The level that follows `level` when the peak is `peak`. The step is truncated towards 0.
std::int32_t Smooth(std::int32_t level, std::int32_t peak);

/// The reading of a level, 0 to 8388607: whole dB of full scale, lifted by 2, from -40 to 0.
std::int16_t ReadingOf(std::uint32_t level);

}  // namespace audio_meter

/// Turns the peaks of some links into smoothed meter readings.
///
/// Threads: all of it belongs to one thread at a time. Two that updated the same meters would take
/// each other's banks.
class AudioPeakMeterControl : public AudioPeakMeter {
 public:
  /// As AudioPeakMeter, without levels. `irq` is not used.
  AudioPeakMeterControl(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
                        std::uint64_t irq, std::uint32_t numLinks);

  /// Asks the core for its number of links and starts all levels at 0.
  void Initialize();
  /// Replaces `meters` by a reading in dB for each channel, 16 for each link, from the peaks since
  /// the last update, and starts a new measurement. When the levels don't match the number of
  /// links, `meters` is left empty with a Warning and no bank is switched.
  void UpdateMeters(std::vector<std::int16_t>& meters);

 private:
  std::vector<std::uint32_t> levels_;  // smoothed peaks
};
