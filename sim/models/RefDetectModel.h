#pragma once

#include <array>
#include <cstdint>

#include "map/RefDetectRegs.h"
#include "sim/FieldModel.h"

namespace sim {

/// The reference detection. Its counters follow the references that are plugged in; they are 0
/// without a reference and while the core is in reset, as it is after power-up. Thread-safe.
class RefDetectModel : public ModelOf<ref_detect_regs::kFields> {
 public:
  enum class Input : std::uint8_t { kFirst, kSecond };

  explicit RefDetectModel(BoardMutex& mutex);

  /// Plugs in a reference with the timing of a video standard. An id that no standard has unplugs
  /// it.
  void SetReference(Input input, int standardId);
  /// The id of the reference that is plugged in.
  int Plugged(Input input) const;

 protected:
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  void _Measure(Input input);

  std::array<int, 2> standardIds_{};  // by Input; guarded by the board's lock
};

}  // namespace sim
