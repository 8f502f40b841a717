#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "video/VideoStandard.h"

/// The test pattern with which the board measures how far its audio lags its video. An
/// embedder starts it on a known line of a known frame of its cycle, and a de-embedder reports in
/// which line and frame of the cycle it arrived, and with which value: the value tells the channel.
namespace av_sync {

/// Where an embedder starts the pattern: line of the frame, frame of the cycle.
inline constexpr std::uint32_t kFirstLine = 30;
inline constexpr std::uint32_t kFirstFrame = 3;

/// What a de-embedder reports of one arrival.
struct Arrival {
  std::uint32_t line;   ///< of the frame
  std::uint32_t frame;  ///< of the pattern's cycle
  std::uint32_t value;  ///< what marks the channel
};

/// The stripe width as the cores take it, in samples less 1: a tenth of the active line. The row of
/// an unknown standard has less than one stripe and gives 0xFFFFFFFF, which no register takes.
std::uint32_t StripeWidthMinus1(const VideoStandard& standard);

/// Length of the pattern's cycle for a period in ms: the frames of two periods at so many frames
/// per second, and 10 more, in 16 bits.
std::uint32_t CycleFrames(std::uint16_t periodMs, float framesPerSecond);

/// The channel that a value marks, 1 to 16; none for a value that marks no channel: 15 or less, or
/// above 495.
std::optional<std::uint32_t> ChannelOf(std::uint32_t value);

/// How long the audio lags the video, in ms; negative if it leads. `totalLines` are
/// those of a frame, not 0, and `framesPerSecond` is not 0.
float DelayMs(const Arrival& arrival, std::uint32_t totalLines, float framesPerSecond);

/// One arrival in words. Before the first set-up with a standard (`totalLines` 0) there is no
/// pattern.
std::string Describe(const Arrival& arrival, std::uint32_t totalLines, float framesPerSecond);

}  // namespace av_sync
