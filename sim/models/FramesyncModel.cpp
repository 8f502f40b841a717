#include "sim/models/FramesyncModel.h"

#include <algorithm>

#include "map/FramesyncRegs.h"
#include "video/VideoStandardTable.h"

namespace sim {
namespace {

constexpr std::int64_t kReportExcess = 50;  // samples
constexpr std::uint32_t kStartLag = 1000;   // clocks
constexpr std::uint32_t kClocksPerLook = 4096;

// The words on which accesses have consequences.
constexpr std::uint32_t kResetWord = 0;
constexpr std::uint32_t kLoadWord = 36;
constexpr std::uint32_t kClearWord = 60;
constexpr std::uint32_t kBufCheckWord = 68;
constexpr std::uint32_t kRefReportWord = 72;
constexpr std::uint32_t kRefIntervalWord = 76;
constexpr std::uint32_t kOwnIntervalWord = 80;
constexpr std::uint32_t kInputReportWord = 112;
constexpr std::uint32_t kInputClockWord = 132;

constexpr bool Rises(std::uint32_t before, std::uint32_t after, std::uint32_t mask) {
  return (~before & after & mask) != 0;
}

constexpr bool Falls(std::uint32_t before, std::uint32_t after, std::uint32_t mask) {
  return (before & ~after & mask) != 0;
}

}  // namespace

FramesyncModel::FramesyncModel(BoardMutex& mutex)
    : FieldModel(mutex, framesync_regs::kFields), outputLag_(kStartLag) {
}

void FramesyncModel::DriftOutput(std::int32_t samples) {
  const std::lock_guard lock(Mutex());
  drift_ = samples;
}

void FramesyncModel::StretchLockFrames(std::int32_t samples) {
  const std::lock_guard lock(Mutex());
  stretch_ = samples;
}

void FramesyncModel::SetInputPhase(std::uint32_t lines) {
  const std::lock_guard lock(Mutex());
  inputPhase_ = lines;
}

void FramesyncModel::CountFrames(std::uint32_t dropped, std::uint32_t repeated, std::uint32_t bad) {
  const std::lock_guard lock(Mutex());
  Set("dropFrameAcc", Get("dropFrameAcc") + dropped);
  Set("dupFrameAcc", Get("dupFrameAcc") + repeated);
  Set("badFrameAcc", Get("badFrameAcc") + bad);
}

bool FramesyncModel::_Runs() const {
  return loaded_ && Get("reset") == 0;
}

// The raster of the link image. The first row of a code that is a broadcast format has it.
const VideoStandard& FramesyncModel::_Format() const {
  const std::uint32_t type = Get("videoType");
  const auto row = std::find_if(kVideoStandards.begin(), kVideoStandards.end(), [=](const auto& r) {
    return r.id >= 5 && r.standard.framesyncVideoType == type;
  });
  return row->standard;  // all 32 codes have one
}

std::uint32_t FramesyncModel::_FrameSamples() const {
  return std::uint32_t{_Format().totalSamples} * _Format().totalLines;
}

void FramesyncModel::OnLoad(std::uint32_t offset) {
  if (!_Runs()) {
    return;
  }
  switch (offset) {
    case kBufCheckWord:
      return _MoveBuffers();
    case kRefReportWord:
      return _ReportDelay("refReportDelay", refAlignment_);
    case kInputReportWord:
      return _ReportDelay("inputReportDelay", inputAlignment_);
    case kRefIntervalWord: {
      const std::uint32_t frames = Get("videoSkipPulse") + 1;
      return Set("debugRefInterval",
                 frames * _FrameSamples() + static_cast<std::uint32_t>(stretch_));
    }
    case kOwnIntervalWord:
      return Set("debugBeInterval", _FrameSamples());
    case kInputClockWord:
      return _CountClocks();
    default:
      return;
  }
}

void FramesyncModel::OnStore(std::uint32_t offset, std::uint32_t /*written*/,
                             std::uint32_t before) {
  const std::uint32_t after = Word(offset);
  switch (offset) {
    case kResetWord: {
      const std::uint32_t resets = MaskInWord(Row("reset")) | MaskInWord(Row("resetOutputRequest"));
      if (Falls(before, after, resets)) {
        _RestartOutput();
      }
      return;
    }
    case kLoadWord:
      loaded_ = loaded_ || Rises(before, after, MaskInWord(Row("loadRegs")));
      return;
    case kClearWord:
      return _ClearCounters();
    default:
      return;
  }
}

void FramesyncModel::_RestartOutput() {
  refAlignment_ = Get("refDelay");
  inputAlignment_ = Get("startSampleNumber");
  drift_ = 0;
  outputLag_ = kStartLag;
}

void FramesyncModel::_CountClocks() {
  const std::uint32_t in = Get("vidInCeCounter") + kClocksPerLook;
  Set("vidInCeCounter", in);
  Set("vidOutCeCounter", in - outputLag_);
  outputLag_ /= 2;
}

// The writer fills the next buffer of the ring, the reader follows at the delay that is set.
void FramesyncModel::_MoveBuffers() {
  const std::uint32_t buffers = std::max(Get("numBufs"), 1U);
  const std::uint32_t reads = frame_++ % buffers;
  const std::uint32_t writes = (reads + Get("frameDelay")) % buffers;
  std::uint32_t line = Get("validLineNumber") + inputPhase_ % _Format().totalLines;
  if (line > _Format().totalLines) {
    line -= _Format().totalLines;
  }
  Set("readWriteBufCheck", reads << 23 | writes << 14 | line);
}

void FramesyncModel::_ReportDelay(const char* field, std::uint32_t alignment) {
  const std::int64_t span =
      std::int64_t{_FrameSamples()} * (_Format().sdiRate == SdiRate::k270M ? 2 : 1);
  const std::int64_t delay = (alignment + kReportExcess + drift_) % span;
  Set(field, static_cast<std::uint32_t>(delay < 0 ? delay + span : delay));
}

void FramesyncModel::_ClearCounters() {
  if (Get("clrDropFrameCounter") != 0) {
    Set("dropFrameAcc", 0);
  }
  if (Get("clrDupFrameCounter") != 0) {
    Set("dupFrameAcc", 0);
  }
  if (Get("clrBadFrameCounter") != 0) {
    Set("badFrameAcc", 0);
  }
}

}  // namespace sim
