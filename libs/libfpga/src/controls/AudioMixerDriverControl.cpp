#include "controls/AudioMixerDriverControl.h"

#include <algorithm>
#include <utility>

#include "audio/AudioMixerMultiRoute.h"
#include "audio/AudioMixerSingleRoute.h"
#include "log/Log.h"

namespace {

constexpr std::uint16_t kFlexOutputs = 16;

struct SourcePlace {
  std::uint8_t link;
  std::uint8_t channel;
};

SourcePlace Split(std::uint16_t srcIndex) {
  return {static_cast<std::uint8_t>(srcIndex >> 4 & 0xFF),
          static_cast<std::uint8_t>(srcIndex & 0xF)};
}

// A source that the route refuses has been logged there, and is left out.
void AddSource(AudioMixerRoute& route, std::uint16_t srcIndex, float gainDb) {
  const SourcePlace source = Split(srcIndex);
  if (source.link == kSilenceLink) {
    (void)route.AddSrc(0, 0, 0, 1, gainDb);  // see above
  } else {
    (void)route.AddSrc(source.link, source.channel, 0, 0, gainDb);  // see above
  }
}

}  // namespace

AudioMixerDriverControl::AudioMixerDriverControl(const std::string& name, std::uint32_t baseAddress,
                                                 std::uint64_t mixerIndex, std::uint8_t numSrcLinks,
                                                 std::uint8_t numDestLinks)
    : AudioMixer(name, baseAddress, mixerIndex),
      routes_(numDestLinks),
      srcInfo_(numSrcLinks),
      destInfo_(numDestLinks) {
  for (auto& link : sourceControls_) {
    for (std::uint16_t channel = 0; channel < kChannels; ++channel) {
      link[channel].srcIndex = channel;
    }
  }
  for (std::uint16_t i = 0; i < kFlexMixerEntries; ++i) {
    flexMixer_[i].output = i % kFlexOutputs;
  }
}

void AudioMixerDriverControl::SetSrcChInfo(std::uint8_t link, std::uint8_t channel,
                                           ChInfoPtr info) {
  if (link >= srcInfo_.size()) {
    LOG_WARNING("Link size is too large");
    return;
  }
  srcInfo_[link].at(channel) = std::move(info);
}

void AudioMixerDriverControl::SetDestChInfo(std::uint8_t link, std::uint8_t channel,
                                            ChInfoPtr info) {
  if (link >= destInfo_.size()) {
    LOG_WARNING("Link size is too large");
    return;
  }
  destInfo_[link].at(channel) = std::move(info);
}

void AudioMixerDriverControl::UpdateSourceControl(std::uint8_t linkDest, std::uint8_t chDest,
                                                  const AudioSourceControl& control) {
  if (linkDest >= GetNumLinks() || linkDest >= sourceControls_.size()) {
    LOG_WARNING("Invalid link index %d", linkDest);
    return;
  }
  if (chDest >= kChannels) {
    LOG_WARNING("Invalid channel index %d", chDest);
    return;
  }
  sourceControls_[linkDest][chDest] = control;
  LOG_DEBUG("linkDest %d, chDest %d, srcIndex %d", linkDest, chDest, control.srcIndex);
  _BuildAndLinkRoutes();
}

void AudioMixerDriverControl::UpdateFlexmixer(std::uint8_t index,
                                              const AudioFlexMixerEntry& entry) {
  if (index >= flexMixer_.size()) {
    LOG_WARNING("Invalid flex mixer index %d", index);
    return;
  }
  flexMixer_[index] = entry;
  _BuildAndLinkRoutes();
}

void AudioMixerDriverControl::UpdateDownmix(const AudioDownmixControl& control) {
  downmix_ = control;
  _BuildAndLinkRoutes();
}

void AudioMixerDriverControl::UpdateAudioRoute(std::uint8_t link, std::uint8_t channel) {
  if (link >= routes_.size()) {
    LOG_WARNING("Route source link index is too large");
    return;
  }
  (void)BuildRoute(routes_[link].at(channel));  // a failure is logged there
  ProgramCoeffs();
}

int AudioMixerDriverControl::GetLinkAtDest(std::uint8_t link, std::uint8_t channel) const {
  std::uint8_t source = 0;
  if (const AudioMixerRoute* route = _RouteAtDest(LOG_ORIGIN, link, channel); route != nullptr) {
    (void)route->GetLink(0, &source);  // stays 0 without a source
  }
  return source;
}

int AudioMixerDriverControl::GetChAtDest(std::uint8_t link, std::uint8_t channel) const {
  std::uint8_t source = 0;
  if (const AudioMixerRoute* route = _RouteAtDest(LOG_ORIGIN, link, channel); route != nullptr) {
    (void)route->GetChannel(0, &source);  // stays 0 without a source
  }
  return source;
}

