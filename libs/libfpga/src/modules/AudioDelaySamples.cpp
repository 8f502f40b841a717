#include "modules/AudioDelaySamples.h"

#include <algorithm>

#include "support/Saturate.h"

namespace audio_delay {

std::uint32_t ToSamples(float ms) {
  const double samples = static_cast<double>(ms) * kSamplesPerMs;
  return std::max(SaturateCast<std::uint32_t>(samples), kMinSamples);
}

float ToMs(std::uint32_t samples) {
  return static_cast<float>(static_cast<double>(static_cast<float>(samples)) * 1000.0 /
                            audio_map::kSamplesPerSecond);
}

}  // namespace audio_delay
