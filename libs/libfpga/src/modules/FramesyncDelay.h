#pragma once

#include <cstdint>

#include "video/Video.h"

/// How far the reader of a frame store runs behind its writer, from the core's word
/// `readWriteBufCheck`: bits 12 to 0 the line that is being written, bit 13 a flag that counts only
/// when that line is the reader's, bits 22 to 14 the buffer that is being written, bits 31 to 23
/// the one that is being read.
namespace framesync {

struct StoreDelay {
  std::uint32_t writeLine;
  std::uint32_t readLine;
  std::uint32_t writeBuffer;
  std::uint32_t readBuffer;
  std::int32_t frames;  ///< negative if the reader is further ahead than the ring is long
  std::int32_t lines;
  float milliseconds;
};

/// Evaluates one read of the word, for a ring of `numBufs` buffers that holds frames of `format`.
StoreDelay MeasureStoreDelay(std::uint32_t bufCheck, const VideoStandard& format,
                             std::uint32_t numBufs);

}  // namespace framesync
