#include "devices/SdiCableEqInterface.h"

#include <array>
#include <utility>

#include "log/Log.h"
#include "platform/Clock.h"

namespace {

constexpr std::size_t kFrameBytes = 2;
constexpr std::uint8_t kReadFlag = 0x80;
constexpr std::uint8_t kReadOut = 0xFF;
constexpr std::uint8_t kNoOperation = 0x7F;
// Time that the chips need between a read command and its read-out.
constexpr std::uint32_t kReadMicroseconds = 10;

// The log numbers the chips from the code of the letter A on.
constexpr std::size_t kFirstInputLetter = 65;

constexpr std::array<RegPair, 5> kLastChipSetup{{{8, 3}, {7, 63}, {2, 2}, {2, 10}, {2, 2}}};
// The number under which the log knows the last chip, whatever the chain's length.
constexpr int kLastChipInLog = 4;

// Where a chip's frame starts in a transfer: the first frame travels furthest.
constexpr std::size_t FrameOf(std::size_t chip, std::size_t chainLength) {
  return kFrameBytes * (chainLength - 1 - chip);
}

}  // namespace

SdiCableEqInterface::~SdiCableEqInterface() {
  for (ChainEntry& entry : chain_) {
    entry.device.reset();
  }
}

int SdiCableEqInterface::Initialize(Spi* spi, const SpiSettings& settings) {
  if (spi_ != nullptr) {
    LOG_ERROR("Attempt to re-initialize");
    return -1;
  }
  spi_ = spi;
  settings_ = settings;
  return 0;
}

void SdiCableEqInterface::AddDevice(SdiCableEq* device) {
  std::unique_ptr<SdiCableEq> owned(device);
  chain_.push_back({std::move(owned)});
}

void SdiCableEqInterface::DoRequiredSetup() {
  std::vector<std::uint8_t> revisions;
  // A chip without an answer is found below.
  (void)_ReadRegFromAll(_RegOfEach(&SdiCableEq::GetRevisionReg), revisions);
  for (std::size_t i = 0; i + 1 < chain_.size(); ++i) {
    std::vector<RegPair> pairs;
    if (i < revisions.size()) {
      chain_[i].device->GetDeviceInitRegAddrAndData(pairs, revisions[i]);
    } else {
      LOG_ERROR("Device Revision ID needed before setup can be performed");
    }
    for (const RegPair& pair : pairs) {
      (void)_WriteRegToOne(i, pair.reg, pair.data);  // logged; the others still get theirs
      LOG_INFO("dev: %lu addr: 0x%02x data: 0x%02x", i, unsigned{pair.reg}, unsigned{pair.data});
    }
  }
  if (chain_.empty()) {
    return;
  }
  for (const RegPair& pair : kLastChipSetup) {
    (void)_WriteRegToOne(chain_.size() - 1, pair.reg, pair.data);  // logged
    LOG_INFO("dev: %i addr: 0x%02x data: 0x%02x", kLastChipInLog, unsigned{pair.reg},
             unsigned{pair.data});
  }
}

int SdiCableEqInterface::SetOutputEnable(std::size_t index, bool enable) {
  if (index >= chain_.size()) {
    LOG_ERROR("Requested EQ does not exist");
    return -1;
  }
  std::uint8_t reg = 0;
  std::uint8_t data = 0;
  chain_[index].device->GetOutputEnableRegAndData(enable, reg, data);
  LOG_DEBUG("Writing device: %lu reg: 0x%x data: 0x%x", index + 1, unsigned{reg}, unsigned{data});
  return _WriteRegToOne(index, reg, data);
}

int SdiCableEqInterface::SignalIsPresent(std::size_t index, bool* present) {
  (void)_RefreshStatus();  // logged; the last known status is handed out then
  if (index >= chain_.size()) {
    *present = false;
    LOG_ERROR("Requested EQ does not exist");
    return -1;
  }
  *present = chain_[index].status.signalPresent;
  return 0;
}

int SdiCableEqInterface::GetRateDetect(std::size_t index, std::uint32_t* rate) {
  (void)_RefreshStatus();  // logged; the last known rate is handed out then
  if (index >= chain_.size()) {
    *rate = 0;
    LOG_ERROR("Requested EQ does not exist");
    return -1;
  }
  *rate = chain_[index].status.rate;
  return 0;
}

std::optional<SdiCableEqStatus> SdiCableEqInterface::GetStatus(std::size_t index) {
  transfersWork_ = true;
  const bool refreshed = _RefreshStatus() == 0;
  if (index >= chain_.size()) {
    LOG_ERROR("Requested EQ does not exist");
    return std::nullopt;
  }
  if (!refreshed || !transfersWork_) {
    return std::nullopt;
  }
  return chain_[index].status;
}

