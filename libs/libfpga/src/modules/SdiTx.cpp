#include "modules/SdiTx.h"

#include <algorithm>

#include "log/Log.h"
#include "video/Video.h"

namespace {

// 525 lines run on the clock of the integer rates, though their frame rate has the factor
// 1000/1001.
constexpr std::uint32_t kStandard525i = 5;

// PICXO's divider at either kind of rate.
constexpr std::uint32_t kPicxoCInteger = 89;
constexpr std::uint32_t kPicxoCFractional = 90;

// Reference inputs with a rule of their own.
constexpr std::uint16_t kSelectFixedNco = 2;     // its NCO ratio is the same for every standard
constexpr std::uint16_t kSelectAnyStandard = 8;  // the standard makes no difference
constexpr std::uint32_t kFixedNcoV = 538;

constexpr std::int32_t kMaxNcoError = 4000;
constexpr std::uint8_t kNcoErrorsToRestart = 3;

}  // namespace

namespace sdi_tx {

std::uint32_t MuxPattern(unsigned streams, SdiRate rate) {
  switch (streams) {
    case 1:
    case 2:
      return rate == SdiRate::k3GLevelB ? 1 : 0;
    case 4:
      return 2;
    case 8:
      return 3;
    case 16:
      return 4;
    default:
      return 0;
  }
}

std::optional<sdi_tx_regs::NcoRatio> FindNcoRatio(std::int32_t standardId) {
  const auto& ratios = sdi_tx_regs::kNcoRatios;
  const auto ratio = std::lower_bound(
      ratios.begin(), ratios.end(), standardId,
      [](const sdi_tx_regs::NcoRatio& row, std::int32_t id) { return row.standardId < id; });
  if (ratio == ratios.end() || ratio->standardId != standardId) {
    return std::nullopt;
  }
  return *ratio;
}

}  // namespace sdi_tx

SdiTxImpl::SdiTxImpl(const std::string& name, std::uint32_t baseAddress, unsigned index)
    : RegisterBlock(name, baseAddress), name_(name), index_(index) {
}

int SdiTxImpl::Init() {
  HoldInReset(false, true, true);
  ReleaseFromReset();
  for (const sdi_tx_regs::Step& step : sdi_tx_regs::kClockLoopSetup) {
    WriteBitfield(step.field, step.value);
  }
  return 0;
}

void SdiTxImpl::HoldInReset(bool phy, bool fifo, bool picxo) {
  WriteBitfield("reset", 1);
  if (phy) {
    WriteBitfield("resetPhy", 1);
  }
  if (fifo) {
    WriteBitfield("resetFifo", 1);
  }
  if (picxo) {
    WriteBitfield("resetPicxo", 1);
  }
}

void SdiTxImpl::ReleaseFromReset() {
  WriteBitfield("resetPhy", 0);
  WriteBitfield("resetPicxo", 0);
  WriteBitfield("reset", 0);
  WriteBitfield("resetFifo", 0);
}

void SdiTxImpl::Reset(bool phy, bool fifo, bool picxo) {
  HoldInReset(phy, fifo, picxo);
  ReleaseFromReset();
}

void SdiTxImpl::SetPicxoReference(std::int32_t standardId, std::uint16_t select) {
  const bool stands = select == referenceSelect_ &&
                      (standardId == referenceStandard_ || select == kSelectAnyStandard);
  referenceStandard_ = standardId;
  referenceSelect_ = static_cast<std::uint8_t>(select);
  if (stands) {
    return;
  }
  WriteBitfield("picxoRefSelect", select);
  if (select == kSelectFixedNco) {
    WriteBitfield("ncoV", kFixedNcoV);
    WriteBitfield("ncoR", 0);
  } else if (const auto ratio = sdi_tx::FindNcoRatio(standardId)) {
    WriteBitfield("ncoV", ratio->ncoV);
    WriteBitfield("ncoR", ratio->ncoR);
  }
  _PulsePicxoReset();
}

