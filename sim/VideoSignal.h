#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include "map/AudioMap.h"
#include "sim/AudioPair.h"
#include "video/VideoStandardTable.h"

namespace sim {

/// What is plugged into an input of the board.
struct VideoSignal {
  int standardId = 0;                                ///< a row of the standards table; 0: nothing
  std::optional<std::uint32_t> st352{};              ///< its SMPTE ST 352 payload ID, if it has one
  std::uint32_t crcErrorsPerSecond = 0;              ///< how damaged it arrives
  std::array<AudioPair, audio_map::kPairs> audio{};  ///< what is embedded in it; PCM in all pairs

  /// False for an id without a row, too.
  bool IsPresent() const { return &Standard() != &kVideoStandards.front().standard; }
  const VideoStandard& Standard() const { return FindVideoStandard(standardId); }

  friend bool operator==(const VideoSignal&, const VideoSignal&) = default;
};

/// An undamaged signal of a standard, with the standard's own payload ID.
inline VideoSignal SignalOf(int standardId) {
  return {.standardId = standardId, .st352 = FindVideoStandard(standardId).payloadId};
}

}  // namespace sim