int SdiCableEqInterface::_RefreshStatus() {
  std::vector<std::uint8_t> values;
  if (!_ReadStatus(&SdiCableEq::GetSignalStatusReg, values)) {
    LOG_ERROR("Unable to read signal presence status");
    return -1;
  }
  for (std::size_t i = 0; i < chain_.size(); ++i) {
    chain_[i].status.signalPresent = chain_[i].device->DecodeSignalPresent(values[i]);
  }
  if (!_ReadStatus(&SdiCableEq::GetRateStatusReg, values)) {
    LOG_ERROR("Unable to read rate detect status");
    return -1;
  }
  for (std::size_t i = 0; i < chain_.size(); ++i) {
    chain_[i].status.rate = chain_[i].device->DecodeRate(values[i]);
  }
  return 0;
}

// True if every chip gave a value.
bool SdiCableEqInterface::_ReadStatus(std::uint8_t (SdiCableEq::*reg)(),
                                      std::vector<std::uint8_t>& values) {
  return _ReadRegFromAll(_RegOfEach(reg), values) == 0 && values.size() == chain_.size();
}

std::vector<std::uint8_t> SdiCableEqInterface::_RegOfEach(std::uint8_t (SdiCableEq::*reg)()) const {
  std::vector<std::uint8_t> regs;
  for (const ChainEntry& entry : chain_) {
    regs.push_back((entry.device.get()->*reg)());
  }
  return regs;
}

// Reads regs[i] of chip i into values[i].
int SdiCableEqInterface::_ReadRegFromAll(const std::vector<std::uint8_t>& regs,
                                         std::vector<std::uint8_t>& values) {
  if (spi_ == nullptr) {
    LOG_ERROR("No SPI controller assigned");
    return -1;
  }
  const std::size_t n = chain_.size();
  if (regs.size() != n) {
    LOG_ERROR("Chain length mismatch, will not read");
    return -1;
  }
  std::vector<std::uint8_t> command(kFrameBytes * n);
  for (std::size_t i = 0; i < n; ++i) {
    command[FrameOf(i, n)] = static_cast<std::uint8_t>(regs[i] | kReadFlag);
  }
  // Neither result ends the reading: what failed shows as a wrong size or as zeros.
  std::vector<std::uint8_t> ignored;
  _Exchange(command, ignored);

  std::vector<std::uint8_t> readOut(kFrameBytes * n, kReadOut);
  std::vector<std::uint8_t> answer;
  platform::SleepMicroseconds(kReadMicroseconds);
  _Exchange(readOut, answer);
  return _TakeAnswers(LOG_ORIGIN, regs, readOut, answer, values);
}

// One transfer of a reading. Keeps in mind that one didn't work.
void SdiCableEqInterface::_Exchange(std::vector<std::uint8_t>& sent,
                                    std::vector<std::uint8_t>& received) {
  const std::size_t bytes = sent.size();
  const bool worked = spi_->TransmitAndReceive(sent, received, 0, false, settings_) == 0 &&
                      spi_->LastTransferWasWhole() && received.size() == bytes;
  transfersWork_ = transfersWork_ && worked;
}

// Picks each chip's value out of what came back during the read-out.
int SdiCableEqInterface::_TakeAnswers(const LogOrigin& reading, std::span<const std::uint8_t> regs,
                                      std::span<const std::uint8_t> sent,
                                      std::span<const std::uint8_t> received,
                                      std::vector<std::uint8_t>& values) {
  for (std::size_t i = 0; i < sent.size() && i < received.size(); ++i) {
    LOG_DEBUG_FROM(reading, "0x%02lx: TX 0x%02x RX 0x%02x", i, unsigned{sent[i]},
                   unsigned{received[i]});
  }
  const std::size_t n = regs.size();
  if (received.size() != kFrameBytes * n) {
    LOG_ERROR_FROM(reading, "Incorrect RX data size on SPI chain read");
    return -1;
  }
  values.clear();
  for (std::size_t i = 0; i < n; ++i) {
    const std::size_t index = FrameOf(i, n) + 1;
    LOG_INFO_FROM(reading, "%lu", index);
    if (index >= received.size()) {
      LOG_ERROR_FROM(reading, "RX data size mismatch on SPI chain read");
      return -1;
    }
    values.push_back(received[index]);
    LOG_INFO_FROM(reading, "SDI %zu 0x%02x: 0x%02x", i + kFirstInputLetter, unsigned{regs[i]},
                  unsigned{received[index]});
  }
  return 0;
}

int SdiCableEqInterface::_WriteRegToOne(std::size_t index, std::uint8_t reg, std::uint8_t data) {
  if (spi_ == nullptr) {
    LOG_ERROR("No SPI controller assigned");
    return -1;
  }
  const std::size_t n = chain_.size();
  if (index >= n) {
    LOG_ERROR("Chain length mismatch, will not write");
    return -1;
  }
  std::vector<std::uint8_t> frames;
  for (std::size_t i = 0; i < n; ++i) {
    frames.insert(frames.end(), {kNoOperation, 0});
  }
  frames[FrameOf(index, n)] = static_cast<std::uint8_t>(reg & ~kReadFlag);
  frames[FrameOf(index, n) + 1] = data;
  std::vector<std::uint8_t> ignored;
  if (spi_->TransmitAndReceive(frames, ignored, 0, false, settings_) != 0) {
    LOG_ERROR("Unable to write to specified device");
    return -1;
  }
  return 0;
}
