#include "sim/models/AudioInputClkGenModel.h"

namespace sim {

AudioInputClkGenModel::AudioInputClkGenModel(BoardMutex& mutex) : ModelOf(mutex) {
  Set("irqMask", 7);
}

void AudioInputClkGenModel::RaiseIrq(std::uint32_t sources) {
  const std::lock_guard lock(Mutex());
  Set("irqStatus", Get("irqStatus") | sources);
}

void AudioInputClkGenModel::OnStore(std::uint32_t offset, std::uint32_t written,
                                    std::uint32_t /*before*/) {
  if (offset == WordOf("irqClr")) {
    Set("irqStatus", Get("irqStatus") & ~written);
  }
}

}  // namespace sim
