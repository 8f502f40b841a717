#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "map/AudioMap.h"

/// The arithmetic of an audio delay line: milliseconds and samples, the ring in memory and the
/// pointers in it.
namespace audio_delay {

using audio_map::kSamplesPerMs;

/// Memory of a chunk, the samples of one millisecond: 4 bytes for each of the channels.
inline constexpr std::uint32_t kChunkBytes = kSamplesPerMs * audio_map::kChannels * 4;

/// The shortest delay of a channel, in samples: 1.333 ms.
inline constexpr std::uint32_t kMinSamples = 64;

/// The samples of a delay, cut to whole ones and at least kMinSamples. A delay beyond 32 bits of
/// samples gives the most that they hold.
std::uint32_t ToSamples(float ms);

/// The delay of so many samples, in ms.
float ToMs(std::uint32_t samples);

/// The whole chunks in so many bytes: the longest delay, in ms.
constexpr std::uint32_t ChunksIn(std::uint32_t bytes) {
  return bytes / kChunkBytes;
}

/// The size of a ring of so many chunks, in samples, minus 1: the highest position in it. It wraps
/// to 0xFFFFFFFF without a chunk.
constexpr std::uint32_t LastPosition(std::uint32_t chunks) {
  return chunks * kSamplesPerMs - 1;
}

/// How far the read pointer lags the write pointer, in samples. A write pointer below the read
/// pointer has wrapped around the ring, and counts as `lastPosition` further on. That is one less
/// than the ring has samples: across its end a delay is measured one sample short.
constexpr std::uint32_t SamplesBetween(std::uint32_t readPointer, std::uint32_t writePointer,
                                       std::uint32_t lastPosition) {
  const std::uint32_t wrapped = writePointer < readPointer ? lastPosition : 0;
  return writePointer + wrapped - readPointer;
}

/// The samples that a measured delay lacks to the wanted one; negative if it is too long. What an
/// int doesn't hold gives its nearest end.
constexpr int SampleDelta(std::uint32_t wanted, std::uint32_t measured) {
  using Limits = std::numeric_limits<int>;
  const std::int64_t delta = std::int64_t{wanted} - std::int64_t{measured};
  return static_cast<int>(std::clamp<std::int64_t>(delta, Limits::min(), Limits::max()));
}

}  // namespace audio_delay
