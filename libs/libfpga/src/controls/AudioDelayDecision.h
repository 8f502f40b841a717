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

/// The shift that puts a pair's Dolby E frames on their line, in ms: `-advance` shortens the delay,
/// `retard` lengthens it, and either leads to the line, as they are a frame period apart. `current`
/// and `longest` are delays in ms.
///
/// Shortening fits if more than 1.34 ms are left, which is just above the line's shortest delay,
/// and lengthening if the delay stays below `longest`. Of two shifts that fit the smaller one wins,
/// or `retard` if they are equal; one that alone fits wins even if it is the larger one. If neither
/// fits the delay is shortened, below the shortest one too. `advance` and `retard` belong between 0
/// and the frame period, which is not checked.
float DolbyEShift(float current, float advance, float retard, std::uint32_t longest);

}  // namespace audio_delay
