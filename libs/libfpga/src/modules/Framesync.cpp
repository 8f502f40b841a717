#include "modules/Framesync.h"

#include <algorithm>
#include <array>
#include <utility>

#include "log/Log.h"
#include "modules/FramesyncAlignment.h"
#include "modules/FramesyncDelay.h"
#include "modules/FramesyncGeometry.h"

namespace {

constexpr std::uint32_t kBuffers = 20;
constexpr std::uint32_t kMemoryUnitShift = 6;    // 64 bytes
constexpr std::uint32_t kMemoryAlignShift = 14;  // 16 KiB
constexpr std::uint32_t kMemoryAlignUnits = 1U << (kMemoryAlignShift - kMemoryUnitShift);
constexpr std::uint32_t kMemoryAlignMask = (kMemoryAlignUnits - 1) << kMemoryUnitShift;

// Fixed numbers of the core, in samples: what is taken off a computed alignment, and off one that
// the core reports.
constexpr std::int32_t kAlignmentCorrection = 54;
constexpr std::uint32_t kReportCorrection = 50;

constexpr std::int64_t kIntervalTolerance = 16;  // samples
constexpr unsigned kSettledReadings = 16;

struct LockModeRow {
  std::uint8_t freeRunCsr, refAlignGen, lockToInput, lockToRef, refSelect;
};
// clang-format off
constexpr std::array<LockModeRow, 5> kLockModes{{
  // freeRunCsr refAlignGen lockToInput lockToRef refSelect
  {0, 0, 0, 1, 0},  // the first reference
  {0, 0, 0, 1, 1},  // the second
  {0, 0, 1, 0, 0},  // an input
  {1, 1, 0, 0, 0},  // free run
  {0, 0, 0, 0, 0},  // no lock, also for every number above
}};

struct ForceModeRow {
  std::uint8_t pattGen, flatField, snow;
  bool writesFreeze;
  std::uint8_t freeze;
};
constexpr std::array<ForceModeRow, 5> kForceModes{{
  // pattGen flatField snow writesFreeze freeze
  {0, 0, 0, true,  0},  // video
  {1, 1, 0, false, 0},  // flat field
  {0, 0, 0, true,  1},  // freeze
  {1, 0, 0, false, 0},  // pattern
  {1, 0, 1, false, 0},  // snow
}};

struct BackupModeRow {
  std::uint8_t pattGen, flatField, snow;
};
constexpr std::array<BackupModeRow, 5> kBackupModes{{
  // pattGen flatField snow
  {0, 0, 0},
  {1, 1, 0},
  {0, 0, 0},
  {1, 0, 0},
  {1, 0, 1},
}};

struct Colour {
  std::uint16_t y, cb, cr;  // 10-bit code values
};
constexpr std::array<Colour, 7> kFlatColours{{
  // y   cb   cr
  { 64, 512, 512},
  {512, 512, 512},
  {959, 512, 512},
  {250, 409, 959},
  {877,  64, 553},
  {127, 960, 471},
  {691, 167, 105},
}};
// clang-format on

}  // namespace

FramesyncImpl::FramesyncImpl(const std::string& name, std::uint32_t baseAddress, int index)
    : RegisterBlock(name, baseAddress), name_(name), index_(index) {
}

void FramesyncImpl::SetMemoryRegion(std::uint32_t base, std::uint32_t size) {
  memoryBase_ = (base & kMemoryAlignMask) != 0
                    ? ((base >> kMemoryAlignShift) + 1) * kMemoryAlignUnits
                    : base >> kMemoryUnitShift;
  memorySize_ = size >> kMemoryUnitShift;
}

void FramesyncImpl::HoldInReset() {
  LOG_DEBUG("Hold In Reset");
  WriteBitfield("reset", 1);
}

void FramesyncImpl::ReleaseFromReset() {
  LOG_DEBUG("Release From Reset");
  WriteBitfield("reset", 0);
}

void FramesyncImpl::Reset() {
  HoldInReset();
  ReleaseFromReset();
}

void FramesyncImpl::SetBypass(bool bypass) {
  WriteBitfield("bypassFramesync", bypass ? 1 : 0);
}