// Level B at 3 Gbit/s is chosen by the rate code and the multiplexing; the field levelB is another
// thing.
void SdiTxImpl::SetOutVideoFormat(std::uint32_t standardId) {
  LOG_DEBUG("Setting SDI TX to output video format %d", static_cast<int>(standardId));
  const VideoStandard& standard = GetVideoStandard(static_cast<int>(standardId));
  const bool known = IsKnownStandard(static_cast<int>(standardId));
  if (known && standardId != currentStandard_) {
    SetStdAndMux(static_cast<std::uint32_t>(standard.sdiRate),
                 sdi_tx::MuxPattern(standard.GetNumStreams(), standard.sdiRate));
  }
  const bool fractional = known && standard.fractional != 0 && standardId != kStandard525i;
  SetPllSelect(fractional);
  WriteBitfield("picxoC", fractional ? kPicxoCFractional : kPicxoCInteger);
  WriteBitfield("reset", 1);
  WriteBitfield("reset", 0);
  currentStandard_ = standardId;
}

bool SdiTxImpl::IsReady() {
  return true;
}

void SdiTxImpl::CheckNcoError() {
  const auto error = static_cast<std::int32_t>(ReadBitfield("ncoError"));
  if (error >= -kMaxNcoError && error <= kMaxNcoError) {
    ncoErrorCount_ = 0;
    return;
  }
  ++ncoErrorCount_;
  if (ncoErrorCount_ == kNcoErrorsToRestart) {
    ncoErrorCount_ = 0;
    _PulsePicxoReset();
  }
}

void SdiTxImpl::_PulsePicxoReset() {
  WriteBitfield("resetPicxo", 1);
  WriteBitfield("resetPicxo", 0);
}

void SdiTxImpl::SetStdAndMux(std::uint32_t std, std::uint32_t mux) {
  WriteBitfield("std", std);
  WriteBitfield("muxPattern", mux);
}

void SdiTxImpl::SetPllSelect(bool fractional) {
  WriteBitfield("pllSelect", fractional ? 1 : 0);
}

bool SdiTxImpl::GetPllSelect() {
  return ReadBitfield("pllSelect") != 0;
}

void SdiTxImpl::SetOutputDrive(std::uint8_t swing, std::uint8_t pre, std::uint8_t post) {
  WriteBitfield("swingControl", swing);
  WriteBitfield("preCursor", pre);
  WriteBitfield("postCursor", post);
}

void SdiTxImpl::SetInsertions(std::uint8_t ln, std::uint8_t crc, std::uint8_t syncBit) {
  WriteBitfield("insertLn", ln);
  WriteBitfield("insertCrc", crc);
  WriteBitfield("insertSyncBit", syncBit);
}

void SdiTxImpl::SetPicxoRefSelect(std::uint8_t select) {
  WriteBitfield("picxoRefSelect", select);
}

void SdiTxImpl::SetupPicxo(std::uint16_t ceDspRate, std::uint8_t g1, std::uint8_t g2,
                           std::uint8_t accStep, std::uint8_t dither, std::uint8_t offsetEn,
                           std::uint32_t offset, std::uint16_t r, std::uint16_t v, std::uint16_t n,
                           std::uint16_t p, std::uint8_t c) {
  WriteBitfield("picxoCeDspRate", ceDspRate);
  WriteBitfield("picxoG1", g1);
  WriteBitfield("picxoG2", g2);
  WriteBitfield("picxoAccStep", accStep);
  WriteBitfield("picxoDither", dither);
  WriteBitfield("picxoOffsetEn", offsetEn);
  WriteBitfield("picxoOffset", offset);
  WriteBitfield("picxoR", r);
  WriteBitfield("picxoV", v);
  WriteBitfield("picxoN", n);
  WriteBitfield("picxoP", p);
  WriteBitfield("picxoC", c);
}

void SdiTxImpl::TunePicxo(std::uint16_t ceDspRate, std::uint8_t g1, std::uint8_t g2,
                          std::uint8_t offsetEn, std::uint32_t offset, std::uint16_t r,
                          std::uint16_t v) {
  WriteBitfield("picxoCeDspRate", ceDspRate);
  WriteBitfield("picxoG1", g1);
  WriteBitfield("picxoG2", g2);
  WriteBitfield("picxoOffsetEn", offsetEn);
  WriteBitfield("picxoOffset", offset);
  WriteBitfield("picxoR", r);
  WriteBitfield("picxoV", v);
}

bool SdiTxImpl::IsChangeDone() {
  return ReadBitfield("txChangeDone") != 0 && ReadBitfield("txResetDone") != 0;
}

bool SdiTxImpl::IsPllLocked() {
  return ReadBitfield("pllLocked") != 0;
}
