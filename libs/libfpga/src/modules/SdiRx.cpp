#include "modules/SdiRx.h"

#include <stdexcept>
#include <utility>

#include "log/Log.h"
#include "platform/Clock.h"

namespace {

constexpr std::uint32_t kAllModes = 31;
constexpr std::uint32_t kAllIrqSources = 0xFFFF;

constexpr std::uint32_t kReconfigPauseMicroseconds = 1000;
constexpr int kReconfigAttempts = 500;

}  // namespace

SdiRxImpl::SdiRxImpl(const std::string& name, std::uint32_t baseAddress, unsigned index,
                     unsigned irqNumber)
    : RegisterBlock(name, baseAddress), name_(name), index_(index), irqNumber_(irqNumber) {
}

void SdiRxImpl::Init() {
  HoldInReset();
  SetModeEnable(kAllModes);
  ReleaseFromReset();
}

void SdiRxImpl::HoldInReset() {
  WriteBitfield("reset", 1);
  WriteBitfield("clrErrCnt", 1);
  WriteBitfield("clrSt352Flags", 1);
}

void SdiRxImpl::ReleaseFromReset() {
  WriteBitfield("reset", 0);
  WriteBitfield("clrErrCnt", 0);
  WriteBitfield("clrSt352Flags", 0);
  WriteBitfield("frameUnlockCap", 1);
  WriteBitfield("rxUnlockCap", 1);
}

void SdiRxImpl::Reset() {
  HoldInReset();
  ReleaseFromReset();
}

void SdiRxImpl::HandleIrq() {
  const std::uint32_t pending = ReadBitfield("irqStatus");
  if (pending == 0) {
    return;
  }
  WriteBitfield("irqClr", pending);
  UpdateVideoFormat();
}

void SdiRxImpl::EnableIrq() {
  WriteBitfield("irqMask", 0);
}

void SdiRxImpl::DisableIrq() {
  WriteBitfield("irqMask", kAllIrqSources);
}

unsigned SdiRxImpl::GetIrqNumber() {
  return irqNumber_;
}

VideoFormat SdiRxImpl::GetVideoFormat() {
  return current_;
}

std::int64_t SdiRxImpl::GetVideoFormatAge() {
  return std::chrono::duration_cast<std::chrono::seconds>(platform::SteadyTime() - lastValid_)
      .count();
}

void SdiRxImpl::RegisterVideoFormatCallback(VideoFormatCallback callback) {
  if (!callback) {
    throw std::invalid_argument("Empty video format callback");
  }
  callbacks_.push_back({index_, std::move(callback)});
}

std::uint32_t SdiRxImpl::GetCrcErrorCount(bool clear) {
  const std::uint32_t count = ReadBitfield("crcErrCnt");
  if (clear) {
    ClearCrcErrorCount();
  }
  return count;
}

void SdiRxImpl::ClearCrcErrorCount() {
  WriteBitfield("clrErrCnt", 1);
  WriteBitfield("clrErrCnt", 0);
}

void SdiRxImpl::SetForcedMode(std::uint32_t mode) {
  WriteBitfield("modeDetectEn", 0);
  WriteBitfield("forcedMode", mode);
}

void SdiRxImpl::SetModeEnable(std::uint32_t mask) {
  WriteBitfield("modeDetectEn", 0);
  WriteBitfield("modeEnable", mask);
  WriteBitfield("modeDetectEn", 1);
}

void SdiRxImpl::UpdateVideoFormat() {
  _ReadVideoTypeId(current_);
  if (current_.standardId != 0) {
    lastValid_ = platform::SteadyTime();
    const VideoStandard& standard = GetVideoStandard(static_cast<int>(current_.standardId));
    WriteBitfield("videoType", standard.sdiRxVideoType);
  } else {
    ClearCrcErrorCount();
  }
  UpdateReportedLockState();
}

void SdiRxImpl::UpdateReportedLockState() {
  if (reported_ == current_) {
    return;
  }
  reported_ = current_;
  const std::string status = GetStatusText();  // its reads don't depend on the log's threshold
  LOG_INFO("%s %s", name_.c_str(), status.c_str());
  NotifyVideoFormatCallbacks(index_, VideoFormat(current_));
}

void SdiRxImpl::NotifyVideoFormatCallbacks(std::uint32_t index, const VideoFormat& format) {
  for (const CallbackEntry& entry : callbacks_) {
    if (entry.index == index && entry.call) {
      entry.call(index, format);
    }
  }
}

bool SdiRxImpl::_IsLocked() {
  return ReadBitfield("rxLocked") != 0 && ReadBitfield("tdLocked") != 0;
}

sdi_rx::Report SdiRxImpl::_ReadReport() {
  sdi_rx::Report report;
  report.st352Valid = ReadBitfield("st352Valid") == 1;
  report.st352Packet = report.st352Valid ? ReadBitfield("st352Packet") : 0;
  report.raster = ReadBitfield("tdFormat");
  report.rate = ReadBitfield("tdRate");
  report.progressive = ReadBitfield("tdProgressive") == 1;
  report.fractional = ReadBitfield("fractionalRate") == 1;
  report.streams = ReadBitfield("activeStreams");
  report.mode = ReadBitfield("sdiMode");
  return report;
}

