#include "audio/AudioPathFacadeImpl.h"

#include <algorithm>
#include <utility>

#include "log/Log.h"
#include "map/ModuleMap.h"
#include "support/DestroyFrontToBack.h"

namespace {

using audio_map::kAesLink;
using audio_map::kAesSourceLink;
using audio_map::kChannels;
using audio_map::kDestLinks;
using audio_map::kFirstMadiLink;
using audio_map::kSourceLinks;
using module_map::kPaths;
using module_map::Module;
using module_map::ModuleId;
using module_map::ModuleOf;
using module_map::OwnedModules;

// Of the AES lines that are switched at once.
constexpr std::uint8_t kAesGroupChannels = kChannels / 2;

// The input whose pairs on this source link bypass its converter; kPaths if it is no such link.
std::uint32_t InputOfBypass(int link) {
  const auto source = static_cast<std::uint32_t>(link);
  return audio_map::IsBypassLink(source) ? source - audio_map::kFirstBypassLink : kPaths;
}

template <typename... Arguments>
void CallEach(const std::vector<std::function<void(Arguments...)>>& callbacks,
              const Arguments&... arguments) {
  for (const auto& callback : callbacks) {
    if (callback) {
      callback(arguments...);
    }
  }
}

ChInfoPtr MakeChInfo(std::uint8_t link, std::uint8_t channel) {
  auto info = std::make_shared<AudioChannelInfo>(AudioChannelInfo::AudioType::Pcm);
  info->SetLink(link);
  info->SetChannel(channel);
  return info;
}

}  // namespace

AudioPathFacadeImpl::AudioPathFacadeImpl(const std::string& name, std::uint32_t baseAddress,
                                         std::uint64_t index, std::uint32_t moduleStride,
                                         std::uint64_t irq)
    : AudioPathFacadeImpl(name, baseAddress, index, moduleStride, irq,
                          OwnedModules(name, moduleStride)) {
}

AudioPathFacadeImpl::AudioPathFacadeImpl(const std::string& name, std::uint32_t baseAddress,
                                         std::uint64_t index, std::uint32_t moduleStride,
                                         std::uint64_t irq, const OwnedModules& modules)
    : RegisterBlock(name, baseAddress),
      mixer_(modules.Name(ModuleId::kMainMixer), modules.Base(ModuleId::kMainMixer),
             modules.Index(ModuleId::kMainMixer), kSourceLinks, kDestLinks),
      controlName_(name + "_control"),
      index_(index),
      irq_(irq),
      outputClockGenerator_(
          modules.Name(ModuleId::kOutputClkGen), modules.Base(ModuleId::kOutputClkGen),
          modules.Index(ModuleId::kOutputClkGen), modules.Irq(ModuleId::kOutputClkGen)),
      aesRx_(modules.Name(ModuleId::kAesRx), modules.Base(ModuleId::kAesRx),
             modules.Index(ModuleId::kAesRx), modules.Irq(ModuleId::kAesRx)),
      outputPeakMeters_(modules.Name(ModuleId::kOutputPeakMeters),
                        modules.Base(ModuleId::kOutputPeakMeters),
                        modules.Index(ModuleId::kOutputPeakMeters),
                        modules.Irq(ModuleId::kOutputPeakMeters), audio_map::kMeteredOutputs),
      aesTx_(modules.Name(ModuleId::kAesTx), modules.Base(ModuleId::kAesTx),
             modules.Index(ModuleId::kAesTx)),
      madiRx_(modules.Name(ModuleId::kMadiRx), modules.Base(ModuleId::kMadiRx),
              modules.Index(ModuleId::kMadiRx)),
      madiTx_(modules.Name(ModuleId::kMadiTx), modules.Base(ModuleId::kMadiTx),
              modules.Index(ModuleId::kMadiTx)),
      dante_(modules.Name(ModuleId::kDante), modules.Base(ModuleId::kDante)) {
  for (std::uint32_t i = 0; i < kPaths; ++i) {
    const Module core = ModuleOf(ModuleId::kEmbedder, i);
    embedders_.push_back(std::make_unique<AudioEmbedderDriverControl>(
        core.Name(), core.slot * moduleStride, core.index, core.slot));
  }
  for (std::uint32_t i = 0; i < kPaths; ++i) {
    const std::string owner(
        std::string_view(NumberedName(module_map::RowOf(ModuleId::kInputMixer).owner, i)));
    inputPaths_.push_back(std::make_unique<InputAudioPathFacade>(owner, i, moduleStride));
  }
  _BuildSources();
  _BuildDestinations();
}