// The whole image goes in while the core is in reset; the rise of `loadRegs` makes it take effect.
void FramesyncImpl::SetupFormat(std::uint32_t standardId) {
  const auto id = static_cast<std::int32_t>(standardId);
  if (!IsKnownStandard(id) || id == currentStandard_) {
    return;
  }
  const VideoStandard& format = GetVideoStandard(id);
  LOG_INFO("Setting up %s for input video %s", name_.c_str(), format.name.c_str());
  const framesync::FrameGeometry geometry = framesync::GeometryOf(format);
  const framesync::BurstLayout& layout = geometry.layout;
  LOG_DEBUG(
      "Total samples is %d, memory_line_size is %d, memory burst num is %d, memory leftover burst "
      "size is %d",
      geometry.samples, geometry.words, layout.bursts, layout.lastBurst);
  numBufs_ = kBuffers;
  _Write({{"reset", 1},
          {"loadRegs", 0},
          {"validLineNumber", format.switchLine1},
          {"feSofResetSample", 800},
          {"beSofResetSample", 50},
          {"numBufs", numBufs_}});
  LOG_DEBUG("Set numBufs to %d", numBufs_);
  _Write({{"baseAddr", memoryBase_},
          {"imgSize", layout.imageSize},
          {"maxPending", 1},
          {"readBurstNum", layout.bursts},
          {"writeBurstNum", layout.bursts},
          {"readBurstSize", framesync::kBurstWords},
          {"writeBurstSize", framesync::kBurstWords},
          {"readThreshold", 260},
          {"writeThreshold", 255},
          {"totalReadBurstNum", layout.bursts},
          {"totalWriteBurstNum", layout.bursts},
          {"readLastBurstSize", layout.lastBurst},
          {"writeLastBurstSize", layout.lastBurst},
          {"readStart", 0},
          {"writeStart", 1}});
  _ApplyDelay();
  _Write({{"readEnable", 1}, {"writeEnable", 1}});
  if (const auto packMode = framesync::PackModeOf(format.GetNumStreams())) {
    WriteBitfield("packMode", *packMode);
  }
  _Write({{"loadRegs", 1},
          {"videoType", format.framesyncVideoType},
          {"patternVideoType", format.framesyncVideoType}});
  LOG_DEBUG("FPGA Video type set to %d", format.framesyncVideoType);
  WriteBitfield("reset", 0);
  currentStandard_ = id;
}

void FramesyncImpl::SetupLockMode(std::uint16_t mode, std::int32_t standardId) {
  if (mode == lockMode_ && standardId == lockStandard_) {
    return;
  }
  LOG_INFO("Lock Mode Changed");
  const LockModeRow& row = kLockModes[std::min<std::size_t>(mode, kLockModes.size() - 1)];
  _Write({{"freeRunCsr", row.freeRunCsr},
          {"refAlignGen", row.refAlignGen},
          {"lockToInput", row.lockToInput},
          {"lockToRef", row.lockToRef},
          {"refSelect", row.refSelect},
          {"LockSelect", 1}});
  lockMode_ = mode;
  lockStandard_ = standardId;
}

void FramesyncImpl::SetupOutputMode(std::uint16_t force, std::uint16_t backup) {
  LOG_INFO("Output Mode Changed");
  if (force < kForceModes.size()) {
    const ForceModeRow& row = kForceModes[force];
    _Write({{"forcePattGen", row.pattGen},
            {"forceFlatField", row.flatField},
            {"forceSnow", row.snow}});
    if (row.writesFreeze) {
      WriteBitfield("forceFreeze", row.freeze);
    }
  }
  WriteBitfield("forceVideoType", 0);
  if (backup < kBackupModes.size()) {
    const BackupModeRow& row = kBackupModes[backup];
    _Write({{"backupPattGen", row.pattGen},
            {"backupFlatField", row.flatField},
            {"backupSnow", row.snow}});
  }
}

void FramesyncImpl::SetFlatFieldColour(std::uint16_t colour) {
  if (colour >= kFlatColours.size()) {
    return;
  }
  const Colour& code = kFlatColours[colour];
  _Write({{"yVal", code.y},
          {"cbVal", code.cb},
          {"crVal", code.cr},
          {"yVal2", code.y},
          {"cbVal2", code.cb},
          {"crVal2", code.cr}});
}

void FramesyncImpl::SetFrameDelay(std::uint32_t frames) {
  delayFrames_ = frames;
  _ApplyDelay();
}

void FramesyncImpl::SetOutputOffset(std::int16_t lines, float microseconds) {
  if (lockMode_ == kLockToInput) {
    _SetOutputOffsetInputVideo(lines, microseconds);
  } else if (lockMode_ == kLockToFirstReference || lockMode_ == kLockToSecondReference) {
    _SetOutputOffsetRef(lines, microseconds);
  }
}

