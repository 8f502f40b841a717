#pragma once

#include <chrono>
#include <cstdint>
#include <unordered_map>

#include "map/SdiRxRegs.h"
#include "sim/FieldModel.h"
#include "sim/SimulatedClock.h"
#include "sim/VideoSignal.h"
#include "sim/models/IrqAggregatorModel.h"

namespace sim {

/// An SDI receiver. It locks to the signal on its input at once, if it and its transceiver are out
/// of reset and its mode detector, or the forced mode, lets it; then its status follows the signal.
/// A change of rate is done when the detector has found one, or at once with a forced mode, and
/// fails with a forced mode that is none; none is done in reset. The unlock captures latch each
/// loss of lock, whatever its cause. Powered up, it is held in reset and its interrupt sources are
/// masked. Thread-safe.
class SdiRxModel : public ModelOf<sdi_rx_regs::kFields> {
 public:
  // The interrupt sources that this model knows: bits of irqMask, irqStatus and irqClr.
  static constexpr std::uint32_t kIrqLock = 1;       ///< TRS lock was lost or found
  static constexpr std::uint32_t kIrqTransport = 2;  ///< what the transport detector sees changed
  static constexpr std::uint32_t kIrqSt352 = 4;      ///< the ST 352 packet changed, came or went

  /// `irqLine` is the receiver's line at the aggregator: raised while a source is pending that
  /// isn't masked. CRC errors are counted by the clock.
  SdiRxModel(BoardMutex& mutex, const SimulatedClock& clock, IrqAggregatorModel& aggregator,
             std::uint32_t irqLine);

  /// Replaces the signal on the input. The lock is lost in between, also if the signal stays the
  /// same.
  void Plug(const VideoSignal& signal);
  VideoSignal Plugged() const;

  /// One of the transceiver's configuration words, 0 until written.
  std::uint32_t ReconfigWord(std::uint32_t address) const;

 protected:
  void OnLoad(std::uint32_t offset) override;
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  void _SetSignal(const VideoSignal& signal);
  bool _CanReceive(std::uint32_t mode) const;
  void _FollowSignal();
  void _SetTransport();
  void _ReportRate(bool running, bool locked);
  void _LatchChanges(std::uint32_t statusBefore, std::uint32_t packetBefore);
  void _CountCrcErrors();
  void _ControlCrcCounter();
  void _UpdateIrqLine();

  const SimulatedClock& clock_;
  IrqAggregatorModel& aggregator_;
  const std::uint32_t irqLine_;
  // Guarded by the board's lock.
  VideoSignal signal_;
  bool counting_ = false;
  double crcErrors_ = 0;  // counted up to countedAt_, parts of an error included
  std::chrono::steady_clock::time_point countedAt_;
  std::unordered_map<std::uint32_t, std::uint32_t> reconfigWords_;
};

}  // namespace sim
