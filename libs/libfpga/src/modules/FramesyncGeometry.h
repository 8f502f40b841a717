#pragma once

#include <cstdint>
#include <optional>

#include "video/Video.h"

/// How the frames of a format lie in the frame memory of a frame synchroniser: pure arithmetic in
/// unsigned 32 bits. A memory word holds a whole number of samples; memory is accessed in bursts of
/// 256 words.
namespace framesync {

inline constexpr std::uint32_t kBurstWords = 256;

/// How many bursts a frame takes, and what memory is set aside for it.
struct BurstLayout {
  std::uint32_t bursts;     ///< number of bursts, the last one included
  std::uint32_t lastBurst;  ///< length of the last burst, 3 to 258 words from 3 words on
  std::uint32_t imageSize;  ///< words from one frame buffer to the next, whole bursts

  friend bool operator==(const BurstLayout&, const BurstLayout&) = default;
};

/// One frame in memory.
struct FrameGeometry {
  std::uint32_t samples;  ///< samples to store
  std::uint32_t words;    ///< memory words that they fill
  BurstLayout layout;

  friend bool operator==(const FrameGeometry&, const FrameGeometry&) = default;
};

/// Samples in one memory word, by the number of data streams over all links; 0 for a number of
/// streams that the core doesn't store.
std::uint32_t SamplesPerWord(std::uint32_t streams);

/// Samples of a frame that are stored: without the timing references, and without the active part
/// of one line of each field.
std::uint32_t SamplesToStore(const VideoStandard& format);

/// Cuts a frame of so many words into bursts.
BurstLayout LayOutBursts(std::uint32_t words);

/// The geometry of a format, the same for writing and reading.
FrameGeometry GeometryOf(const VideoStandard& format);

/// The core's `packMode` for a number of data streams; none for a number that it doesn't store.
std::optional<std::uint32_t> PackModeOf(std::uint32_t streams);

}  // namespace framesync
