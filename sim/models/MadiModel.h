#pragma once

#include <cstdint>

#include "map/MadiRegs.h"
#include "sim/FieldModel.h"

namespace sim {

/// The MADI cores: receiver and transmitter in one block of registers, with one bit that resets
/// both. The receiver's error flags are latched; they come back after a clear for as long as the
/// error lasts. Powered up, the cores are held in reset, where the receiver counts nothing and sees
/// no errors, and nothing is plugged in. Thread-safe.
class MadiModel : public ModelOf<madi_regs::kFields> {
 public:
  static constexpr std::uint32_t kNoLink = 1;  ///< the error of a link without signal
  static constexpr std::uint32_t kRightSampleCount = 6400000;  ///< of a stream at its rate

  explicit MadiModel(BoardMutex& mutex);

  /// Plugs in a stream whose rate gives `sampleCount`, 24 bits.
  void Plug(std::uint32_t sampleCount = kRightSampleCount);
  void Unplug();
  /// What else is wrong with the link from now on, bits of rxStatus. 0: nothing, but what was
  /// latched stays so.
  void SetErrors(std::uint32_t errors);

 protected:
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  void _Follow();

  // Guarded by the board's lock.
  bool plugged_ = false;
  std::uint32_t sampleCount_ = 0;
  std::uint32_t errors_ = 0;
};

}  // namespace sim
