#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <vector>

#include "map/IrqHandlerRegs.h"
#include "sim/FieldModel.h"

namespace sim {

/// The interrupt aggregator. A line's status bit is latched while the line is raised and clears on
/// a written 1 once the line is down; the summary output is raised while an unmasked bit is set.
/// All lines are masked after power-up. Thread-safe.
class IrqAggregatorModel : public ModelOf<irq_handler_regs::kFields> {
 public:
  static constexpr std::uint32_t kLines = 256;

  explicit IrqAggregatorModel(BoardMutex& mutex);

  /// Raises or lowers an input line, 0 to 255. Its status stays latched until it is cleared.
  void SetLine(std::uint32_t line, bool raised);
  /// Adds a source that raises its line as time passes: `follow` is called before each load, with
  /// the board's lock held, to bring the line up to date.
  void AddSource(std::function<void()> follow);
  /// Raises a line for a moment: a pulse.
  void Pulse(std::uint32_t line);

 protected:
  void OnLoad(std::uint32_t offset) override;
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  // The three blocks of eight words, one word for each group of 32 lines.
  static constexpr std::uint32_t kMask = WordOf("irq_mask_0_31");
  static constexpr std::uint32_t kStatus = WordOf("irq_status_0_31");
  static constexpr std::uint32_t kClear = WordOf("irq_clr_0_31");
  static constexpr std::uint32_t kLastClear = WordOf("irq_clr_224_255");

  void _UpdateOutput();

  // Guarded by the board's lock.
  std::array<std::uint32_t, kLines / 32> raised_{};
  std::vector<std::function<void()>> sources_;
};

}  // namespace sim
