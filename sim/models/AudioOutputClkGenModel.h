#pragma once

#include <cstdint>

#include "map/AudioOutputClkGenRegs.h"
#include "sim/FieldModel.h"
#include "sim/models/IrqAggregatorModel.h"

namespace sim {

/// The audio clock generator of the output. An error of its clock latches its flag and makes the
/// interrupt source of the same bit pending; both come back after a clear for as long as the error
/// lasts. Powered up, it is held in reset, where it sees no errors, and its sources are masked.
/// Thread-safe.
class AudioOutputClkGenModel : public ModelOf<audio_output_clk_gen_regs::kFields> {
 public:
  // The errors: bits of SetErrors and of the interrupt registers.
  static constexpr std::uint32_t kPhaseError = 1;
  static constexpr std::uint32_t kCycleError = 2;
  static constexpr std::uint32_t kClockFailed = 4;

  /// `irqLine` is the core's line at the aggregator: raised while a source is pending that isn't
  /// masked.
  AudioOutputClkGenModel(BoardMutex& mutex, IrqAggregatorModel& aggregator, std::uint32_t irqLine);

  /// What is wrong with the clock from now on. 0: nothing, but what was latched stays so.
  void SetErrors(std::uint32_t errors);

 protected:
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  void _Follow();

  IrqAggregatorModel& aggregator_;
  const std::uint32_t irqLine_;
  std::uint32_t errors_ = 0;  // guarded by the board's lock
};

}  // namespace sim