AudioPathFacadeImpl::~AudioPathFacadeImpl() {
  for (const auto& path : inputPaths_) {
    path->GetMixer().RequestStop();
  }
  mixer_.RequestStop();
  DestroyFrontToBack(inputPaths_);
  DestroyFrontToBack(embedders_);
}

void AudioPathFacadeImpl::_BuildSources() {
  for (std::uint8_t link = 0; link < kSourceLinks; ++link) {
    for (std::uint8_t channel = 0; channel < kChannels; ++channel) {
      ChInfoPtr& info = sourceChInfo_[link][channel];
      info = MakeChInfo(link, channel);
      if (link == kAesSourceLink) {
        aesRx_.SetDestChInfo(channel, info);
      }
      mixer_.SetSrcChInfo(link, channel, info);
    }
  }
  for (std::uint8_t channel = 0; channel < kChannels; ++channel) {
    for (std::size_t input = 0; input < inputPaths_.size(); ++input) {
      inputPaths_[input]->SetAudioDelayDestChInfo(channel, sourceChInfo_[input][channel]);
    }
  }
}

void AudioPathFacadeImpl::_BuildDestinations() {
  for (std::uint8_t link = 0; link < kDestLinks; ++link) {
    for (std::uint8_t channel = 0; channel < kChannels; ++channel) {
      ChInfoPtr& info = destChInfo_[link][channel];
      info = MakeChInfo(link, channel);
      if (link < kPaths) {
        info->AddCallback([this, link] { _HandleEmbedderAudioTypeChange(link); }, nullptr);
      } else if (link == kAesLink) {
        info->AddCallback([this] { _HandleAesTxAudioTypeChange(); }, nullptr);
      } else if (audio_map::IsMadiLink(link)) {
        info->AddCallback([this, link] { _HandleMadiTxAudioTypeChange(link); }, nullptr);
      }
      mixer_.SetDestChInfo(link, channel, info);
    }
  }
}

void AudioPathFacadeImpl::Initialize() {
  ResetAndRelease(true);
  for (const auto& path : inputPaths_) {
    path->Initialize();
  }
  LOG_INFO("AUDIO PATH INITIALIZE");
  mixer_.Initialize();
  outputPeakMeters_.Initialize();
  madiTx_.ResetAndRelease();
  AddMadiTxAudioTypeCallback(
      [this](MadiAudioTypeArray types) { madiTx_.OnAudioTypeChange(types); });
  aesTx_.ResetAndRelease();
  AddAesTxAudioTypeCallback([this](AudioTypeArray types) { aesTx_.OnAudioTypeChange(types); });
  SetAes1To4Enable(true);
  SetAes5To8Enable(true);
  LOG_INFO("Finished Audio Path Facade Initialize");
}

void AudioPathFacadeImpl::HoldInReset(bool all) {
  LOG_DEBUG("Resetting %s", controlName_.c_str());
  for (const auto& path : inputPaths_) {
    path->HoldInReset();
  }
  if (all) {
    mixer_.HoldInReset();
    outputClockGenerator_.HoldInReset();
    dante_.HoldInReset();
  }
  aesRx_.HoldInReset();
  for (const auto& embedder : embedders_) {
    embedder->HoldInReset();
  }
}

void AudioPathFacadeImpl::ReleaseFromReset(bool all) {
  for (const auto& path : inputPaths_) {
    path->ReleaseFromReset();
  }
  if (all) {
    mixer_.ReleaseFromReset();
    outputClockGenerator_.ReleaseFromReset();
    dante_.ReleaseFromReset();
  }
  aesRx_.ReleaseFromReset();
  for (const auto& embedder : embedders_) {
    embedder->ReleaseFromReset();
  }
}

void AudioPathFacadeImpl::ResetAndRelease(bool all) {
  HoldInReset(all);
  ReleaseFromReset(all);
}

void AudioPathFacadeImpl::UnmaskEmbedderIrq(std::size_t embedder) {
  embedders_.at(embedder)->UnmaskIrq();
}

