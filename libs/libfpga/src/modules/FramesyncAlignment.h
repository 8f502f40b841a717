#pragma once

#include <cstdint>

#include "video/Video.h"

/// The arithmetic by which a frame synchroniser's output is aligned to what it locks to: pure
/// functions on rows of the standards table. `format` is the standard of the output, `lock` the one
/// that it locks to. An alignment counts samples of the output's own clock, around its frame.
namespace framesync {

/// How the frames of an output and of its lock signal fall together.
struct FrameSkip {
  bool compatible;                    ///< false: the output can't follow this lock signal
  std::uint32_t videoSkipPulse;       ///< output frame pulses to skip between two used ones
  std::uint32_t refSkipPulse;         ///< the same for the lock signal's pulses
  std::uint16_t frameIntervalFactor;  ///< output frames from one used pulse to the next

  friend bool operator==(const FrameSkip&, const FrameSkip&) = default;
};

/// The skip values for a pair of standards. They are worked out for incompatible pairs as well.
FrameSkip FrameSkipFor(const VideoStandard& format, const VideoStandard& lock);

/// Samples of the output's clock to one sample of the lock signal's clock, by the rates of one link
/// (`SdiRate`). `formatFractional` picks the value for an output at a rate with the factor
/// 1000/1001. A pair of rates without an entry counts as 1.
double ClockRatio(std::int32_t formatRate, bool formatFractional, std::int32_t lockRate);

/// Samples from the output's sync to the first sample that the core starts a frame with.
std::int32_t StartOffset(const VideoStandard& format);

/// Where the lock signal's sync lies when the output locks to a reference, in samples of the lock
/// signal's clock.
std::int32_t ReferenceSyncOffset(const VideoStandard& lock);

/// The same when the output locks to an input.
std::int32_t InputSyncOffset(const VideoStandard& lock);

/// Converts an offset from the lock signal's clock to the output's: towards zero, saturating.
std::int32_t ToOutputClock(std::int32_t lockSamples, const VideoStandard& format,
                           const VideoStandard& lock);

/// An operator's offset of so many lines and microseconds in samples. The microseconds are
/// converted in single precision, towards zero, and saturate.
std::int64_t OffsetToSamples(const VideoStandard& format, std::int16_t lines, float microseconds);

/// Samples of the span in which alignments are counted: one frame, two at 270 Mbps.
std::uint32_t AlignmentSpan(const VideoStandard& format);

/// Brings a sample count into the span by whole spans: 0 up to and including the span itself.
std::uint32_t WrapToSpan(std::int64_t samples, std::uint32_t span);

/// True if the reported alignment lies within 15 samples of the one that was set, counted around a
/// frame of `frameSamples`. At 270 Mbps, whose span is two frames, a report that is later than that
/// counts as well for an alignment in the second of them, and one in the second for an alignment at
/// the very start.
bool IsAlignmentOk(std::uint32_t reported, std::uint32_t alignment, std::uint32_t frameSamples);

}  // namespace framesync
