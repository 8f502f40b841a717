#pragma once

#include <cstdint>

#include "map/AudioInputClkGenRegs.h"
#include "sim/FieldModel.h"

namespace sim {

/// The audio clock generator of an input. Powered up, it is held in reset and its interrupt sources
/// are masked. It has no line at the aggregator: what is pending shows in its status alone.
/// Thread-safe.
class AudioInputClkGenModel : public ModelOf<audio_input_clk_gen_regs::kFields> {
 public:
  explicit AudioInputClkGenModel(BoardMutex& mutex);

  /// Makes interrupt sources pending, bits of irqStatus.
  void RaiseIrq(std::uint32_t sources);

 protected:
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;
};

}  // namespace sim
