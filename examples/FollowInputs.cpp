#include "FollowInputs.h"

#include <cmath>
#include <cstdio>
#include <utility>

#include "map/AudioMap.h"

namespace {

using AudioType = AudioChannelInfo::AudioType;

using audio_map::kAesLink;
using audio_map::kChannels;

constexpr std::uint8_t kGroups = 4;  // of an embedder

constexpr float kAudioDelayMs = 10.0F;  // room to make up for drift on both sides

const char* NameOf(AudioType type) {
  switch (type) {
    case AudioType::Pcm:
      return "PCM";
    case AudioType::DolbyE:
      return "Dolby E";
    case AudioType::Ac3:
      return "AC-3";
    case AudioType::Eac3:
      return "E-AC-3";
    case AudioType::OtherNonPcm:
      return "data";
  }
  return "unknown";
}

}  // namespace

FollowInputs::FollowInputs(TopFpga& fpga, Print print)
    : fpga_(fpga), audio_(fpga.GetAudioPathFacade()), print_(std::move(print)) {
  _RouteVideo();
  _RouteAudio();
  _OpenInterrupts();
}

// Both switches pass straight through. A destination comes alive in two steps.
void FollowInputs::_RouteVideo() {
  for (VideoCrosspoint* crosspoint : {&fpga_.GetSdiRxCrosspoint(), &fpga_.GetSdiTxCrosspoint()}) {
    for (std::size_t path = 0; path < kPaths; ++path) {
      (void)crosspoint->SetRoute(path, path, true /* quiet */);  // a failure is logged there
      (void)crosspoint->SetOutputDisable(path, false, true /* quiet */);
    }
  }
}

// Input i feeds embedder i and the i-th link of MADI; AES gets input 0. The mixers of the inputs
// pass their 16 channels through.
void FollowInputs::_RouteAudio() {
  audio_.SetAes5To8Enable(false);  // to be outputs
  for (std::size_t input = 0; input < kPaths; ++input) {
    const auto link = static_cast<std::uint8_t>(input);
    AudioMixerDriverControl& inputMixer = audio_.GetInputAudioPathFacadeAtIndex(input)->GetMixer();
    inputMixer.UpdateSourceControl(0, 0, AudioSourceControl{.srcIndex = 0});
    for (std::uint8_t group = 0; group < kGroups; ++group) {
      audio_.SetEmbedderGroupEnable(input, group, 1);
    }
    for (std::uint8_t channel = 0; channel < kChannels; ++channel) {
      const AudioSourceControl source{.srcIndex = static_cast<std::uint16_t>(link << 4 | channel)};
      audio_.GetMixer(0)->UpdateSourceControl(link, channel, source);
      audio_.GetMixer(0)->UpdateSourceControl(
          static_cast<std::uint8_t>(audio_map::kFirstMadiLink + link), channel, source);
      if (input == 0) {
        audio_.GetMixer(0)->UpdateSourceControl(kAesLink, channel, source);
      }
    }
  }
}

void FollowInputs::_OpenInterrupts() {
  for (std::size_t path = 0; path < fpga_.GetSdiRxs().size(); ++path) {
    SdiRx& receiver = *fpga_.GetSdiRxs()[path];
    InputAudioPathFacade& input = *audio_.GetInputAudioPathFacadeAtIndex(path);
    input.GetDelayControl().SetGlobalDelay(kAudioDelayMs);
    fpga_.GetFramesyncs()[path]->SetupOutputMode(Framesync::kShowVideo, Framesync::kShowFlatField);
    receiver.RegisterVideoFormatCallback(
        [this](std::uint32_t index, const VideoFormat& format) { _Follow(index, format); });
    _Serve(receiver.GetIrqNumber(), [&receiver] { receiver.HandleIrq(); });
    _Serve(input.GetDeembedder().GetIrqNumber(), [&input] { input.GetDeembedder().HandleIrq(); });
    _Serve(input.GetDelaySrc().GetIrqNumber(),
           [&input] { input.GetDelayControl().SrcHandleIrq(); });
    _Serve(audio_.GetEmbedderIrq(path), [this, path] { audio_.HandleEmbedderIrq(path); });
    receiver.EnableIrq();
    input.GetDeembedder().UnmaskIrq();
    input.GetDelaySrc().UnmaskIrq();
    audio_.UnmaskEmbedderIrq(path);
  }
  _Serve(audio_.GetAudioOutputClkIrq(), [this] {
    audio_.HandleAudioOutputClkIrq();
    print_("output audio clock changed");
  });
  _Serve(audio_.GetAesRxIrq(), [this] { audio_.HandleAesRxIrq(); });
  audio_.UnmaskAudioOutputClkIrq();
  audio_.UnmaskAesRxIrq();
}

