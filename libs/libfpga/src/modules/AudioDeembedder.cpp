#include "modules/AudioDeembedder.h"

#include <algorithm>

#include "log/Log.h"
#include "modules/AvSyncPattern.h"
#include "video/Video.h"

namespace {

using audio_map::kPairs;
using NumberedFields = AudioDeembedder::NumberedFields;

constexpr int kTestFifoDepth = 256;

constexpr std::uint32_t kLinesToWait = 10;
constexpr std::uint32_t kTestLineToSample = 100;
constexpr std::uint32_t kAllFlags = 0xFFFF;
constexpr std::uint32_t kAllIrqSources = 0x1FFF;
constexpr std::uint32_t kBothChannels = 3;

constexpr NumberedFields kPairLines("nonpcm_channel_pair_#_line");
constexpr NumberedFields kPairTypes("nonpcm_channel_pair_#_type");
constexpr NumberedFields kTestLines("avSyncTestLine_#");
constexpr NumberedFields kTestFrames("avSyncTestFrame_#");
constexpr NumberedFields kTestValues("avSyncTestValue_#");

}  // namespace

AudioChannelInfo::AudioType DeembeddedPairType(std::uint32_t presence, std::uint32_t line,
                                               std::uint32_t dataType) {
  if (line == 0 || presence != kBothChannels) {
    return AudioChannelInfo::AudioType::Pcm;
  }
  return AudioTypeOfBurst(dataType);
}

AudioDeembedder::AudioDeembedder(const std::string& name, std::uint32_t baseAddress,
                                 std::uint64_t index, std::uint64_t irq)
    : CoreDriver(name, baseAddress, index), irq_(irq) {
}

void AudioDeembedder::Setup(std::uint32_t videoStandard) {
  const bool known = IsKnownStandard(static_cast<int>(videoStandard));
  videoStandard_ = known ? videoStandard : 0;
  HoldInReset();
  if (!known) {
    return;
  }
  const VideoStandard& standard = GetVideoStandard(static_cast<int>(videoStandard));
  WriteBitfield("switch_line", standard.switchLine1);
  WriteBitfield("fifo_auto_reset", 1);
  WriteBitfield("lines_to_wait", kLinesToWait);
  WriteBitfield("avSyncStripeWidthMinus1", av_sync::StripeWidthMinus1(standard));
  WriteBitfield("avSyncTestLineToSample", kTestLineToSample);
  frameRate_ = standard.GetFrameRate();
  totalLines_ = standard.totalLines;
  ReleaseFromReset();
  WriteBitfield("sampleErrorMask", 0);
  WriteBitfield("deembed_en", 1);
}

void AudioDeembedder::OnVideoTypeChange(std::uint32_t /*link*/, std::uint32_t videoStandard) {
  Setup(videoStandard);
}

AudioDeembedder::AudioType AudioDeembedder::GetPairType(std::uint8_t pair) {
  const std::uint8_t p = std::min<std::uint8_t>(pair, kPairs - 1);
  const std::uint32_t presence = ReadBitfield("audioStatus") >> (2 * p) & kBothChannels;
  const std::uint32_t line = ReadBitfield(kPairLines[p]);
  const std::uint32_t type = ReadBitfield(kPairTypes[p]);
  LOG_DEBUG("%s: Deembedder IRQ reported pair %d as %s line was %d and type was %d",
            GetName().c_str(), int{p}, line != 0 ? "NON-PCM" : "PCM", static_cast<int>(line),
            static_cast<int>(type));
  return DeembeddedPairType(presence, line, type);
}

bool AudioDeembedder::IsPairPcm(std::uint8_t pair) {
  return GetPairType(pair) == AudioType::Pcm;
}

bool AudioDeembedder::HandleIrq() {
  const std::uint32_t status = TakeFlags("irqStatus", "irqClr");
  if (status == 0) {
    return false;
  }
  LOG_DEBUG("Got IRQ with status %d", static_cast<int>(status));
  CheckErrors();
  return true;
}

// Clears a FIFO flag of all channels, with a log line where `what` names it. True if any was set.
bool AudioDeembedder::_ClearFlags(const LogOrigin& check, FieldId flags, const char* what) {
  const std::uint32_t channels = ReadBitfield(flags);
  if (channels == 0) {
    return false;
  }
  if (what != nullptr) {
    LOG_INFO_FROM(check, "%s FIFO %s 0x%x", GetName().c_str(), what, channels);
  }
  WriteBitfield(flags, kAllFlags);
  return true;
}

void AudioDeembedder::CheckErrors() {
  const bool overflow = _ClearFlags(LOG_ORIGIN, "fifoOverflow", "overflow");
  const bool underflow = _ClearFlags(LOG_ORIGIN, "fifoUnderflow", "underflow");
  (void)_ClearFlags(LOG_ORIGIN, "fifoEmpty", nullptr);  // neither this nor a full FIFO
  (void)_ClearFlags(LOG_ORIGIN, "fifoFull", "full");    // asks for a restart
  const bool misaligned = ReadBitfield("alignment_err_saved") != 0;
  if (misaligned) {
    LOG_INFO("%s alignment error", GetName().c_str());
    WriteBitfield("alignment_err_saved", 1);
  }
  if (overflow || underflow || misaligned) {
    Setup(videoStandard_);
  }
}

void AudioDeembedder::MaskIrq() {
  WriteBitfield("irqMask", kAllIrqSources);
}

void AudioDeembedder::UnmaskIrq() {
  WriteBitfield("irqMask", 0);
}

void AudioDeembedder::GetAvSyncResults(std::vector<std::string>& lines) {
  for (std::size_t r = 0; r < kTestLines.Count(); ++r) {
    av_sync::Arrival arrival{};
    arrival.line = ReadBitfield(kTestLines[r]);
    arrival.frame = ReadBitfield(kTestFrames[r]);
    arrival.value = ReadBitfield(kTestValues[r]);
    lines.push_back(av_sync::Describe(arrival, totalLines_, frameRate_));
  }
  Pulse("avSyncClearResults", 1);
}

void AudioDeembedder::ReadAvSyncFifo(std::vector<std::uint16_t>& frames) {
  for (int i = 0; i < kTestFifoDepth; ++i) {
    if (ReadBitfield("avSyncFifoEmpty") == 0) {
      WriteBitfield("avSyncFifoRd", 1);
      frames.push_back(static_cast<std::uint16_t>(ReadBitfield("avSyncFifoFrameNum")));
    }
  }
}

// The presence shown is that of bit p, a single channel, though a pair's own bits are 2p and 2p
// + 1.
void AudioDeembedder::DumpStatus(std::uint64_t /*first*/, std::uint64_t /*last*/,
                                 std::string& report, std::uint8_t* more) {
  *more = 0;
  report.clear();
  const std::uint32_t status = ReadBitfield("audioStatus");
  for (std::uint8_t p = 0; p < kPairs; ++p) {
    const char* presence = (status >> p & 1) != 0 ? "present" : "not present";
    const char* type = IsPairPcm(p) ? "PCM" : "not PCM";
    report += FormatMessage("Pair %d is [%s] and reporting [%s]\n", int{p}, presence, type);
  }
}
