#include "controls/AudioDelayDriverControl.h"

#include <algorithm>
#include <stdexcept>
#include <utility>

#include "controls/AudioDelayDecision.h"
#include "log/Log.h"

namespace {

using AudioType = AudioChannelInfo::AudioType;

constexpr std::uint8_t PartnerOf(std::uint8_t channel) {
  return channel ^ 1U;
}

}  // namespace

AudioDelayDriverControl::AudioDelayDriverControl(const std::string& name, std::uint32_t delayBase,
                                                 std::uint32_t srcBase, std::uint64_t index,
                                                 std::uint64_t srcIrq)
    : name_(name + "_driver_control"),
      index_(index),
      delay_(name, delayBase, index),
      converter_(name + "_src", srcBase, index, srcIrq) {
}

void AudioDelayDriverControl::SetSrcChInfo(std::uint8_t channel, ChInfoPtr info) {
  if (channel >= kChannels) {
    LOG_WARNING("Channel index is out of range");
    return;
  }
  if (info != nullptr) {
    info->AddCallback([this, channel] { UpdateAudioChannelChange(channel); }, nullptr);
  }
  sources_[channel] = std::move(info);
}

void AudioDelayDriverControl::SetDestChInfo(std::uint8_t channel, ChInfoPtr info) {
  if (channel >= kChannels) {
    LOG_WARNING("Channel index is out of range");
    return;
  }
  destinations_[channel] = std::move(info);
}

void AudioDelayDriverControl::SetChannelDelay(std::uint8_t channel, float ms) {
  if (channel >= kChannels) {
    LOG_WARNING("Trying to set the delay for an invalid channel number");
    return;
  }
  _SetOwnDelay(channel, ms);
  if (_PairTypeOf(channel) != AudioType::Pcm) {
    _SetOwnDelay(PartnerOf(channel), ms);
  }
}

void AudioDelayDriverControl::_SetOwnDelay(std::uint8_t channel, float ms) {
  channelDelays_.at(channel) = ms;
  delay_.SetChannelDelay(channel, _DelayOf(channel));
  delay_.RestartChannel(channel);
}

void AudioDelayDriverControl::SetGlobalDelay(float ms) {
  globalDelay_ = ms;
  for (std::uint8_t channel = 0; channel < kChannels; ++channel) {
    delay_.SetChannelDelay(channel, _DelayOf(channel));
  }
  delay_.RestartAllChannels();
}

void AudioDelayDriverControl::RestartAllWithDelays() {
  for (std::uint8_t channel = 0; channel < kChannels; ++channel) {
    delay_.SetChannelDelay(channel, _DelayOf(channel));
    delay_.RestartChannel(channel);
  }
}

// The first channel of a pair that turns from PCM to data changes nothing yet; the second one does.
void AudioDelayDriverControl::UpdateAudioChannelChange(std::uint8_t channel) {
  if (channel >= kChannels) {
    throw std::out_of_range("the delay line has no such channel");
  }
  const std::uint8_t partner = PartnerOf(channel);
  if (sources_[channel] == nullptr || sources_[partner] == nullptr) {
    LOG_WARNING(
        "Trying to check channel info for unassigned channels. This shouldn't happen something "
        "went wrong!");
    return;
  }
  const bool partnerIsPcm = sources_[partner]->GetAudioType() == AudioType::Pcm;
  const AudioType type = partnerIsPcm ? AudioType::Pcm : sources_[channel]->GetAudioType();
  if (_PairTypeOf(channel) == type) {
    return;
  }
  pairTypes_.at(channel / 2) = type;
  delay_.SetPairViaNonSrc(channel / 2, type != AudioType::Pcm);
  _MoveOutputs(LOG_ORIGIN, channel, partner, type);
  dolbyEOffsets_[channel] = 0;
  dolbyEOffsets_[partner] = 0;
  delay_.SetChannelDelay(channel, _DelayOf(channel));
  delay_.SetChannelDelay(partner, _DelayOf(partner));
  delay_.RestartChannel(channel);
  delay_.RestartChannel(partner);
}

// What follows in the graph learns the type before the link.
void AudioDelayDriverControl::_MoveOutputs(const LogOrigin& change, std::uint8_t channel,
                                           std::uint8_t partner, AudioType type) {
  const ChInfoPtr& output = destinations_[channel];
  const ChInfoPtr& partnerOutput = destinations_[partner];
  if (output == nullptr || partnerOutput == nullptr) {
    return;
  }
  output->SetAudioType(type);
  partnerOutput->SetAudioType(type);
  const bool bypass = type != AudioType::Pcm;
  for (const std::uint8_t moved : {channel, partner}) {
    LOG_INFO_FROM(change, "Setting Output Mixer Source [0][%d] to [%d][%d]", moved, bypass ? 1 : 0,
                  moved);
  }
  const auto link = bypass ? audio_map::BypassLinkOf(index_) : static_cast<std::uint8_t>(index_);
  output->SetLink(link);
  partnerOutput->SetLink(link);
}

void AudioDelayDriverControl::UpdateDolbyEAlignment(std::uint8_t pair, float advance,
                                                    float retard) {
  if (pair >= pairTypes_.size()) {
    LOG_WARNING("Trying to adjust dolby E alignment of invalid channel");
    return;
  }
  if (pairTypes_[pair] == AudioType::Pcm) {
    LOG_WARNING("Trying to adjust dolby E alignment on invalid channel type");
  }
  const auto first = static_cast<std::uint8_t>(2 * pair);
  const std::uint8_t second = PartnerOf(first);
  const float current = dolbyEOffsets_[first] + channelDelays_[first] + globalDelay_;
  const float shift = audio_delay::DolbyEShift(current, advance, retard, delay_.GetChunkCount());
  dolbyEOffsets_[first] += shift;
  dolbyEOffsets_[second] = dolbyEOffsets_[first];
  delay_.SetChannelDelay(first, current + shift);
  delay_.SetChannelDelay(second, current + shift);
  delay_.RestartChannel(first);
  delay_.RestartChannel(second);
}

// One PCM pair stands for all: they all pass the same converter. Without one there is no drift.
int AudioDelayDriverControl::_MeasureDrift() {
  const auto pcm = std::find(pairTypes_.begin(), pairTypes_.end(), AudioType::Pcm);
  if (pcm == pairTypes_.end()) {
    return 0;
  }
  const auto channel = static_cast<std::uint8_t>(2 * (pcm - pairTypes_.begin()));
  return delay_.GetSampleDelta(channel, _DelayOf(channel));
}

void AudioDelayDriverControl::SrcHandleIrq() {
  using enum audio_delay::DriftCorrection::Action;
  if (!converter_.HandleIrq() || converter_.IsAdjusting()) {
    return;
  }
  const int delta = _MeasureDrift();
  LOG_DEBUG("Sample Delta is %d", delta);
  const audio_delay::DriftCorrection correction = audio_delay::CorrectDrift(delta);
  switch (correction.action) {
    case kNone:
      return;
    case kAdjust:
      LOG_DEBUG("Growing or Shrinking Delay");
      converter_.ApplyAdjustment(correction.grow ? 1 : 0, correction.samples);
      return;
    case kRestart:
      LOG_DEBUG("Resetting All Channels");
      RestartAllWithDelays();
      return;
  }
}
