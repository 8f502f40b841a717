#include "modules/AvSyncPattern.h"

#include <algorithm>
#include <array>

#include "log/Log.h"
#include "support/Saturate.h"

namespace av_sync {
namespace {

// Channel n is marked by the values above entry n - 1, up to the entry before it.
constexpr std::array<std::uint32_t, 16> kChannelThresholds{465, 435, 405, 375, 345, 315, 285, 255,
                                                           225, 195, 165, 135, 105, 75,  45,  15};
constexpr std::uint32_t kHighestValue = 495;

}  // namespace

std::uint32_t StripeWidthMinus1(const VideoStandard& standard) {
  return static_cast<std::uint32_t>(standard.activeSamples / 10 - 1);
}

std::uint32_t CycleFrames(std::uint16_t periodMs, float framesPerSecond) {
  const float framePeriod = 1000.0F / framesPerSecond;
  const float frames = 2.0F * static_cast<float>(periodMs) / framePeriod + 10.0F;
  return SaturateCast<std::uint32_t>(frames) & 0xFFFF;
}

std::optional<std::uint32_t> ChannelOf(std::uint32_t value) {
  const auto& thresholds = kChannelThresholds;
  const auto first = std::find_if(thresholds.begin(), thresholds.end(),
                                  [value](std::uint32_t threshold) { return threshold < value; });
  if (value > kHighestValue || first == thresholds.end()) {
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(first - thresholds.begin()) + 1;
}

float DelayMs(const Arrival& arrival, std::uint32_t totalLines, float framesPerSecond) {
  const auto lines = static_cast<std::int64_t>(arrival.line) - kFirstLine;
  const auto frames = static_cast<std::int64_t>(arrival.frame) - kFirstFrame;
  const auto delta = static_cast<float>(lines + frames * totalLines);
  const double linesPerFrame = static_cast<float>(totalLines);
  return static_cast<float>((1.0 / static_cast<double>(framesPerSecond)) / linesPerFrame *
                            static_cast<double>(delta) * 1000.0);
}

std::string Describe(const Arrival& arrival, std::uint32_t totalLines, float framesPerSecond) {
  const auto channel = totalLines != 0 ? ChannelOf(arrival.value) : std::nullopt;
  if (!channel) {
    return "Audio test pattern not detected";
  }
  const auto delay = static_cast<double>(DelayMs(arrival, totalLines, framesPerSecond));
  return FormatMessage("Test Pattern Channel: %u / Audio delay after video: %4.2f ms [%u %u]",
                       *channel, delay, arrival.frame, arrival.line);
}

}  // namespace av_sync
