#include "controls/AudioEmbedderDriverControl.h"

#include <cstdlib>

#include "video/Video.h"

namespace {

constexpr int kToleratedLines = 2;

}  // namespace

AudioEmbedderDriverControl::AudioEmbedderDriverControl(const std::string& name,
                                                       std::uint32_t baseAddress,
                                                       std::uint64_t index, std::uint64_t irq)
    : AudioEmbedder(name, baseAddress, index, irq) {
}

void AudioEmbedderDriverControl::GetDolbyEAlignment(std::size_t pair, float* advance,
                                                    float* retard) {
  if (GetPairTypes().at(pair) != AudioType::DolbyE || GetVideoStandard() == 0) {
    *advance = 0;
    *retard = 0;
    return;
  }
  AudioType type{};
  std::uint16_t line = 0;
  GetPairNonPcmInfo(pair, &type, &line);
  const VideoStandard& standard = ::GetVideoStandard(static_cast<int>(GetVideoStandard()));
  const int linesLate = int{line} - static_cast<int>(standard.GetAuxLines());
  if (std::abs(linesLate) <= kToleratedLines) {
    *advance = 0;
    return;
  }
  const float framePeriod = standard.GetFramePeriodMs();
  const float shift = static_cast<float>(std::abs(linesLate)) *
                      (framePeriod / static_cast<float>(standard.totalLines));
  *(linesLate < 0 ? retard : advance) = shift;
  *(linesLate < 0 ? advance : retard) = framePeriod - shift;
}
