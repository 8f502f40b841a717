#include "sim/models/SdiRxModel.h"

#include <array>

#include "support/Saturate.h"

namespace sim {
namespace {

constexpr std::uint32_t kRevision = 0x00010000;
constexpr std::uint32_t kAllIrqSources = 0xFFFF;

// The codes of the status fields stand here again, so that a wrong one in the map shows.
constexpr std::uint32_t kLevelB = 3;    // sdiMode; the others are those of SdiRate
constexpr std::uint32_t kLastMode = 5;  // 12 Gbit/s
constexpr std::uint32_t kNoRaster = 7;

// tdRate by the frame rate of a standard.
constexpr std::array<std::uint32_t, 8> kTdRates{2, 3, 5, 6, 7, 9, 10, 11};
// The same for a 3G level B signal, whose two interlaced streams carry half the frames each.
constexpr std::array<std::uint32_t, 8> kTdRatesLevelB{2, 3, 5, 6, 7, 5, 6, 7};

// Level B standards of the table, whatever rate their rows state.
constexpr bool IsLevelB(int id) {
  return (id >= 45 && id <= 56) || (id >= 74 && id <= 85) || (id >= 153 && id <= 164);
}

std::uint32_t ModeOf(const VideoSignal& signal) {
  return IsLevelB(signal.standardId) ? kLevelB
                                     : static_cast<std::uint32_t>(signal.Standard().sdiRate);
}

std::uint32_t RasterOf(const VideoStandard& standard) {
  switch (standard.activeSamples) {
    case 720:
      return standard.totalLines == 525 ? 4 : 5;
    case 1280:
      return 1;
    case 1920:
      return 0;
    case 2048:
      return 2;
    default:
      return kNoRaster;
  }
}

// 1, 2, 4 and 8 streams are the codes 0 to 3.
std::uint32_t StreamsOf(const VideoSignal& signal) {
  if (IsLevelB(signal.standardId)) {
    return 2;
  }
  switch (signal.Standard().dataStreams) {
    case 1:
      return 0;
    case 2:
      return 1;
    default:
      return 3;
  }
}

// The rate that a mode stands for, lowest first: both levels of 3G are one. 5 for no mode at all.
std::uint32_t RateIndex(std::uint32_t mode) {
  constexpr std::array<std::uint32_t, 8> kRates{0, 1, 2, 2, 3, 4, 5, 5};
  return kRates.at(mode);
}

}  // namespace

SdiRxModel::SdiRxModel(BoardMutex& mutex, const SimulatedClock& clock,
                       IrqAggregatorModel& aggregator, std::uint32_t irqLine)
    : ModelOf(mutex), clock_(clock), aggregator_(aggregator), irqLine_(irqLine) {
  Set("rxRevCap", kRevision);
  Set("irqMask", kAllIrqSources);
}

void SdiRxModel::Plug(const VideoSignal& signal) {
  const std::lock_guard lock(Mutex());
  _SetSignal({});
  _SetSignal(signal);
}

VideoSignal SdiRxModel::Plugged() const {
  const std::lock_guard lock(Mutex());
  return signal_;
}

std::uint32_t SdiRxModel::ReconfigWord(std::uint32_t address) const {
  const std::lock_guard lock(Mutex());
  const auto word = reconfigWords_.find(address);
  return word != reconfigWords_.end() ? word->second : 0;
}

void SdiRxModel::OnLoad(std::uint32_t offset) {
  if (offset == WordOf("crcErrCnt")) {
    _CountCrcErrors();
  }
}

void SdiRxModel::OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t /*before*/) {
  switch (offset) {
    case WordOf("reset"):
    case WordOf("modeEnable"):
      _CountCrcErrors();
      _FollowSignal();
      _ControlCrcCounter();
      break;
    case WordOf("irqClr"):
      Set("irqStatus", Get("irqStatus") & ~written);
      break;
    case WordOf("reconfigAddr"):
      if (Strobed("reconfigWrEn", offset, written)) {
        reconfigWords_[Get("reconfigAddr")] = Get("reconfigWrData");
      } else if (Strobed("reconfigRdEn", offset, written)) {
        Set("reconfigRdData", ReconfigWord(Get("reconfigAddr")));
      }
      break;
    default:
      break;
  }
  _UpdateIrqLine();
}

void SdiRxModel::_SetSignal(const VideoSignal& signal) {
  _CountCrcErrors();
  signal_ = signal;
  _FollowSignal();
  _ControlCrcCounter();
  _UpdateIrqLine();
}

