#include "modules/FramesyncAlignment.h"

#include <array>

#include "support/Saturate.h"

namespace framesync {
namespace {

// The frame rates that share their skip values: those with and without the factor 1000/1001.
enum RateGroup : std::uint8_t { k24, k25, k30, k50, k60 };

constexpr RateGroup GroupOf(FrameRate rate) {
  switch (rate) {
    case FrameRate::k23_98:
    case FrameRate::k24:
      return k24;
    case FrameRate::k25:
      return k25;
    case FrameRate::k29_97:
    case FrameRate::k30:
      return k30;
    case FrameRate::k50:
      return k50;
    default:
      return k60;
  }
}

struct SkipRow {
  RateGroup format;
  RateGroup lock;
  std::uint8_t refSkipPulse;
  std::uint8_t videoSkipPulse;
};

// Every other pair of rates skips nothing.
// clang-format off
constexpr std::array<SkipRow, 8> kSkips{{
  // output lock  ref video
  {k24, k30,  4, 3},
  {k24, k60,  4, 1},
  {k25, k50,  1, 0},
  {k30, k24,  3, 4},
  {k30, k60,  1, 0},
  {k50, k25,  0, 1},
  {k60, k24,  1, 4},
  {k60, k30,  0, 1},
}};
// clang-format on

// Rates without the factor 1000/1001 among the multiples of 30 don't meet those of 25.
constexpr bool MultipleOf25(FrameRate rate) {
  return rate == FrameRate::k25 || rate == FrameRate::k50;
}
constexpr bool MultipleOf30(FrameRate rate) {
  return rate == FrameRate::k30 || rate == FrameRate::k60;
}

constexpr bool Compatible(const VideoStandard& format, const VideoStandard& lock) {
  return (format.fractional != 0) == (lock.fractional != 0) &&
         !(MultipleOf25(lock.frameRate) && MultipleOf30(format.frameRate)) &&
         !(MultipleOf30(lock.frameRate) && MultipleOf25(format.frameRate));
}

constexpr bool IsSd(const VideoStandard& format) {
  return format.sdiRate == SdiRate::k270M;
}

constexpr std::int32_t ActiveOffset(const VideoStandard& format) {
  return SaturateCast<std::int32_t>(format.activeOffset);
}

// The sample clocks: 27 MHz, 74.25 MHz, 148.5 MHz, and level B, which converts to nothing.
enum ClockClass : std::uint8_t { kSdClock, kHdClock, k3gClock, kLevelBClock, kClockClasses };

constexpr ClockClass ClockClassOf(std::int32_t rate) {
  switch (rate) {
    case 0:
      return kSdClock;
    case 1:
    case 4:
      return kHdClock;
    case 2:
    case 5:
      return k3gClock;
    default:
      return kLevelBClock;
  }
}

struct Ratio {
  double integer;
  double fractional;
};

// clang-format off
constexpr std::array<std::array<Ratio, kClockClasses>, kClockClasses> kClockRatios{{
  // lock \ output
  {{{1.0, 1.0},                                 {2.75, 2.7472222222222222}, {5.5, 5.4944444444444445}, {1.0, 1.0}}},
  {{{0.36363636363636365, 0.3640040444893832},  {1.0, 1.0},                 {2.0, 2.0},                {1.0, 1.0}}},
  {{{0.18181818181818182, 0.1820020222446916},  {0.5, 0.5},                 {1.0, 1.0},                {1.0, 1.0}}},
  {{{1.0, 1.0},                                 {1.0, 1.0},                 {1.0, 1.0},                {1.0, 1.0}}},
}};
// clang-format on

}  // namespace

FrameSkip FrameSkipFor(const VideoStandard& format, const VideoStandard& lock) {
  FrameSkip skip{Compatible(format, lock), 0, 0, 1};
  for (const SkipRow& row : kSkips) {
    if (row.format == GroupOf(format.frameRate) && row.lock == GroupOf(lock.frameRate)) {
      skip.videoSkipPulse = row.videoSkipPulse;
      skip.refSkipPulse = row.refSkipPulse;
    }
  }
  skip.frameIntervalFactor = static_cast<std::uint16_t>(skip.videoSkipPulse + 1);
  return skip;
}

double ClockRatio(std::int32_t formatRate, bool formatFractional, std::int32_t lockRate) {
  const Ratio& ratio = kClockRatios[ClockClassOf(lockRate)][ClockClassOf(formatRate)];
  return formatFractional ? ratio.fractional : ratio.integer;
}

std::int32_t StartOffset(const VideoStandard& format) {
  // Lines are counted from 1, in 525-line rasters from 4 (SMPTE ST 125).
  const bool is525 = IsSd(format) && format.frameRate == FrameRate::k29_97;
  const std::int32_t firstLine = is525 ? 4 : 1;
  const std::int32_t perSample = IsSd(format) ? 2 : 1;  // luma and chroma words share one stream
  const std::int32_t lineSamples = perSample * format.totalSamples;
  return perSample * ActiveOffset(format) + (format.switchLine1 - firstLine) * lineSamples;
}

std::int32_t ReferenceSyncOffset(const VideoStandard& lock) {
  if (lock.scanType == ScanType::kProgressive) {
    return -lock.totalSamples;
  }
  if (!IsSd(lock)) {
    return -(lock.totalSamples / 2);
  }
  return ActiveOffset(lock) - (lock.totalSamples - lock.activeSamples) - lock.totalSamples;
}

std::int32_t InputSyncOffset(const VideoStandard& lock) {
  if (IsSd(lock)) {
    return 0;
  }
  return (1 - lock.switchLine1) * lock.totalSamples - ActiveOffset(lock);
}

std::int32_t ToOutputClock(std::int32_t lockSamples, const VideoStandard& format,
                           const VideoStandard& lock) {
  const double ratio = ClockRatio(static_cast<std::int32_t>(format.sdiRate), format.fractional != 0,
                                  static_cast<std::int32_t>(lock.sdiRate));
  return SaturateCast<std::int32_t>(lockSamples * ratio);
}

std::int64_t OffsetToSamples(const VideoStandard& format, std::int16_t lines, float microseconds) {
  const auto frame = static_cast<float>(format.totalSamples * format.totalLines);
  const float samples = frame * format.GetFrameRate() * microseconds / 1000000.0F;
  return std::int64_t{SaturateCast<std::int32_t>(samples)} +
         std::int64_t{lines} * format.totalSamples;
}

std::uint32_t AlignmentSpan(const VideoStandard& format) {
  const std::uint32_t frame = std::uint32_t{format.totalSamples} * format.totalLines;
  return IsSd(format) ? 2 * frame : frame;
}

std::uint32_t WrapToSpan(std::int64_t samples, std::uint32_t span) {
  if (samples >= 0 && samples <= span) {
    return static_cast<std::uint32_t>(samples);
  }
  const std::int64_t rest = samples % span;
  if (samples < 0) {
    return static_cast<std::uint32_t>(rest < 0 ? rest + span : 0);
  }
  return rest == 0 ? span : static_cast<std::uint32_t>(rest);
}

bool IsAlignmentOk(std::uint32_t reported, std::uint32_t alignment, std::uint32_t frameSamples) {
  constexpr std::int64_t kTolerance = 15;
  const std::int64_t report = reported;
  const std::int64_t wanted = alignment;
  const std::int64_t frame = frameSamples;
  if (wanted >= frame - kTolerance) {
    return report >= wanted - kTolerance || report <= wanted + kTolerance - frame;
  }
  if (wanted > kTolerance) {
    return report >= wanted - kTolerance && report <= wanted + kTolerance;
  }
  return report <= wanted + kTolerance || report >= wanted - kTolerance + frame;
}

}  // namespace framesync
