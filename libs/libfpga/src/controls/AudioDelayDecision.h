#pragma once

#include <cstdint>

/// What the control of a delay line decides: how drift is corrected, and which way a Dolby E frame
/// is moved.
namespace audio_delay {

/// What is done about a delay that is off by some samples.
struct DriftCorrection {
  enum class Action : std::uint8_t {
    kNone,     ///< close enough
    kAdjust,   ///< the sample-rate converter grows or shrinks the delay
    kRestart,  ///< too far off: all channels are restarted with their delays
  };

  Action action = Action::kNone;
  // For kAdjust alone.
  bool grow = false;          ///< to the longer delay
  std::uint32_t samples = 0;  ///< over which the converter spreads the adjustment, at 48 kHz

  friend bool operator==(const DriftCorrection&, const DriftCorrection&) = default;
};

/// The correction of a delay that lacks `delta` samples; negative if it is too long.
DriftCorrection CorrectDrift(int delta);

/// The shift that puts a pair's Dolby E frames on their line, in ms: `-advance` or `retard`, which
/// both do. The smaller one wins, unless the delay would get too short for the line or, the other
/// way, reach `longest`. `current` and `longest` are delays in ms.
float DolbyEShift(float current, float advance, float retard, std::uint32_t longest);

}  // namespace audio_delay
