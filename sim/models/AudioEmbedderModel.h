#pragma once

#include <cstddef>
#include <cstdint>

#include "sim/FieldModel.h"
#include "sim/models/IrqAggregatorModel.h"

namespace sim {

/// An audio embedder. Powered up, it is held in reset, with its interrupt masked and its interrupt
/// logic in reset. Thread-safe.
class AudioEmbedderModel : public FieldModel {
 public:
  /// `irqLine` is the core's line at the aggregator: raised while its interrupt is pending and not
  /// masked.
  AudioEmbedderModel(BoardMutex& mutex, IrqAggregatorModel& aggregator, std::uint32_t irqLine);

  /// Latches errors, bits of `errStatus`, and the interrupt with them.
  void RaiseErrors(std::uint32_t errors);
  /// The video line, 6 to 4101, in which the bursts of a pair, 0 to 7, start. Throws
  /// std::out_of_range.
  void SetBurstLine(std::size_t pair, std::uint32_t line);

 protected:
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  void _Update(std::uint32_t news);

  IrqAggregatorModel& aggregator_;
  const std::uint32_t irqLine_;
};

}  // namespace sim
