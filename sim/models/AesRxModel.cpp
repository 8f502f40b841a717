#include "sim/models/AesRxModel.h"

#include "map/AesRxRegs.h"

namespace sim {
namespace {

constexpr AudioPair kNothing{.present = false};
constexpr std::uint32_t kNonPcm = 0x80;
constexpr std::uint32_t kDataType = 0x1F;

// The two words of a pair.
constexpr std::uint32_t LockWord(std::uint32_t line) {
  return 8 * line;
}
constexpr std::uint32_t BurstWord(std::uint32_t line) {
  return 8 * line + 4;
}

}  // namespace

AesRxModel::AesRxModel(BoardMutex& mutex, IrqAggregatorModel& aggregator, std::uint32_t irqLine)
    : FieldModel(mutex, aes_rx_regs::kFields), aggregator_(aggregator), irqLine_(irqLine) {
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
  const bool locked = Word(LockWord(line)) != 0;
  if (locked != pair.present) {
    SetWord(LockWord(line), pair.present ? 1 : 0);
    _Latch(kIrqLock);
    if (locked) {
      Set("unlockSaved", Get("unlockSaved") | 1U << line);
    }
  }
  if (!pair.present) {
    return;
  }
  const std::uint32_t burst = pair.line != 0 ? kNonPcm | (pair.burstType & kDataType) : 0;
  if (Word(BurstWord(line)) != burst) {
    SetWord(BurstWord(line), burst);
    _Latch(kIrqBurst);
  }
}

void AesRxModel::_Latch(std::uint32_t sources) {
  Set("irqStatus", (Get("irqStatus") | sources) & ~Get("irqClr"));
  aggregator_.SetLine(irqLine_, (Get("irqStatus") & ~Get("irqMask")) != 0);
}

}  // namespace sim
