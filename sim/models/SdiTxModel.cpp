#include "sim/models/SdiTxModel.h"

#include <initializer_list>

namespace sim {
namespace {

constexpr std::uint32_t kLastRate = 5;  // 12 Gbit/s

// Of the PICXO loop, at rates without and with the factor 1000/1001.
constexpr std::uint32_t kIntegerDivider = 89;
constexpr std::uint32_t kFractionalDivider = 90;

}  // namespace

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
  const bool rateLocked =
      Get("resetCpll") == 0 && Get("cpllPowerDown") == 0 && Get("std") <= kLastRate;
  const std::uint32_t divider = Get("pllSelect") != 0 ? kFractionalDivider : kIntegerDivider;
  const bool loopLocked = Get("resetPicxo") == 0 && Get("picxoC") == divider;
  const bool running = rateLocked && Get("resetPhy") == 0 && Get("reset") == 0;
  const bool calibrating = running && Get("pmaCalReq") != 0;
  Set("pllLocked", (rateLocked ? 1U : 0U) | (loopLocked ? 2U : 0U));
  Set("txResetDone", running ? 1 : 0);
  Set("txCalBusy", calibrating ? 1 : 0);
  Set("txCalDone", running && !calibrating ? 1 : 0);
  Set("txChangeDone", running && !calibrating && loopLocked ? 1 : 0);
  Set("fifo_underflow", running && Get("resetFifo") != 0 ? 1 : 0);
}

}  // namespace sim