// The detector tries the modes of its mask, a bit for each rate.
bool SdiRxModel::_CanReceive(std::uint32_t mode) const {
  const std::uint32_t rate = RateIndex(mode);
  if (Get("modeDetectEn") == 0) {
    return RateIndex(Get("forcedMode")) == rate;
  }
  return ((Get("modeEnable") >> rate) & 1) != 0;
}

void SdiRxModel::_FollowSignal() {
  const std::uint32_t statusBefore = Get("rxStatusAll");
  const std::uint32_t packetBefore = Get("st352Packet");
  const bool running = Get("reset") == 0 && Get("gtReset") == 0;
  const bool locked = running && signal_.IsPresent() && _CanReceive(ModeOf(signal_));
  for (const FieldId field :
       std::initializer_list<FieldId>{"tdLocked", "tdFormat", "tdRate", "tdProgressive",
                                      "fractionalRate", "activeStreams", "st352Valid"}) {
    Set(field, 0);
  }
  _ReportRate(running, locked);
  if (locked) {
    _SetTransport();
  }
  _LatchChanges(statusBefore, packetBefore);
}

void SdiRxModel::_ReportRate(bool running, bool locked) {
  const bool forced = running && Get("modeDetectEn") == 0;
  const bool exists = Get("forcedMode") <= kLastMode;
  Set("resetDone", running ? 1 : 0);
  Set("rxChangeDone", locked || (forced && exists) ? 1 : 0);
  Set("rxChangeFail", forced && !exists ? 1 : 0);
  Set("pllLocked", locked ? 1 : 0);
  Set("rxLocked", locked ? 1 : 0);
  Set("sdiMode", locked ? ModeOf(signal_) : 0);
}

// A raster that has no code is never locked to.
void SdiRxModel::_SetTransport() {
  const VideoStandard& standard = signal_.Standard();
  const bool levelB = IsLevelB(signal_.standardId);
  const std::uint32_t raster = RasterOf(standard);
  if (raster == kNoRaster) {
    return;
  }
  Set("tdLocked", 1);
  Set("tdFormat", raster);
  Set("tdRate",
      (levelB ? kTdRatesLevelB : kTdRates).at(static_cast<std::size_t>(standard.frameRate)));
  Set("tdProgressive", !levelB && standard.scanType == ScanType::kProgressive ? 1 : 0);
  Set("fractionalRate", standard.fractional);
  Set("activeStreams", StreamsOf(signal_));
  if (signal_.st352 && Get("clrSt352Flags") == 0) {
    Set("st352Valid", 1);
    Set("st352Packet", *signal_.st352);
  }
}

void SdiRxModel::_LatchChanges(std::uint32_t statusBefore, std::uint32_t packetBefore) {
  constexpr std::uint32_t kTransport = MaskOf("tdLocked") | MaskOf("tdFormat") | MaskOf("tdRate") |
                                       MaskOf("tdProgressive") | MaskOf("fractionalRate") |
                                       MaskOf("activeStreams") | MaskOf("sdiMode");
  const std::uint32_t status = Get("rxStatusAll");
  const std::uint32_t changed = status ^ statusBefore;
  const std::uint32_t lost = statusBefore & ~status;
  std::uint32_t pending = Get("irqStatus");
  if ((changed & MaskOf("rxLocked")) != 0) {
    pending |= kIrqLock;
  }
  if ((changed & kTransport) != 0) {
    pending |= kIrqTransport;
  }
  if ((changed & MaskOf("st352Valid")) != 0 || Get("st352Packet") != packetBefore) {
    pending |= kIrqSt352;
  }
  Set("irqStatus", pending);
  if ((lost & MaskOf("rxLocked")) != 0) {
    Set("rxUnlockCap", 1);
  }
  if ((lost & MaskOf("tdLocked")) != 0) {
    Set("frameUnlockCap", 1);
  }
}

// Brings the counter up to now. What it counts by changes only after a call of this.
void SdiRxModel::_CountCrcErrors() {
  const auto now = clock_.Steady();
  if (counting_) {
    const std::chrono::duration<double> elapsed = now - countedAt_;
    crcErrors_ += elapsed.count() * signal_.crcErrorsPerSecond;
  }
  countedAt_ = now;
  Set("crcErrCnt", SaturateCast<std::uint32_t>(crcErrors_));
}

void SdiRxModel::_ControlCrcCounter() {
  const bool cleared = Get("clrErrCnt") != 0;
  counting_ = !cleared && Get("rxLocked") != 0;
  if (cleared) {
    crcErrors_ = 0;
    Set("crcErrCnt", 0);
  }
}

void SdiRxModel::_UpdateIrqLine() {
  aggregator_.SetLine(irqLine_, (Get("irqStatus") & ~Get("irqMask")) != 0);
}

}  // namespace sim
