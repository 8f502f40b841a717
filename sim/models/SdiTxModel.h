#pragma once

#include <cstdint>

#include "map/SdiTxRegs.h"
#include "sim/FieldModel.h"

namespace sim {

/// An SDI transmitter. Its capability word says what it can send; its status follows its settings
/// at once. Bit 0 of pllLocked is the transceiver's PLL: locked while that is powered, out of reset
/// and set to a rate that exists. Bit 1 is the PICXO loop: locked while it is out of reset with the
/// divider that belongs to the clock which pllSelect selects. The transceiver is calibrated unless
/// that is asked for anew. A change is done once the core and its transceiver run, calibrated and
/// with both locks. After power-up the core, its transceiver, its FIFO and its PICXO loop are in
/// reset. A test puts the loops' errors and frequencies into their fields with Set. Thread-safe.
class SdiTxModel : public ModelOf<sdi_tx_regs::kFields> {
 public:
  explicit SdiTxModel(BoardMutex& mutex);

 protected:
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  void _UpdateStatus();
};

}  // namespace sim
