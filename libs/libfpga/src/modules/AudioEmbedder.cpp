#include "modules/AudioEmbedder.h"

#include <algorithm>

#include "log/Log.h"
#include "modules/AvSyncPattern.h"
#include "video/Video.h"

namespace {

using audio_map::kChannels;
using audio_map::kPairs;

constexpr AudioEmbedder::NumberedFields kPairLines("nonPcmLinePair#", 1);

constexpr std::uint8_t kGroups = 4;
constexpr std::uint32_t kFifoReadyThreshold = 64;
constexpr std::uint32_t kErrorsThatNeedAReset = 0x80FF;
constexpr std::uint32_t kLineOffset = 6;         // a burst's line is more than its field by this
constexpr std::uint32_t kNumFramesMask = 0x3FF;  // of avAlignTpgNumFrames

const VideoStandard& StandardOf(std::uint32_t id) {
  return GetVideoStandard(static_cast<int>(id));
}

}  // namespace

AudioEmbedder::AudioEmbedder(const std::string& name, std::uint32_t baseAddress,
                             std::uint64_t index, std::uint64_t irq)
    : CoreDriver(name, baseAddress, index), irq_(irq) {
}

void AudioEmbedder::OnVideoTypeChange(std::uint32_t /*link*/, const std::uint32_t& videoStandard) {
  _Setup(videoStandard);
}

void AudioEmbedder::_Setup(std::uint32_t videoStandard) {
  if (!IsKnownStandard(static_cast<int>(videoStandard))) {
    HoldInReset();
    videoStandard_ = 0;
    return;
  }
  if (videoStandard == videoStandard_) {
    return;
  }
  videoStandard_ = videoStandard;
  HoldInReset();
  const VideoStandard& standard = StandardOf(videoStandard);
  LOG_INFO("Setting up %s for %s", GetName().c_str(), standard.name.c_str());
  WriteBitfield("enableStripper", 1);
  WriteBitfield("forceStripper", 1);
  WriteBitfield("disableCBitRegen", 0);
  WriteBitfield("hdClkPhaseEnable", 1);
  WriteBitfield("hdAFEnable", 1);
  WriteBitfield("fifoRdyThresh", kFifoReadyThreshold);
  WriteBitfield("errClr", 1);
  WriteBitfield("avAlignTpgFrameStart", av_sync::kFirstFrame);
  WriteBitfield("avAlignTpgLineStart", av_sync::kFirstLine);
  WriteBitfield("avAlignTpgNumFrames", _CycleFrames());
  WriteBitfield("avAlignTpgStripeWidthMinus1", av_sync::StripeWidthMinus1(standard));
  ReleaseFromReset();
}

std::uint32_t AudioEmbedder::_CycleFrames() const {
  return av_sync::CycleFrames(patternPeriodMs_, StandardOf(videoStandard_).GetFrameRate()) &
         kNumFramesMask;
}

void AudioEmbedder::OnAudioTypeChange(AudioTypeArray types) {
  pairTypes_ = types;
  WriteBitfield("nonPcmSelect", NonPcmChannels(types));
}

void AudioEmbedder::GetPairNonPcmInfo(std::size_t pair, AudioType* type, std::uint16_t* line) {
  const std::size_t field = std::min<std::size_t>(pair, kPairs - 1);
  const bool known = pair < kPairs;
  std::uint32_t burstLine = 0;
  // A pair that doesn't exist reads the last one's line before it is refused.
  if (!known || pairTypes_[pair] != AudioType::Pcm) {
    burstLine = ReadBitfield(kPairLines[field + 1]) + kLineOffset;
  }
  *type = pairTypes_.at(pair);
  *line = static_cast<std::uint16_t>(burstLine);
}

void AudioEmbedder::SetGroupEnable(std::uint8_t group, std::int16_t enable) {
  if (group >= kGroups) {
    LOG_INFO("Trying to set the group enable to a group that doesn't exist");
    return;
  }
  const std::uint32_t groups = ReadBitfield("aesGrpEn");
  const std::uint32_t bit = 1U << group;
  WriteBitfield("aesGrpEn", enable >= 1 ? groups | bit : groups & ~bit);
}

bool AudioEmbedder::GetGroupEnable(std::uint8_t group) {
  if (group >= kGroups) {
    LOG_INFO("Trying to get the group enable to a group that doesn't exist");
    return false;
  }
  return (ReadBitfield("aesGrpEn") >> group & 1) != 0;
}

void AudioEmbedder::ResetAndRelease() {
  LOG_DEBUG("ResetAndRelease %s", GetName().c_str());
  CoreDriver::ResetAndRelease();
}

void AudioEmbedder::OnAudioOutputClockGenIrq() {
  LOG_INFO("Resetting %s due to clock IRQ", GetName().c_str());
  ResetAndRelease();
}

void AudioEmbedder::HandleIrq() {
  if (TakeFlags("irqStatus", "irqClr") == 0) {
    return;
  }
  const std::uint32_t errors = ReadBitfield("errStatus");
  WriteBitfield("errClr", 1);
  const std::uint32_t groups = ReadBitfield("aesGrpEn");
  if ((errors & kErrorsThatNeedAReset) != 0 && groups != 0) {
    LOG_INFO("Resetting due to IRQ, err status 0x%x", errors);
    ResetAndRelease();
  }
}

void AudioEmbedder::MaskIrq() {
  WriteBitfield("irqMask", 1);
}

void AudioEmbedder::UnmaskIrq() {
  WriteBitfield("irqMask", 0);
  WriteBitfield("irqReset", 0);
}

void AudioEmbedder::SetAvAlignTpg(std::uint8_t enable, std::uint16_t periodMs) {
  patternPeriodMs_ = periodMs;
  const std::uint32_t frames = _CycleFrames();
  WriteBitfield("avAlignTpgEn", enable);
  WriteBitfield("avAlignTpgNumFrames", frames);
}

unsigned AudioEmbedder::GetAvAlignTpgNumFrames() {
  return ReadBitfield("avAlignTpgNumFrames");
}

void AudioEmbedder::DumpStatus(std::uint64_t /*first*/, std::uint64_t /*last*/, std::string& report,
                               std::uint8_t* more) {
  *more = 0;
  report.clear();
  const std::uint32_t notPcm = ReadBitfield("nonPcmSelect");
  for (unsigned c = 0; c < kChannels; ++c) {
    report += FormatMessage("Channel %d is set as [%s]\n", static_cast<int>(c),
                            (notPcm >> c & 1) != 0 ? "not PCM" : "PCM");
  }
}
