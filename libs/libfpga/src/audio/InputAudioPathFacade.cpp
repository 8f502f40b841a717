#include "audio/InputAudioPathFacade.h"

#include <memory>
#include <utility>

#include "log/Log.h"
#include "map/AudioMap.h"
#include "map/ModuleMap.h"
#include "video/Video.h"

using module_map::ModuleId;
using module_map::OwnedModules;

InputAudioPathFacade::InputAudioPathFacade(const std::string& name, std::uint64_t index,
                                           std::uint32_t moduleStride)
    : InputAudioPathFacade(name, index,
                           OwnedModules(name, moduleStride, static_cast<std::uint32_t>(index))) {
}

InputAudioPathFacade::InputAudioPathFacade(const std::string& name, std::uint64_t index,
                                           const OwnedModules& modules)
    : controlName_(name + "_control"),
      index_(index),
      clockGenerator_(modules.Name(ModuleId::kInputClkGen), modules.Base(ModuleId::kInputClkGen),
                      modules.Index(ModuleId::kInputClkGen)),
      deembedder_(modules.Name(ModuleId::kDeembedder), modules.Base(ModuleId::kDeembedder),
                  modules.Index(ModuleId::kDeembedder), modules.Irq(ModuleId::kDeembedder)),
      mixer_(modules.Name(ModuleId::kInputMixer), modules.Base(ModuleId::kInputMixer),
             modules.Index(ModuleId::kInputMixer), audio_map::kInputMixerLinks,
             audio_map::kInputMixerLinks),
      delay_(modules.Name(ModuleId::kAudioDelay), modules.Base(ModuleId::kAudioDelay),
             modules.Base(ModuleId::kAudioDelaySrc), modules.Index(ModuleId::kAudioDelay),
             modules.Irq(ModuleId::kAudioDelaySrc)),
      peakMeters_(modules.Name(ModuleId::kInputPeakMeters),
                  modules.Base(ModuleId::kInputPeakMeters),
                  modules.Index(ModuleId::kInputPeakMeters),
                  modules.Irq(ModuleId::kInputPeakMeters), audio_map::kInputMixerLinks) {
  for (std::uint8_t channel = 0; channel < audio_map::kChannels; ++channel) {
    ChInfoPtr& info = deembeddedChInfo_[channel];
    info = std::make_shared<AudioChannelInfo>(AudioChannelInfo::AudioType::Pcm);
    info->SetChannel(channel);
    deembedder_.SetDestChInfo(channel, info);
    mixer_.SetSrcChInfo(0, channel, info);
  }
  for (std::uint8_t channel = 0; channel < audio_map::kChannels; ++channel) {
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
