#pragma once

#include <cstdint>

namespace sim {

/// What one pair of audio channels carries: what can be plugged into a pair of an SDI signal or
/// into an AES3 line.
struct AudioPair {
  /// Whether the pair is there at all: embedded in the SDI signal, or a locked AES3 line.
  bool present = true;
  /// The 5-bit data type of the bursts (SMPTE ST 337 and ST 338), where `line` is not 0.
  std::uint32_t burstType = 0;
  /// The video line in which the bursts start; 0 for PCM. An AES3 line shows only whether it is 0.
  std::uint32_t line = 0;

  friend bool operator==(const AudioPair&, const AudioPair&) = default;
};

}  // namespace sim