std::uint64_t AudioPathFacadeImpl::GetEmbedderIrq(std::size_t embedder) {
  return embedders_.at(embedder)->GetIrqNumber();
}

void AudioPathFacadeImpl::HandleEmbedderIrq(std::size_t embedder) {
  embedders_.at(embedder)->HandleIrq();
}

AudioEmbedderDriverControl& AudioPathFacadeImpl::GetEmbedderAtIndex(std::size_t embedder) {
  return *embedders_.at(embedder);
}

InputAudioPathFacade* AudioPathFacadeImpl::GetInputAudioPathFacadeAtIndex(std::size_t index) {
  if (index >= inputPaths_.size()) {
    LOG_WARNING("Trying to access input audio path that doesn't exist. Returning first audio path");
    index = 0;
  }
  return inputPaths_.at(index).get();
}

AudioMixerDriverControl* AudioPathFacadeImpl::GetMixer(int path) {
  if (path < 1 || path > static_cast<int>(inputPaths_.size())) {
    return &mixer_;
  }
  return &inputPaths_[static_cast<std::size_t>(path - 1)]->GetMixer();
}

void AudioPathFacadeImpl::UpdateMeters(int path, std::vector<std::int16_t>& meters) {
  if (path < 1 || path > static_cast<int>(kPaths)) {
    outputPeakMeters_.UpdateMeters(meters);
    return;
  }
  inputPaths_.at(static_cast<std::size_t>(path - 1))->GetPeakMeters().UpdateMeters(meters);
}

void AudioPathFacadeImpl::HandleAudioOutputClkIrq() {
  if (!outputClockGenerator_.HandleIrq()) {
    return;
  }
  mixer_.ResetAndRelease();
  for (const auto& path : inputPaths_) {
    if (!path->GetDelay().IsHeldInReset()) {
      path->GetDelay().Setup();
      path->GetDelaySrc().Setup();
    }
  }
  LOG_INFO("Resetting audioEmbedders due to clock IRQ");
  for (const auto& embedder : embedders_) {
    embedder->ResetAndRelease();
  }
  aesTx_.ResetAndRelease();
  madiTx_.ResetAndRelease();
  CallEach(clockCallbacks_);
}

std::uint64_t AudioPathFacadeImpl::GetAudioOutputClkIrq() {
  return outputClockGenerator_.GetIrqNumber();
}

void AudioPathFacadeImpl::UnmaskAudioOutputClkIrq() {
  outputClockGenerator_.UnmaskIrq();
}

void AudioPathFacadeImpl::GetMadiRxStatus(bool* ok, bool* rateOk) {
  madiRx_.GetMadiRxStatus(ok, rateOk);
}

void AudioPathFacadeImpl::UpdateEmbedderNonPcmLineNum(std::size_t embedder, std::size_t pair,
                                                      AudioType* type, std::uint16_t* line,
                                                      std::uint8_t* groupEnabled) {
  AudioEmbedderDriverControl& core = *embedders_.at(embedder);
  const auto group = static_cast<std::uint8_t>(std::min<std::size_t>(pair / 2, 0xFF));
  *groupEnabled = core.GetGroupEnable(group) ? 1 : 0;
  core.GetPairNonPcmInfo(pair, type, line);
  if (*type != AudioType::DolbyE) {
    return;
  }
  float advance = 0;
  float retard = 0;
  core.GetDolbyEAlignment(pair, &advance, &retard);
  if (advance <= 0 || retard <= 0) {
    // The burst sits within tolerance; or the line is beyond the frame, from its number of lines
    // plus the ideal line plus 1 on, where a retard would be negative.
    return;
  }
  const auto link = static_cast<std::uint8_t>(embedder);
  const auto channel = static_cast<std::uint8_t>(2 * pair);
  const int sourceChannel = mixer_.GetChAtDest(link, channel);
  const std::uint32_t first = InputOfBypass(mixer_.GetLinkAtDest(link, channel));
  const std::uint32_t second =
      InputOfBypass(mixer_.GetLinkAtDest(link, static_cast<std::uint8_t>(channel + 1)));
  if (first == kPaths || second == kPaths) {
    LOG_ERROR("Trying to apply Dolby E alignment to invalid channels");
    return;
  }
  inputPaths_.at(first)->GetDelayControl().UpdateDolbyEAlignment(
      static_cast<std::uint8_t>(sourceChannel / 2), advance, retard);
}

