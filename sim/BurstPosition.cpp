#include "sim/BurstPosition.h"

#include <cmath>

#include "map/AudioMap.h"
#include "map/AudioMixerRegs.h"
#include "sim/Fpga.h"

namespace sim {
namespace {

using audio_mixer_regs::kChannels;
using audio_mixer_regs::kCoeffs;
using audio_mixer_regs::kGainBits;
using audio_mixer_regs::kGainMask;

constexpr std::uint32_t kUnity = 0x10000;

// The source that an output channel passes through untouched, as link * 16 + channel.
std::optional<std::uint32_t> SourceOf(const AudioMixerModel& mixer, std::uint32_t outputChannel) {
  const std::uint64_t word = mixer.AudibleCoeff(std::size_t{outputChannel} * kCoeffs);
  if ((word & kGainMask) != kUnity) {
    return std::nullopt;
  }
  return static_cast<std::uint32_t>(word >> kGainBits);
}

}  // namespace

std::optional<std::uint32_t> BurstLineAt(const Fpga& fpga, std::uint32_t output,
                                         std::uint32_t pair) {
  const auto mixed = SourceOf(fpga.mainMixer, output * kChannels + 2 * pair);
  if (!mixed || !audio_map::IsBypassLink(*mixed / kChannels)) {
    return std::nullopt;
  }
  const std::uint32_t input = *mixed / kChannels - audio_map::kFirstBypassLink;
  const std::uint32_t channel = *mixed % kChannels;
  const auto embedded = SourceOf(*fpga.inputMixer.at(input), channel);
  const VideoSignal signal = fpga.sdiRx.at(input)->Plugged();
  if (!embedded || *embedded >= kChannels || !signal.IsPresent()) {
    return std::nullopt;
  }
  const AudioPair& audio = signal.audio.at(*embedded / 2);
  if (!audio.present || audio.line == 0) {
    return std::nullopt;
  }
  const VideoStandard& standard = signal.Standard();
  const float delayMs =
      static_cast<float>(fpga.audioDelay.at(input)->DelayOf(channel)) / audio_map::kSamplesPerMs;
  const float lines =
      delayMs / standard.GetFramePeriodMs() * static_cast<float>(standard.totalLines);
  const auto later = static_cast<std::uint64_t>(std::lround(lines));
  return static_cast<std::uint32_t>((audio.line - 1 + later) % standard.totalLines) + 1;
}

}  // namespace sim
