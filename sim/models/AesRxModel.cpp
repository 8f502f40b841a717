#include "sim/models/AesRxModel.h"

namespace sim {
namespace {

constexpr AudioPair kNothing{.present = false};
constexpr AesRxModel::NumberedFields kLocked("aesLocked#");
constexpr AesRxModel::NumberedFields kNonPcm("nonPcmPair#");
constexpr AesRxModel::NumberedFields kDataType("nonPcmDolbyType#");

}  // namespace

AesRxModel::AesRxModel(BoardMutex& mutex, IrqAggregatorModel& aggregator, std::uint32_t irqLine)
    : ModelOf(mutex), aggregator_(aggregator), irqLine_(irqLine) {
  plugged_.fill(kNothing);
  Set("irqMask", kIrqLock | kIrqBurst);
}

void AesRxModel::Plug(std::uint32_t line, const AudioPair& pair) {
  const std::lock_guard lock(Mutex());
  plugged_.at(line) = pair;
  _Follow();
}

void AesRxModel::OnStore(std::uint32_t /*offset*/, std::uint32_t /*written*/,
                         std::uint32_t /*before*/) {
  _Follow();
}

void AesRxModel::_Follow() {
  const bool running = Get("reset") == 0;
  for (std::uint32_t line = 0; line < kLines; ++line) {
    _Report(line, running ? plugged_[line] : kNothing);
  }
  _Latch(0);
}

void AesRxModel::_Report(std::uint32_t line, const AudioPair& pair) {
  const bool locked = Get(kLocked[line]) != 0;
  if (locked != pair.present) {
    Set(kLocked[line], pair.present ? 1 : 0);
    _Latch(kIrqLock);
    if (locked) {
      Set("unlockSaved", Get("unlockSaved") | 1U << line);
    }
  }
  if (!pair.present) {
    return;
  }
  const std::uint32_t nonPcm = pair.line != 0 ? 1 : 0;
  const std::uint32_t dataType = nonPcm != 0 ? pair.burstType : 0;
  const std::uint32_t before = Word(WordOf(kNonPcm[line]));
  Set(kNonPcm[line], nonPcm);
  Set(kDataType[line], dataType);
  if (Word(WordOf(kNonPcm[line])) != before) {
    _Latch(kIrqBurst);
  }
}

void AesRxModel::_Latch(std::uint32_t sources) {
  Set("irqStatus", (Get("irqStatus") | sources) & ~Get("irqClr"));
  aggregator_.SetLine(irqLine_, (Get("irqStatus") & ~Get("irqMask")) != 0);
}

}  // namespace sim