void FollowInputs::_Serve(std::uint64_t irq, std::function<void()> handler) {
  fpga_.GetIrqHandler().RegisterHandler(irq, std::move(handler));
  fpga_.GetIrqHandler().UnmaskIrq(irq);
}

// An output whose input has gone keeps its format, and shows the flat field.
void FollowInputs::_Follow(std::size_t path, const VideoFormat& format) {
  const std::uint32_t id = format.standardId;
  paths_[path] = {.standardId = id, .types = paths_[path].types, .burstLines = {}};
  _Say("input", path, id == 0 ? "no signal" : GetFormatDescription(format, false, false, false));
  InputAudioPathFacade& input = *audio_.GetInputAudioPathFacadeAtIndex(path);
  if (id != 0) {
    Framesync& framesync = *fpga_.GetFramesyncs()[path];
    framesync.SetupFormat(id);
    framesync.SetupLockMode(Framesync::kLockToInput, static_cast<std::int32_t>(id));
    framesync.SetOutputOffset(0, 0.0F);
    fpga_.GetSdiTxs()[path]->SetOutVideoFormat(id);
    audio_.GetEmbedderAtIndex(path).OnVideoTypeChange(0, id);
  }
  input.HandleInputVideoTypeChange(0, id);
  if (id != 0) {
    input.GetDeembedder().UpdatePairTypes();
  }
}

void FollowInputs::Poll() {
  fpga_.GetIrqHandler().PollIrq();
}

void FollowInputs::CheckOutputs() {
  for (std::size_t path = 0; path < fpga_.GetSdiRxs().size(); ++path) {
    if (paths_[path].standardId != 0) {
      _CheckVideo(path);
      _CheckAudio(path);
    }
  }
}

void FollowInputs::_CheckVideo(std::size_t path) {
  Framesync& framesync = *fpga_.GetFramesyncs()[path];
  framesync.CheckAlignment(true);
  const bool settled = framesync.IsOutputSettled();
  if (settled != std::exchange(paths_[path].settled, settled)) {
    _Say("output", path, settled ? "settled" : "not settled");
  }
  float delayMs = 0;
  const std::string delay = framesync.CheckDelay(delayMs);
  if (std::abs(delayMs - paths_[path].delayMs) >= 1) {
    paths_[path].delayMs = delayMs;
    _Say("output", path, delay);
  }
}

void FollowInputs::_CheckAudio(std::size_t path) {
  AudioDelay& delay = audio_.GetInputAudioPathFacadeAtIndex(path)->GetDelay();
  if (delay.CheckErrors()) {
    _Say("input", path, "audio delay in error");
  }
  for (std::size_t pair = 0; pair < paths_[path].types.size(); ++pair) {
    AudioType type{};
    std::uint16_t line = 0;
    std::uint8_t embedded = 0;
    audio_.UpdateEmbedderNonPcmLineNum(path, pair, &type, &line, &embedded);
    const bool changed = type != std::exchange(paths_[path].types[pair], type);
    const bool moved = line != std::exchange(paths_[path].burstLines[pair], line);
    if (changed || (moved && type == AudioType::DolbyE)) {
      _Say("output", path,
           "pair " + std::to_string(pair) + " " + NameOf(type) +
               (type == AudioType::Pcm ? "" : " in line " + std::to_string(line)));
    }
  }
}

void FollowInputs::_Say(const char* what, std::size_t path, const std::string& news) {
  print_(std::string(what) + " " + std::to_string(path) + ": " + news);
}