void FramesyncImpl::CheckAlignment(bool check) {
  if (lockMode_ == kLockToInput) {
    _CheckLockToInputAlignment(check);
  } else if (lockMode_ == kLockToFirstReference || lockMode_ == kLockToSecondReference) {
    _CheckLockToRefAlignment(check);
  }
}

std::string FramesyncImpl::CheckDelay(float& framesyncDelayMs) {
  const std::uint32_t bufCheck = ReadBitfield("readWriteBufCheck");
  const framesync::StoreDelay delay = framesync::MeasureStoreDelay(bufCheck, _Format(), numBufs_);
  LOG_DEBUG("write_line %u read_line %u line_delta %u write_buf %u read_buf %u buf_delta %u",
            delay.writeLine, delay.readLine, delay.lines, delay.writeBuffer, delay.readBuffer,
            delay.frames);
  if (delay.frames < 0) {
    LOG_WARNING("%s: Reader caught up to the Writer!, reg was 0x%08x", name_.c_str(), bufCheck);
  }
  framesyncDelayMs = delay.milliseconds;
  const float total = delay.milliseconds + externalDelayMs_;
  const auto storeMs = static_cast<double>(delay.milliseconds);
  LOG_DEBUG(
      "write_line %u read_line %u line_delta %u write_buf %u read_buf %u buf_delta %u "
      "time_delay_fs_only %f",
      delay.writeLine, delay.readLine, delay.lines, delay.writeBuffer, delay.readBuffer,
      delay.frames, storeMs);
  return FormatMessage("%.2f ms   Framesync: %.2f ms / %d frames %d lines",
                       static_cast<double>(total), storeMs, delay.frames, delay.lines);
}

bool FramesyncImpl::IsLockCompatible() {
  return lockCompatible_;
}

// The counters wrap: only their difference, taken around the circle, tells how far apart they are.
bool FramesyncImpl::IsOutputSettled() {
  const std::uint32_t in = ReadBitfield("vidInCeCounter");
  const std::uint32_t out = ReadBitfield("vidOutCeCounter");
  const auto difference = static_cast<std::int32_t>(in - out);
  if (difference >= 2 || difference <= -2) {
    settleCount_ = 0;
    return false;
  }
  if (settleCount_ >= kSettledReadings) {
    return true;
  }
  ++settleCount_;
  return false;
}

void FramesyncImpl::SetExternalDelay(float milliseconds) {
  externalDelayMs_ = milliseconds;
}

void FramesyncImpl::RegisterOutputResetCallback(std::function<void()> callback) {
  outputResetCallbacks_.push_back(std::move(callback));
}

void FramesyncImpl::ReadAndClearFrameCounters(std::uint32_t& dup, std::uint32_t& drop) {
  dup = ReadBitfield("dupFrameAcc");
  _Write({{"clrDupFrameCounter", 1}, {"clrDupFrameCounter", 0}});
  drop = ReadBitfield("dropFrameAcc");
  _Write({{"clrDropFrameCounter", 1}, {"clrDropFrameCounter", 0}});
}

void FramesyncImpl::_Write(std::initializer_list<FieldValue> writes) {
  for (const FieldValue& write : writes) {
    WriteBitfield(write.field, write.value);
  }
}

const VideoStandard& FramesyncImpl::_Format() const {
  return GetVideoStandard(currentStandard_);
}

void FramesyncImpl::_ApplyDelay() {
  WriteBitfield("frameDelay", std::min(numBufs_ - 1, delayFrames_));
}

void FramesyncImpl::_ResetOutput() {
  _Write({{"resetOutputRequest", 1}, {"resetOutputRequest", 0}});
  for (const std::function<void()>& callback : outputResetCallbacks_) {
    if (callback) {
      callback();
    }
  }
}

// A pair of which one is no standard leaves the decision of the last pair.
void FramesyncImpl::_SetupSkipPulses() {
  if (!IsKnownStandard(lockStandard_) || currentStandard_ == 0) {
    return;
  }
  const VideoStandard& lock = GetVideoStandard(lockStandard_);
  const framesync::FrameSkip skip = framesync::FrameSkipFor(_Format(), lock);
  lockCompatible_ = skip.compatible;
  frameIntervalFactor_ = skip.frameIntervalFactor;
  if (lockCompatible_) {
    _Write({{"videoSkipPulse", skip.videoSkipPulse}, {"refSkipPulse", skip.refSkipPulse}});
  }
  WriteBitfield("refIsP", lock.scanType == ScanType::kProgressive ? 1 : 0);
}