void SdiRxImpl::_ReadVideoTypeId(VideoFormat& out) {
  if (!_IsLocked()) {
    _HandleLostSignal(out);
    return;
  }
  const sdi_rx::Report report = _ReadReport();
  LOG_INFO(
      "Called Read Video Type and we are locked: transportType is %ld, rate is %ld, prog is %d, "
      "mode is %d, fractional is %d, streams %d, and vpid is %x",
      static_cast<long>(report.raster), static_cast<long>(report.rate), report.progressive ? 1 : 0,
      static_cast<int>(report.mode), report.fractional ? 1 : 0, static_cast<int>(report.streams),
      report.st352Packet);
  if (!sdi_rx::IsConclusive(report)) {
    return;
  }
  // The fields were read one by one: they belong together only if the lock held all the while.
  if (!_IsLocked()) {
    _HandleLostSignal(out);
    return;
  }
  out = sdi_rx::DecideVideoFormat(report);
}

void SdiRxImpl::_HandleLostSignal(VideoFormat& out) {
  WriteBitfield("clrSt352Flags", 1);
  WriteBitfield("clrSt352Flags", 0);
  ClearCrcErrorCount();
  out = VideoFormat{};
}

std::string SdiRxImpl::GetStatusText() {
  if (ReadBitfield("rxLocked") == 0) {
    return "No TRS lock";
  }
  if (ReadBitfield("tdLocked") == 0) {
    return "TRS Lock, No Transport Detect Lock";
  }
  sdi_rx::Report report;
  report.fractional = ReadBitfield("fractionalRate") == 1;
  report.progressive = ReadBitfield("tdProgressive") == 1;
  report.streams = ReadBitfield("activeStreams");
  report.raster = ReadBitfield("tdFormat");
  report.rate = ReadBitfield("tdRate");
  report.mode = ReadBitfield("sdiMode");
  return sdi_rx::LockedText(report);
}

int SdiRxImpl::ReconfigWrite(std::uint16_t address, std::uint32_t data) {
  WriteBitfield("reconfigAddr", address);
  WriteBitfield("reconfigWrData", data);
  WriteBitfield("reconfigWrEn", 1);
  WriteBitfield("reconfigWrEn", 0);
  return 0;
}

int SdiRxImpl::ReconfigRead(std::uint16_t address, std::uint32_t& data) {
  WriteBitfield("reconfigAddr", address);
  WriteBitfield("reconfigRdEn", 1);
  WriteBitfield("reconfigRdEn", 0);
  data = ReadBitfield("reconfigRdData");
  return 0;
}

// Each write is followed by one reading of the word, whose value doesn't matter.
void SdiRxImpl::_ReconfigModify(std::uint16_t address, std::uint32_t kept, std::uint32_t added) {
  std::uint32_t word = 0;
  ReconfigRead(address, word);
  ReconfigWrite(address, (word & kept) | added);
  ReconfigRead(address, word);
}

void SdiRxImpl::ConfigureTransceiver(bool clearBit, std::uint8_t word359, std::int16_t word282,
                                     std::uint8_t word352) {
  const auto split = static_cast<std::uint16_t>(word282);
  if (clearBit) {
    _ReconfigModify(283, 0xF7, 0);
  } else {
    _ReconfigModify(283, 0xFFFFFFFF, 8);
  }
  _ReconfigModify(359, 0xC1, (word359 & 31U) << 1);
  _ReconfigModify(284, 0xF0, (split >> 8U) & 15U);
  _ReconfigModify(282, 0, split & 255U);
  _ReconfigModify(352, 0xF1, (word352 & 7U) << 1);
}

void SdiRxImpl::ReleaseWithReconfigRestore() {
  ReleaseFromReset();
  platform::SleepMicroseconds(kReconfigPauseMicroseconds);
  _ReconfigUntilItSticks(352, 9);
  _ReconfigUntilItSticks(358, 132);
}

void SdiRxImpl::_ReconfigUntilItSticks(std::uint16_t address, std::uint32_t value) {
  for (int attempt = 0; attempt < kReconfigAttempts; ++attempt) {
    std::uint32_t word = 0;
    ReconfigWrite(address, value);
    ReconfigRead(address, word);
    if (word == value) {
      return;
    }
    platform::SleepMicroseconds(kReconfigPauseMicroseconds);
  }
}

void SdiRxImpl::ArmUnlockCapture() {
  WriteBitfield("rxUnlockCap", 1);
  WriteBitfield("frameUnlockCap", 1);
}

bool SdiRxImpl::IsFrameUnlockCaptured() {
  return ReadBitfield("frameUnlockCap") == 1;
}

bool SdiRxImpl::IsRxUnlockCaptured() {
  return ReadBitfield("rxUnlockCap") == 1;
}

bool SdiRxImpl::IsRxLocked() {
  return ReadBitfield("rxLocked") == 1;
}

bool SdiRxImpl::IsTransportLocked() {
  return ReadBitfield("tdLocked") == 1;
}

std::uint32_t SdiRxImpl::GetTransportFormat() {
  if (ReadBitfield("tdLocked") == 0) {
    return sdi_rx_regs::kRasterUnknown;
  }
  const std::uint32_t raster = ReadBitfield("tdFormat");
  return sdi_rx::IsRaster(raster) ? raster : sdi_rx_regs::kRasterUnknown;
}
