#include "modules/FramesyncGeometry.h"

namespace framesync {
namespace {

// The core can't handle a burst of one or two words: such a rest is folded into the burst before.
constexpr std::uint32_t kShortestBurst = 3;

}  // namespace

std::uint32_t SamplesPerWord(std::uint32_t streams) {
  switch (streams) {
    case 1:
    case 2:
      return 25;
    case 4:
      return 12;
    case 8:
      return 6;
    default:
      return 0;
  }
}

std::uint32_t SamplesToStore(const VideoStandard& format) {
  const std::uint32_t lines = format.totalLines;
  const std::uint32_t frame = format.totalSamples * lines;
  if (format.scanType == ScanType::kProgressive) {
    return frame - 8 * lines - format.activeSamples;
  }
  const std::uint32_t timingReference = format.sdiRate == SdiRate::k270M ? 4 : 8;
  return frame - timingReference * lines - 2U * format.activeSamples;
}

BurstLayout LayOutBursts(std::uint32_t words) {
  const std::uint32_t whole = words / kBurstWords;
  const std::uint32_t rest = words % kBurstWords;
  if (rest == 0) {
    return {whole, kBurstWords, words};
  }
  const std::uint32_t imageSize = (whole + 1) * kBurstWords;
  if (rest < kShortestBurst) {
    return {whole, kBurstWords + rest, imageSize};
  }
  return {whole + 1, rest, imageSize};
}

FrameGeometry GeometryOf(const VideoStandard& format) {
  const std::uint32_t samples = SamplesToStore(format);
  const std::uint32_t perWord = SamplesPerWord(format.GetNumStreams());
  const std::uint32_t words = perWord == 0 ? 1 : samples / perWord + (samples % perWord != 0);
  return {samples, words, LayOutBursts(words)};
}

std::optional<std::uint32_t> PackModeOf(std::uint32_t streams) {
  switch (streams) {
    case 1:
    case 2:
      return 0;
    case 4:
      return 1;
    case 8:
      return 2;
    default:
      return std::nullopt;
  }
}

}  // namespace framesync
