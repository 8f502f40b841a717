#pragma once

#include <chrono>
#include <cstdint>
#include <optional>

#include "map/AudioDelaySrcRegs.h"
#include "map/AudioMap.h"
#include "sim/FieldModel.h"
#include "sim/SimulatedClock.h"
#include "sim/models/AudioDelayModel.h"
#include "sim/models/IrqAggregatorModel.h"

namespace sim {

/// The sample-rate converter beside an audio delay line. Out of reset it ticks every
/// `irq_sample_num` samples, and an adjustment changes the delay line's delays while it runs;
/// another one that is asked for meanwhile is ignored. Powered up, it is held in reset and its
/// interrupt is masked. Thread-safe.
class AudioDelaySrcModel : public ModelOf<audio_delay_src_regs::kFields> {
 public:
  /// `irqLine` is the converter's line at the aggregator.
  AudioDelaySrcModel(BoardMutex& mutex, const SimulatedClock& clock, AudioDelayModel& delay,
                     IrqAggregatorModel& aggregator, std::uint32_t irqLine);

 protected:
  void OnLoad(std::uint32_t offset) override;
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  using Time = std::chrono::steady_clock::time_point;

  struct Adjustment {
    Time start;
    std::int64_t samples;
  };

  void _Follow();
  void _Tick(Time now);
  void _FollowAdjustment(Time now);
  void _Adjust();
  void _Stop();

  const SimulatedClock& clock_;
  AudioDelayModel& delay_;
  IrqAggregatorModel& aggregator_;
  const std::uint32_t irqLine_;
  // Guarded by the board's lock.
  Time tickedAt_;
  std::optional<Adjustment> adjustment_;
  bool raised_ = false;  // the line
};

}  // namespace sim
