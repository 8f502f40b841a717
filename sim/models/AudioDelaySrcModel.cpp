#include "sim/models/AudioDelaySrcModel.h"

namespace sim {
namespace {

using Samples = std::chrono::duration<std::int64_t, std::ratio<1, audio_map::kSamplesPerSecond>>;

// Samples in which the converter gains or loses one.
constexpr std::uint32_t kGrowRatio = 1065;
constexpr std::uint32_t kShrinkRatio = 1019;

}  // namespace

AudioDelaySrcModel::AudioDelaySrcModel(BoardMutex& mutex, const SimulatedClock& clock,
                                       AudioDelayModel& delay, IrqAggregatorModel& aggregator,
                                       std::uint32_t irqLine)
    : ModelOf(mutex), clock_(clock), delay_(delay), aggregator_(aggregator), irqLine_(irqLine) {
  Set("logic_reset", 1);
  Set("irq_mask", 1);
  aggregator_.AddSource([this] { _Follow(); });
}

void AudioDelaySrcModel::OnLoad(std::uint32_t /*offset*/) {
  _Follow();
}

void AudioDelaySrcModel::OnStore(std::uint32_t offset, std::uint32_t written,
                                 std::uint32_t before) {
  if (offset == WordOf("logic_reset") && ((before ^ written) & MaskOf("logic_reset")) != 0) {
    tickedAt_ = clock_.Steady();
    _Stop();
  }
  _Follow();
  if (Strobed("new_adjustment", offset, written) && Get("logic_reset") == 0 && !adjustment_) {
    _Adjust();
  }
}

// A reset ends the adjustment; it leaves the interrupt as it is.
void AudioDelaySrcModel::_Stop() {
  if (adjustment_) {
    adjustment_.reset();
    delay_.StopStretching();
  }
  Set("apply_adjustment", 0);
  Set("sample_cnt", 0);
  Set("audio_src_running", Get("logic_reset") == 0 ? 1 : 0);
}

void AudioDelaySrcModel::_Follow() {
  if (Get("logic_reset") == 0) {
    const Time now = clock_.Steady();
    _Tick(now);
    _FollowAdjustment(now);
  }
  if (Get("irq_clr") != 0) {
    Set("irq_status", 0);
  }
  const bool raised = Get("irq_status") != 0 && Get("irq_mask") == 0;
  if (raised != raised_) {
    raised_ = raised;
    aggregator_.SetLine(irqLine_, raised);
  }
}

void AudioDelaySrcModel::_Tick(Time now) {
  const Samples period(Get("irq_sample_num"));
  const Samples elapsed = std::chrono::floor<Samples>(now - tickedAt_);
  if (period.count() == 0 || elapsed < period) {
    return;
  }
  Set("irq_status", 1);
  tickedAt_ += std::chrono::ceil<Time::duration>(elapsed - elapsed % period);
}

void AudioDelaySrcModel::_FollowAdjustment(Time now) {
  if (!adjustment_) {
    return;
  }
  const std::int64_t elapsed = std::chrono::floor<Samples>(now - adjustment_->start).count();
  if (elapsed >= adjustment_->samples) {
    adjustment_.reset();
  }
  Set("apply_adjustment", adjustment_ ? 1 : 0);
  Set("sample_cnt", adjustment_ ? static_cast<std::uint32_t>(elapsed) : 0);
}

void AudioDelaySrcModel::_Adjust() {
  const std::uint32_t samples = Get("application_samples");
  const bool grow = Get("grow_else_shrink_delay") != 0;
  const auto change = static_cast<std::int32_t>(samples / (grow ? kGrowRatio : kShrinkRatio));
  adjustment_ = {clock_.Steady(), samples};
  Set("apply_adjustment", 1);
  delay_.Stretch(grow ? change : -change,
                 std::chrono::ceil<std::chrono::microseconds>(Samples(samples)));
}

}  // namespace sim
