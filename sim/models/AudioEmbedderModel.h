#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>

#include "map/AudioEmbedderRegs.h"
#include "sim/FieldModel.h"
#include "sim/models/IrqAggregatorModel.h"

namespace sim {

/// An audio embedder. Powered up, it is held in reset, with its interrupt masked and its interrupt
/// logic in reset. Thread-safe.
class AudioEmbedderModel : public ModelOf<audio_embedder_regs::kFields> {
 public:
  /// `irqLine` is the core's line at the aggregator: raised while its interrupt is pending and not
  /// masked.
  AudioEmbedderModel(BoardMutex& mutex, IrqAggregatorModel& aggregator, std::uint32_t irqLine);

  /// Latches errors, bits of `errStatus`, and the interrupt with them.
  void RaiseErrors(std::uint32_t errors);
  /// The video line, 6 to 4101, in which the bursts of a pair, 0 to 7, start. Throws
  /// std::out_of_range.
  void SetBurstLine(std::size_t pair, std::uint32_t line);
  /// What tells the line in which the bursts of a pair, 0 to 7, start, or nothing to leave it as it
  /// was set. It is asked before each load, with the board's lock held; lines that a pair can't
  /// report give the nearest that it can.
  using BurstLines = std::function<std::optional<std::uint32_t>(std::uint32_t pair)>;
  void FollowBursts(BurstLines lines);

 protected:
  void OnLoad(std::uint32_t offset) override;
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  void _Update(std::uint32_t news);

  IrqAggregatorModel& aggregator_;
  const std::uint32_t irqLine_;
  BurstLines burstLines_;  // set while the board is built
};

}  // namespace sim
