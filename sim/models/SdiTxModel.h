#pragma once

#include <cstdint>

#include "map/SdiTxRegs.h"
#include "sim/FieldModel.h"

namespace sim {

/// An SDI transmitter. Its capability word says what it can send; its status follows its resets at
/// once: the PLLs lose their lock with the transceiver's PLL in reset or without power, and nothing
/// is done while the core, its transceiver or that PLL is held. After power-up the core, its
/// transceiver, its FIFO and its PICXO loop are in reset. A test puts the loops' errors and
/// frequencies into their fields with Set. Thread-safe.
class SdiTxModel : public ModelOf<sdi_tx_regs::kFields> {
 public:
  explicit SdiTxModel(BoardMutex& mutex);

 protected:
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  void _UpdateStatus();
};

}  // namespace sim
