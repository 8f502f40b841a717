#include "sim/models/SdiTxModel.h"

#include <initializer_list>

namespace sim {

SdiTxModel::SdiTxModel(BoardMutex& mutex) : ModelOf(mutex) {
  for (const FieldId field :
       std::initializer_list<FieldId>{"support3gLevelBb", "support12g", "support6g", "support3g",
                                      "supportHd", "supportSd", "supportTx", "rev"}) {
    Set(field, 1);
  }
  for (const FieldId field :
       std::initializer_list<FieldId>{"resetPicxo", "resetFifo", "resetPhy", "reset"}) {
    Set(field, 1);
  }
  _UpdateStatus();
}

void SdiTxModel::OnStore(std::uint32_t /*offset*/, std::uint32_t /*written*/,
                         std::uint32_t /*before*/) {
  _UpdateStatus();
}

void SdiTxModel::_UpdateStatus() {
  const bool locked = Get("resetCpll") == 0 && Get("cpllPowerDown") == 0;
  const bool running = locked && Get("resetPhy") == 0 && Get("reset") == 0;
  Set("pllLocked", locked ? 3 : 0);
  for (const FieldId field :
       std::initializer_list<FieldId>{"txResetDone", "txCalDone", "txChangeDone"}) {
    Set(field, running ? 1 : 0);
  }
  Set("fifo_underflow", running && Get("resetFifo") != 0 ? 1 : 0);
}

}  // namespace sim