const AudioMixerRoute* AudioMixerDriverControl::_RouteAtDest(const LogOrigin& look,
                                                             std::uint8_t link,
                                                             std::uint8_t channel) const {
  if (link < GetNumLinks() && channel >= kChannels) {
    LOG_WARNING_FROM(look, "Invalid channel index %d", channel);
    return nullptr;
  }
  if (link >= GetNumLinks() || link >= routes_.size() || !routes_[link][channel]) {
    LOG_WARNING_FROM(look, "Invalid link index %d", link);
    return nullptr;
  }
  return routes_[link][channel].get();
}

void AudioMixerDriverControl::_BuildAndLinkRoutes() {
  const std::size_t links = std::min(routes_.size(), sourceControls_.size());
  for (std::size_t link = 0; link < links; ++link) {
    for (std::size_t channel = 0; channel < kChannels; ++channel) {
      const AudioSourceControl& control = sourceControls_[link][channel];
      const bool silence = Split(control.srcIndex).link == kSilenceLink;
      const RoutePtr route = _MakeRoute(control.srcIndex);
      route->SetMute(silence || control.mute != 0 ? 1 : 0);
      route->SetInvert(control.invert != 0 ? 1 : 0);
      route->SetGain(control.gain);
      route->SetDestLink(static_cast<std::uint8_t>(link));
      route->SetDestChannel(static_cast<std::uint8_t>(channel));
      (void)_BuildAndLinkRoute(route);  // a failure is logged there; the other routes go on
    }
  }
  ProgramCoeffs();
}

AudioMixerDriverControl::RoutePtr AudioMixerDriverControl::_MakeRoute(
    std::uint16_t srcIndex) const {
  const SourcePlace source = Split(srcIndex);
  if (source.link == kDownmixLink) {
    auto route = std::make_shared<AudioMixerMultiRoute>();
    _AddDownmix(*route, source.channel);
    return route;
  }
  if (source.link == kFlexMixerLink) {
    auto route = std::make_shared<AudioMixerMultiRoute>();
    _AddFlexMixer(*route, source.channel);
    return route;
  }
  auto route = std::make_shared<AudioMixerSingleRoute>();
  AddSource(*route, srcIndex, 0.0F);
  return route;
}

void AudioMixerDriverControl::_AddDownmix(AudioMixerRoute& route, std::uint8_t output) const {
  const bool left = output == 0;
  route.ClearSrc();
  AddSource(route, left ? downmix_.left : downmix_.right, 0.0F);
  AddSource(route, downmix_.centre, downmix_.centreGain);
  AddSource(route, left ? downmix_.leftSurround : downmix_.rightSurround, downmix_.surroundGain);
}

void AudioMixerDriverControl::_AddFlexMixer(AudioMixerRoute& route, std::uint8_t output) const {
  route.ClearSrc();
  for (const AudioFlexMixerEntry& entry : flexMixer_) {
    if (entry.output == output) {
      AddSource(route, entry.srcIndex, entry.gain);
    }
  }
}

// Puts a route into its place, where the old one goes away with its callbacks, links it with its
// sources and its output, and builds its coefficients. What it gives up on keeps its place without
// coefficients of its own.
int AudioMixerDriverControl::_BuildAndLinkRoute(const RoutePtr& route) {
  const std::uint8_t destLink = route->GetDestLink();
  const std::uint8_t destChannel = route->GetDestChannel();
  if (destLink >= routes_.size()) {
    LOG_WARNING("Route destination link index %d is too large", destLink);
    return -1;
  }
  routes_[destLink].at(destChannel) = route;
  if (destLink >= destInfo_.size()) {
    LOG_WARNING("Route destination link index is too large");
    return -1;
  }
  route->SetDestChInfo(destInfo_[destLink][destChannel]);
  const auto numSrc = static_cast<std::uint8_t>(route->GetNumSrc());  // at most 16
  for (std::uint8_t i = 0; i < numSrc; ++i) {
    std::uint8_t link = 0;
    std::uint8_t channel = 0;
    if (route->GetLink(i, &link) != 0 || route->GetChannel(i, &channel) != 0) {
      return -1;
    }
    if (link >= srcInfo_.size()) {
      LOG_WARNING("Route source link index is too large");
      return -1;
    }
    route->SetSrcChInfo(i, srcInfo_[link].at(channel));
  }
  // The output learns its type first: the callback that programs the core comes with the routes'
  // own programming.
  route->OnSrcChInfoChange();
  route->AddCallback([this, destLink, destChannel] { UpdateAudioRoute(destLink, destChannel); });
  return BuildRoute(route);
}
