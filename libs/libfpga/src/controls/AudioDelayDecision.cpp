#include "controls/AudioDelayDecision.h"

#include <cstdlib>

namespace audio_delay {
namespace {

constexpr std::int64_t kTolerance = 10;       // samples
constexpr std::int64_t kMostAdjusted = 2000;  // samples

// Samples in which the converter gains or loses one.
constexpr std::int64_t kGrowRatio = 1065;
constexpr std::int64_t kShrinkRatio = 1019;

// Just above the shortest delay of a channel, 64 samples.
constexpr double kShortestMs = 1.34;

}  // namespace

DriftCorrection CorrectDrift(int delta) {
  using enum DriftCorrection::Action;
  const std::int64_t distance = std::abs(std::int64_t{delta});
  if (distance > kMostAdjusted) {
    return {.action = kRestart};
  }
  if (distance <= kTolerance) {
    return {.action = kNone};
  }
  const bool grow = delta > 0;
  const std::int64_t samples = distance * (grow ? kGrowRatio : kShrinkRatio);
  return {.action = kAdjust, .grow = grow, .samples = static_cast<std::uint32_t>(samples)};
}

float DolbyEShift(float current, float advance, float retard, std::uint32_t longest) {
  const bool canShorten = static_cast<double>(current - advance) > kShortestMs;
  if (canShorten && advance < retard) {
    return -advance;
  }
  const bool canLengthen = current + retard < static_cast<float>(longest);
  return canLengthen ? retard : -advance;
}

}  // namespace audio_delay
