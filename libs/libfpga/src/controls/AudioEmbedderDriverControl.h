#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

#include "modules/AudioEmbedder.h"

/// An embedder in the audio graph: it knows how far the bursts of a Dolby E pair sit from their
/// ideal line.
///
/// Threads: all operations belong to the one thread that drives the audio graph.
class AudioEmbedderDriverControl : public AudioEmbedder {
 public:
  /// As AudioEmbedder's.
  AudioEmbedderDriverControl(const std::string& name, std::uint32_t baseAddress,
                             std::uint64_t index, std::uint64_t irq);

  /// By how many ms the delay of a Dolby E pair has to change to bring its burst to the ideal line
  /// of the video standard: shorter by `*advance` or longer by `*retard`, which add up to a frame.
  /// Both are 0 for a pair of another type or without a standard. For a burst within two lines of
  /// the ideal one `*advance` is 0 and `*retard` is left alone. A pair of 8 or more throws
  /// std::out_of_range.
  void GetDolbyEAlignment(std::size_t pair, float* advance, float* retard);
};
