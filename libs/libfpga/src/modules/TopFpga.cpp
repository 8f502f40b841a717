#include "modules/TopFpga.h"

#include "modules/AddressMap.h"

using address_map::BaseOf;

TopFpgaImpl::TopFpgaImpl()
    : irqHandler_("irq_handler", BaseOf(address_map::kIrqHandler)),
      sdiRxCrosspoint_("sdi_rx_crosspoint", BaseOf(address_map::kSdiRxCrosspoint),
                       address_map::kPaths, address_map::kPaths, 0, 1),
      sdiTxCrosspoint_("sdi_tx_crosspoint", BaseOf(address_map::kSdiTxCrosspoint),
                       address_map::kPaths, address_map::kPaths, 0, 2) {
}
