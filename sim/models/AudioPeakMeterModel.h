#pragma once

#include <cstdint>
#include <vector>

#include "map/AudioMap.h"
#include "map/AudioPeakMeterRegs.h"
#include "sim/FieldModel.h"

namespace sim {

/// The peak meters of some links. One bank takes the greatest level of each channel while the other
/// one is handed out, a channel with each read of its register and from the first one again after
/// the last. Without links every peak is 0. Powered up, it is held in reset, where both banks are
/// 0. Thread-safe.
class AudioPeakMeterModel : public ModelOf<audio_peak_meter_regs::kFields> {
 public:
  AudioPeakMeterModel(BoardMutex& mutex, std::uint32_t links);

  /// The level of a channel from now on: a magnitude, 0 to 8388607. Channels count through all
  /// links. Throws std::out_of_range.
  void SetLevel(std::uint32_t channel, std::uint32_t level);

 protected:
  void AfterLoad(std::uint32_t offset) override;
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  void _SwitchBank();
  void _HandOut(std::size_t channel);

  // All guarded by the board's lock.
  std::vector<std::uint32_t> levels_;
  std::vector<std::uint32_t> measuring_;
  std::vector<std::uint32_t> handedOut_;
  std::size_t next_ = 0;  // the channel that peak_data shows
};

}  // namespace sim