void FramesyncImpl::_SetOutputOffsetRef(std::int16_t lines, float microseconds) {
  _SetupSkipPulses();
  if (!lockCompatible_) {
    WriteBitfield("refDelay", 0);
    alignment_ = 0;
    return;
  }
  const VideoStandard& lock = GetVideoStandard(lockStandard_);
  const VideoStandard& format = _Format();
  const std::int64_t sync =
      framesync::ToOutputClock(framesync::ReferenceSyncOffset(lock), format, lock);
  _Align("refDelay", sync + framesync::StartOffset(format) - kAlignmentCorrection +
                         framesync::OffsetToSamples(format, lines, microseconds));
}

void FramesyncImpl::_SetOutputOffsetInputVideo(std::int16_t lines, float microseconds) {
  _SetupSkipPulses();
  if (!lockCompatible_) {
    WriteBitfield("startSampleNumber", 0);
    alignment_ = 0;
    return;
  }
  const VideoStandard& lock = GetVideoStandard(lockStandard_);
  const VideoStandard& format = _Format();
  LOG_INFO("Lock Video Format Is %s, FS Video Format Is %s", lock.name.c_str(),
           format.name.c_str());
  const std::int32_t lockSync = framesync::InputSyncOffset(lock);
  LOG_DEBUG("lockVideoFvToSyncLockVideoSampes is %d", lockSync);
  const std::int32_t sync = framesync::ToOutputClock(lockSync, format, lock);
  LOG_DEBUG("lockVideoFvToSyncFsVideoSamples is %d", sync);
  const std::int32_t start = framesync::StartOffset(format);
  LOG_DEBUG("videoSyncToStartSampleOffset is %d", start);
  const std::int32_t alignStart = start - kAlignmentCorrection + sync;
  LOG_DEBUG("lockToInputAlignStart is %d", alignStart);
  _Align("startSampleNumber", alignStart + framesync::OffsetToSamples(format, lines, microseconds));
}

// An alignment that was set already is left alone: a reset would disturb the picture.
void FramesyncImpl::_Align(FieldId field, std::int64_t samples) {
  const std::uint32_t alignment = _WrapToFrame(samples);
  if (alignment == alignment_) {
    return;
  }
  alignment_ = alignment;
  WriteBitfield(field, alignment_);
  _ResetOutput();
}

void FramesyncImpl::_CheckLockToRefAlignment(bool check) {
  if (!check || !lockCompatible_) {
    return;
  }
  const VideoStandard& format = _Format();
  const std::int64_t expected =
      std::int64_t{frameIntervalFactor_} * format.totalSamples * format.totalLines;
  const std::uint32_t interval = ReadBitfield("debugRefInterval");
  if (interval < expected - kIntervalTolerance || interval > expected + kIntervalTolerance) {
    LOG_INFO("Reference interval was %d, which is outside of the allowed range", interval);
  }
  // What is left of a report is a signed number.
  const std::uint32_t reported =
      _WrapToFrame(static_cast<std::int32_t>(ReadBitfield("refReportDelay") - kReportCorrection));
  if (_IsAlignmentOk(reported)) {
    LOG_DEBUG("Reference alignment is OK: alignment set to %d, reported is %d", alignment_,
              reported);
    return;
  }
  LOG_INFO("Reference alignment is off, resetting: alignment set to %d, reported is %d", alignment_,
           reported);
  _ResetOutput();
}

void FramesyncImpl::_CheckLockToInputAlignment(bool check) {
  if (!check || !lockCompatible_) {
    return;
  }
  const std::uint32_t reported =
      _WrapToFrame(static_cast<std::int32_t>(ReadBitfield("inputReportDelay") - kReportCorrection));
  if (_IsAlignmentOk(reported)) {
    LOG_DEBUG("Framesync %d: Lock to input alignment is OK: alignment set to %d, reported is %d",
              index_, alignment_, reported);
    return;
  }
  LOG_INFO(
      "Framesync %d: Lock to input alignment is off, resetting: alignment set to %d, reported is "
      "%d",
      index_, alignment_, reported);
  _ResetOutput();
}

std::uint32_t FramesyncImpl::_WrapToFrame(std::int64_t samples) const {
  return framesync::WrapToSpan(samples, framesync::AlignmentSpan(_Format()));
}

bool FramesyncImpl::_IsAlignmentOk(std::uint32_t reported) const {
  const VideoStandard& format = _Format();
  return framesync::IsAlignmentOk(reported, alignment_,
                                  std::uint32_t{format.totalSamples} * format.totalLines);
}
