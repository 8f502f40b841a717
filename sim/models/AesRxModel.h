#pragma once

#include <array>
#include <cstdint>

#include "map/AesRxRegs.h"
#include "sim/AudioPair.h"
#include "sim/FieldModel.h"
#include "sim/models/IrqAggregatorModel.h"

namespace sim {

/// The AES3 receiver. A line that is plugged in locks its pair at once, if the core is out of
/// reset. A pair that loses its lock keeps its last burst report, and is remembered until that is
/// cleared. While irqClr is 1, it holds its source clear. Powered up, the core is held in reset,
/// nothing is plugged in and its interrupt sources are masked. Thread-safe.
class AesRxModel : public ModelOf<aes_rx_regs::kFields> {
 public:
  static constexpr std::uint32_t kLines = audio_map::kPairs;

  // The interrupt sources: bits of irqMask, irqStatus and irqClr.
  static constexpr std::uint32_t kIrqLock = 1;   ///< a pair's lock was lost or found
  static constexpr std::uint32_t kIrqBurst = 2;  ///< a pair's burst report changed

  /// `irqLine` is the receiver's line at the aggregator: raised while a source is pending that
  /// isn't masked.
  AesRxModel(BoardMutex& mutex, IrqAggregatorModel& aggregator, std::uint32_t irqLine);

  /// Replaces what is plugged into a line, 0 to 7. Throws std::out_of_range.
  void Plug(std::uint32_t line, const AudioPair& pair);

 protected:
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  void _Follow();
  void _Report(std::uint32_t line, const AudioPair& pair);
  void _Latch(std::uint32_t sources);

  IrqAggregatorModel& aggregator_;
  const std::uint32_t irqLine_;
  std::array<AudioPair, kLines> plugged_{};  // guarded by the board's lock
};

}  // namespace sim
