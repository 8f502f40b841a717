#include "sim/models/AudioOutputClkGenModel.h"

#include <utility>

namespace sim {

AudioOutputClkGenModel::AudioOutputClkGenModel(BoardMutex& mutex, IrqAggregatorModel& aggregator,
                                               std::uint32_t irqLine)
    : ModelOf(mutex), aggregator_(aggregator), irqLine_(irqLine) {
  Set("irqMask", 7);
}

void AudioOutputClkGenModel::SetErrors(std::uint32_t errors) {
  const std::lock_guard lock(Mutex());
  errors_ = errors;
  _Follow();
}

void AudioOutputClkGenModel::OnStore(std::uint32_t /*offset*/, std::uint32_t /*written*/,
                                     std::uint32_t /*before*/) {
  _Follow();
}

void AudioOutputClkGenModel::_Follow() {
  const std::uint32_t errors = Get("reset") == 0 ? errors_ : 0;
  for (const auto& [bit, flag] : {std::pair(kPhaseError, FieldId("phaseError")),
                                  std::pair(kCycleError, FieldId("cycleError")),
                                  std::pair(kClockFailed, FieldId("clkIsFailed"))}) {
    if ((errors & bit) != 0) {
      Set(flag, 1);
    }
  }
  Set("irqStatus", (Get("irqStatus") | errors) & ~Get("irqClr"));
  aggregator_.SetLine(irqLine_, (Get("irqStatus") & ~Get("irqMask")) != 0);
}

}  // namespace sim