void AudioPathFacadeImpl::SetEmbedderGroupEnable(std::size_t embedder, std::uint8_t group,
                                                 std::int16_t enable) {
  if (embedder < embedders_.size()) {
    embedders_[embedder]->SetGroupEnable(group, enable);
  }
}

void AudioPathFacadeImpl::SetAes1To4Enable(bool enable) {
  _SetAesEnable("aes_en_1_4", "aes_txrxl_1_4", 0, enable);
}

void AudioPathFacadeImpl::SetAes5To8Enable(bool enable) {
  _SetAesEnable("aes_en_5_8", "aes_txrxl_5_8", kAesGroupChannels, enable);
}

void AudioPathFacadeImpl::_SetAesEnable(FieldId enableField, FieldId outputField,
                                        std::uint8_t firstChannel, bool enable) {
  WriteBitfield(enableField, enable ? 1 : 0);
  WriteBitfield(outputField, enable ? 0 : 1);
  for (std::uint8_t channel = firstChannel; channel < firstChannel + kAesGroupChannels; ++channel) {
    aesRx_.SetUpdateEnable(channel, enable ? 1 : 0);
  }
}

void AudioPathFacadeImpl::UnmaskAesRxIrq() {
  aesRx_.UnmaskIrq();
}

void AudioPathFacadeImpl::HandleAesRxIrq() {
  aesRx_.HandleIrq();
}

std::uint64_t AudioPathFacadeImpl::GetAesRxIrq() {
  return aesRx_.GetIrqNumber();
}

AudioTypeArray AudioPathFacadeImpl::_TypesOf(std::uint8_t link) const {
  AudioTypeArray types{};
  for (std::size_t pair = 0; pair < types.size(); ++pair) {
    const bool partnerIsPcm = destChInfo_[link][2 * pair + 1]->GetAudioType() == AudioType::Pcm;
    types[pair] = partnerIsPcm ? AudioType::Pcm : destChInfo_[link][2 * pair]->GetAudioType();
  }
  return types;
}

void AudioPathFacadeImpl::_HandleEmbedderAudioTypeChange(std::uint8_t link) {
  AudioTypeArray& known = embedderTypes_[link];
  const AudioTypeArray types = _TypesOf(link);
  if (types == known) {
    return;
  }
  for (std::size_t pair = 0; pair < types.size(); ++pair) {
    if (types[pair] != known[pair]) {
      LOG_INFO("Embedder audio type changed to audio type %s",
               types[pair] != AudioType::Pcm ? "NON-PCM" : "PCM");
    }
  }
  known = types;
  CallEach(embedderTypeCallbacks_, known);
  embedders_[link]->OnAudioTypeChange(known);
}

void AudioPathFacadeImpl::_HandleMadiTxAudioTypeChange(std::uint8_t link) {
  if (!audio_map::IsMadiLink(link)) {
    LOG_ERROR("Non-existent MADI output mixer link");
    return;
  }
  AudioTypeArray& known = madiTxTypes_[link - kFirstMadiLink];
  const AudioTypeArray types = _TypesOf(link);
  if (types != known) {
    known = types;
    CallEach(madiTxTypeCallbacks_, madiTxTypes_);
  }
}

void AudioPathFacadeImpl::_HandleAesTxAudioTypeChange() {
  const AudioTypeArray types = _TypesOf(kAesLink);
  if (types != aesTxTypes_) {
    aesTxTypes_ = types;
    CallEach(aesTxTypeCallbacks_, aesTxTypes_);
  }
}

void AudioPathFacadeImpl::AddAudioOutputClkIrqCallback(std::function<void()> callback) {
  clockCallbacks_.push_back(std::move(callback));
}

void AudioPathFacadeImpl::AddEmbedderAudioTypeCallback(
    std::function<void(AudioTypeArray)> callback) {
  embedderTypeCallbacks_.push_back(std::move(callback));
}

void AudioPathFacadeImpl::AddAesTxAudioTypeCallback(std::function<void(AudioTypeArray)> callback) {
  aesTxTypeCallbacks_.push_back(std::move(callback));
}

void AudioPathFacadeImpl::AddMadiTxAudioTypeCallback(
    std::function<void(MadiAudioTypeArray)> callback) {
  madiTxTypeCallbacks_.push_back(std::move(callback));
}
