#include "sim/models/FramesyncModel.h"

#include <algorithm>
#include <array>

#include "video/VideoStandardTable.h"

namespace sim {
namespace {

constexpr std::uint32_t kReportExcess = 50;  // samples
constexpr std::uint32_t kStartLag = 1000;    // clocks
constexpr std::uint32_t kClocksPerLook = 4096;

constexpr std::uint32_t kRegionUnits = 1U << 23;  // 512 MiB, in the units of `baseAddr`
constexpr std::uint32_t kBaseStep = 1U << 8;      // 16 KiB, in the same
constexpr std::uint32_t kWholeBurst = 256;        // words

// How samples fill a word of the memory, by `packMode`.
struct Packing {
  std::uint32_t streams, samples;
};
constexpr std::array<Packing, 4> kPackings{{{2, 25}, {4, 12}, {8, 6}, {0, 1}}};

// How many frames there are in 1001 s, a whole number at all rates.
std::uint64_t FramesIn1001s(const VideoStandard& standard) {
  constexpr std::array<std::uint32_t, 8> kWholeRates{24, 24, 25, 30, 30, 50, 60, 60};
  return std::uint64_t{kWholeRates.at(static_cast<std::size_t>(standard.frameRate))} *
         (standard.fractional != 0 ? 1000 : 1001);
}

std::uint32_t FieldsOf(const VideoStandard& standard) {
  return standard.scanType == ScanType::kProgressive ? 1 : 2;
}

// The words that a frame fills: all of it but the timing references, and but the active part of a
// line of each field.
std::uint32_t WordsOf(const VideoStandard& standard, const Packing& packing) {
  const std::uint32_t references = standard.sdiRate == SdiRate::k270M ? 4 : 8;
  const std::uint32_t samples = (standard.totalSamples - references) * standard.totalLines -
                                FieldsOf(standard) * standard.activeSamples;
  return (samples + packing.samples - 1) / packing.samples;
}

constexpr bool Rises(std::uint32_t before, std::uint32_t after, std::uint32_t mask) {
  return (~before & after & mask) != 0;
}

constexpr bool Falls(std::uint32_t before, std::uint32_t after, std::uint32_t mask) {
  return (before & ~after & mask) != 0;
}

}  // namespace

FramesyncModel::FramesyncModel(BoardMutex& mutex, const RefDetectModel& references,
                               std::uint32_t region)
    : ModelOf(mutex), references_(references), region_(region), outputLag_(kStartLag) {
}

void FramesyncModel::Plug(const VideoSignal& signal) {
  const std::lock_guard lock(Mutex());
  input_ = signal;
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

FramesyncModel::Layout FramesyncModel::_ReadLayout() const {
  return {.base = Get("baseAddr"),
          .imageWords = Get("imgSize"),
          .writtenWords = _WordsOf("writeBurstNum", "totalWriteBurstNum", "writeBurstSize",
                                   "writeLastBurstSize"),
          .readWords =
              _WordsOf("readBurstNum", "totalReadBurstNum", "readBurstSize", "readLastBurstSize"),
          .packMode = Get("packMode"),
          .buffers = Get("numBufs")};
}

std::uint32_t FramesyncModel::_WordsOf(FieldId bursts, FieldId allBursts, FieldId size,
                                       FieldId lastSize) const {
  const std::uint32_t count = Get(bursts);
  return count != 0 && count == Get(allBursts) ? (count - 1) * Get(size) + Get(lastSize) : 0;
}

bool FramesyncModel::_Runs() const {
  return layout_.buffers != 0 && Get("reset") == 0;
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

// The signal that the output is to follow; "Unknown" if it isn't plugged in or none is selected.
const VideoStandard& FramesyncModel::_LockSignal() const {
  const bool selected = Get("LockSelect") != 0 && Get("freeRunCsr") == 0 && Get("refAlignGen") == 0;
  const bool toInput = Get("lockToInput") != 0;
  if (!selected || toInput == (Get("lockToRef") != 0)) {
    return FindVideoStandard(0);
  }
  using Reference = RefDetectModel::Input;
  return FindVideoStandard(
      toInput
          ? input_.standardId
          : references_.Plugged(Get("refSelect") == 0 ? Reference::kFirst : Reference::kSecond));
}

// The frame pulses of the lock signal in 2002 s; 0 without one. It has a pulse for each field, and
// without `refIsP` every second one is taken for a frame's.
std::uint64_t FramesyncModel::_LockPulses() const {
  const VideoStandard& lock = _LockSignal();
  const bool present = &lock != &FindVideoStandard(0);
  return present ? FramesIn1001s(lock) * FieldsOf(lock) * (Get("refIsP") != 0 ? 2 : 1) : 0;
}

std::uint64_t FramesyncModel::_OutputPulses() const {
  return 2 * FramesIn1001s(_Format());
}

bool FramesyncModel::_IsLocked() const {
  const std::uint64_t pulses = _LockPulses();
  return pulses != 0 &&
         _OutputPulses() * (Get("refSkipPulse") + 1) == pulses * (Get("videoSkipPulse") + 1);
}

bool FramesyncModel::_StoreServesInput() const {
  const VideoStandard& video = input_.Standard();
  const Packing& packing = kPackings[layout_.packMode];
  const std::uint32_t words = WordsOf(video, packing);
  return video.framesyncVideoType == Get("videoType") &&
         std::max(video.GetNumStreams(), 2U) == packing.streams && layout_.writtenWords == words &&
         layout_.readWords == words && layout_.imageWords >= words &&
         layout_.imageWords % kWholeBurst == 0 && layout_.base / kRegionUnits == region_ &&
         layout_.base % kBaseStep == 0 && Get("frameDelay") < layout_.buffers &&
         Get("writeEnable") != 0 && Get("readEnable") != 0;
}

// Without an input the output shows a picture of its own.
bool FramesyncModel::_IsAligned() const {
  return _IsLocked() && (!input_.IsPresent() || _StoreServesInput());
}

void FramesyncModel::OnLoad(std::uint32_t offset) {
  if (!_Runs()) {
    return;
  }
  switch (offset) {
    case WordOf("readWriteBufCheck"):
      return _MoveBuffers();
    case WordOf("refReportDelay"):
      return _ReportDelay("refReportDelay", "lockToRef", refAlignment_);
    case WordOf("inputReportDelay"):
      return _ReportDelay("inputReportDelay", "lockToInput", inputAlignment_);
    case WordOf("debugRefInterval"):
      return _MeasureLockInterval();
    case WordOf("debugBeInterval"):
      return Set("debugBeInterval", _FrameSamples());
    case WordOf("vidInCeCounter"):
      return _CountClocks();
    default:
      return;
  }
}

void FramesyncModel::OnStore(std::uint32_t offset, std::uint32_t /*written*/,
                             std::uint32_t before) {
  const std::uint32_t after = Word(offset);
  switch (offset) {
    case WordOf("reset"):
      if (Falls(before, after, MaskOf("reset") | MaskOf("resetOutputRequest"))) {
        _RestartOutput();
      }
      return;
    case WordOf("loadRegs"):
      if (Rises(before, after, MaskOf("loadRegs"))) {
        layout_ = _ReadLayout();
      }
      return;
    case WordOf("clrDropFrameCounter"):
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

// Both come together if the output is made of the input's frames at the pace of the lock signal.
void FramesyncModel::_CountClocks() {
  const std::uint32_t in = Get("vidInCeCounter") + kClocksPerLook;
  Set("vidInCeCounter", in);
  Set("vidOutCeCounter", in - outputLag_);
  outputLag_ = input_.IsPresent() && _IsAligned() ? outputLag_ / 2 : kStartLag;
}

// The writer fills the next buffer of the ring, the reader follows at the delay that is set. A
// writer without frames stands at the top of a buffer, which is read again and again.
void FramesyncModel::_MoveBuffers() {
  const std::uint32_t reads = frame_ % layout_.buffers;
  if (!input_.IsPresent() || !_StoreServesInput()) {
    return Set("readWriteBufCheck", reads << 23 | reads << 14);
  }
  ++frame_;
  const std::uint32_t writes = (reads + Get("frameDelay")) % layout_.buffers;
  std::uint32_t line = Get("validLineNumber") + inputPhase_ % _Format().totalLines;
  if (line > _Format().totalLines) {
    line -= _Format().totalLines;
  }
  Set("readWriteBufCheck", reads << 23 | writes << 14 | line);
}

// Samples of the output from one used pulse of the lock signal to the next.
void FramesyncModel::_MeasureLockInterval() {
  const std::uint64_t pulses = _LockPulses();
  std::uint64_t samples = 0;
  if (pulses != 0) {
    samples = _OutputPulses() * (Get("refSkipPulse") + 1) * _FrameSamples() / pulses;
  }
  Set("debugRefInterval",
      static_cast<std::uint32_t>(samples) + static_cast<std::uint32_t>(stretch_));
}

void FramesyncModel::_ReportDelay(FieldId report, FieldId lockMode, std::uint32_t alignment) {
  const std::int64_t frame = _FrameSamples();
  const std::int64_t span = frame * (_Format().sdiRate == SdiRate::k270M ? 2 : 1);
  std::int64_t delay = std::int64_t{alignment} + kReportExcess + drift_;
  if (Get(lockMode) == 0 || !_IsAligned()) {
    delay -= frame / 2;
  }
  delay %= span;
  Set(report, static_cast<std::uint32_t>(delay < 0 ? delay + span : delay));
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
