#include "audio/InputAudioPathFacade.h"

#include <memory>
#include <utility>

#include "log/Log.h"
#include "modules/AddressMap.h"
#include "video/Video.h"

namespace {

// The input's own module among those of one kind.
std::uint32_t ModuleOf(std::uint32_t firstModule, std::uint64_t index) {
  return firstModule + static_cast<std::uint32_t>(index);
}

}  // namespace

InputAudioPathFacade::InputAudioPathFacade(const std::string& name, std::uint64_t index,
                                           std::uint32_t moduleStride)
    : controlName_(name + "_control"),
      index_(index),
      clockGenerator_(name + "_clk_gen", moduleStride * ModuleOf(address_map::kInputClkGen, index),
                      0),
      deembedder_(name + "_deemb", moduleStride * ModuleOf(address_map::kDeembedder, index), 0,
                  ModuleOf(address_map::kDeembedder, index)),
      mixer_(name + "_mixer", moduleStride * ModuleOf(address_map::kInputMixer, index), index,
             1 /* source link */, 1 /* destination link */),
      delay_(name + "_audio_delay", moduleStride * ModuleOf(address_map::kAudioDelay, index),
             moduleStride * ModuleOf(address_map::kAudioDelaySrc, index), index,
             ModuleOf(address_map::kAudioDelaySrc, index)),
      peakMeters_(name + "_peak_meters",
                  moduleStride * ModuleOf(address_map::kInputPeakMeters, index), index,
                  ModuleOf(address_map::kInputPeakMeters, index), 1 /* link */) {
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    ChInfoPtr& info = deembeddedChInfo_[channel];
    info = std::make_shared<AudioChannelInfo>(AudioChannelInfo::AudioType::Pcm);
    info->SetChannel(channel);
    deembedder_.SetDestChInfo(channel, info);
    mixer_.SetSrcChInfo(0, channel, info);
  }
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    ChInfoPtr& info = delayChInfo_[channel];
    info = std::make_shared<AudioChannelInfo>(AudioChannelInfo::AudioType::Pcm);
    info->SetChannel(channel);
    delay_.SetSrcChInfo(channel, info);
    mixer_.SetDestChInfo(0, channel, info);
  }
}

void InputAudioPathFacade::Initialize() {
  ResetAndRelease();
  LOG_INFO("INPUT AUDIO PATH INITIALIZE");
  mixer_.Initialize();
  GetDelay().Initialize();
  peakMeters_.Initialize();
  GetDelay().HoldInReset();
  GetDelaySrc().HoldInReset();
}

void InputAudioPathFacade::HoldInReset() {
  LOG_DEBUG("Resetting %s", controlName_.c_str());
  mixer_.HoldInReset();
  deembedder_.HoldInReset();
  clockGenerator_.HoldInReset();
  GetDelay().HoldInReset();
  GetDelaySrc().HoldInReset();
  peakMeters_.HoldInReset();
}

void InputAudioPathFacade::ReleaseFromReset() {
  clockGenerator_.ReleaseFromReset();
  mixer_.ReleaseFromReset();
  deembedder_.ReleaseFromReset();
  GetDelay().Setup();
  GetDelaySrc().Setup();
  peakMeters_.ReleaseFromReset();
}

void InputAudioPathFacade::ResetAndRelease() {
  HoldInReset();
  ReleaseFromReset();
}

void InputAudioPathFacade::HandleInputVideoTypeChange(std::uint32_t link,
                                                      std::uint32_t videoStandard) {
  LOG_INFO("%s link %u is now \"%s\"", controlName_.c_str(), link,
           GetVideoStandard(static_cast<int>(videoStandard)).name.c_str());
  const std::uint32_t known = IsKnownStandard(static_cast<int>(videoStandard)) ? videoStandard : 0;
  if (known == videoStandard_) {
    return;
  }
  videoStandard_ = known;
  HoldInReset();
  deembedder_.Setup(known);
  if (known == 0) {
    return;
  }
  GetDelay().Setup();
  GetDelaySrc().Setup();
  ReleaseFromReset();
}

void InputAudioPathFacade::SetAudioDelayDestChInfo(std::uint8_t channel, ChInfoPtr info) {
  delay_.SetDestChInfo(channel, std::move(info));
}
