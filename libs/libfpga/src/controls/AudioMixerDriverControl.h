#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/AudioChannelInfo.h"
#include "audio/AudioMixerRoute.h"
#include "modules/AudioMixer.h"

// A source index is a number of 16 bits: a link in bits 11 to 4, a channel in bits 3 to 0. Three
// links have a meaning of their own.
inline constexpr std::uint8_t kSilenceLink = 255;
/// Output of the stereo downmix: channel 0 is left, any other one right.
inline constexpr std::uint8_t kDownmixLink = 254;
/// Output of the flexible mixer: the channel is the number of the output.
inline constexpr std::uint8_t kFlexMixerLink = 253;

/// What an output channel shall carry.
struct AudioSourceControl {
  std::uint16_t srcIndex = 0;  ///< source index
  std::uint16_t mute = 0;      ///< not 0 to silence
  std::uint16_t invert = 0;    ///< not 0 to invert
  std::int16_t gain = 0;       ///< dB
};

/// What the stereo downmix is made of: source indices and gains in dB. Left and right enter with
/// 0 dB. A gain outside -80 to 20 leaves its sources out.
struct AudioDownmixControl {
  std::uint16_t left = 0;
  std::uint16_t right = 1;
  std::uint16_t centre = 2;
  std::uint16_t leftSurround = 3;
  std::uint16_t rightSurround = 4;
  std::int16_t centreGain = 0;    ///< dB
  std::int16_t surroundGain = 0;  ///< dB
};

/// One source of one output of the flexible mixer.
struct AudioFlexMixerEntry {
  std::uint16_t output = 0;        ///< number of the flexible output that it feeds
  std::uint16_t srcIndex = 0xFF0;  ///< source index; silence until set
  std::uint16_t spare = 0;         ///< read by nobody
  std::int16_t gain = 0;           ///< dB; outside -80 to 20 the entry is left out
};

/// A mixer and what its operator wants of it: a source for each output channel, a stereo downmix
/// and a flexible mixer. It makes a route for every output channel, links the routes into the graph
/// of channel information, and builds the coefficients of a route anew when one of its sources
/// changes its type or its link.
///
/// There are no routes, and the mixer passes nothing, until the first update of a control. The
/// mixer must be initialised and have its channel information by then. Each update replaces all
/// routes and programs the core once.
///
/// Threads: belongs to the one thread that drives the audio graph. No update may be called from
/// within a notification of the graph, except UpdateAudioRoute.
class AudioMixerDriverControl : public AudioMixer {
 public:
  static constexpr std::size_t kChannels = audio_mixer_regs::kChannels;  ///< of a link
  static constexpr std::size_t kMaxDestLinks = 16;                       ///< that can be controlled
  static constexpr std::size_t kFlexMixerEntries = 32;

  /// Leaves the core untouched. `mixerIndex` is for messages.
  AudioMixerDriverControl(const std::string& name, std::uint32_t baseAddress,
                          std::uint64_t mixerIndex, std::uint8_t numSrcLinks,
                          std::uint8_t numDestLinks);

  /// The object of a source or of an output channel. A link that there isn't logs a Warning and
  /// stores nothing; a channel above 15 throws std::out_of_range.
  void SetSrcChInfo(std::uint8_t link, std::uint8_t channel, ChInfoPtr info);
  void SetDestChInfo(std::uint8_t link, std::uint8_t channel, ChInfoPtr info);

  /// Says what an output channel carries. A link above 15 or that the core doesn't have, or a
  /// channel above 15, logs a Warning and changes nothing.
  void UpdateSourceControl(std::uint8_t linkDest, std::uint8_t chDest,
                           const AudioSourceControl& control);
  /// Replaces an entry of the flexible mixer. An index above 31 logs a Warning and changes nothing.
  void UpdateFlexmixer(std::uint8_t index, const AudioFlexMixerEntry& entry);
  /// Replaces the downmix.
  void UpdateDownmix(const AudioDownmixControl& control);

  /// Builds the coefficients of one output channel anew and programs the core. A link without
  /// routes logs a Warning; a channel above 15 throws std::out_of_range.
  void UpdateAudioRoute(std::uint8_t link, std::uint8_t channel);

  /// Link and channel of the first source of an output channel, as they are now. A link or channel
  /// that there isn't, or a place without a route, logs a Warning and gives 0. A route without a
  /// source gives 0 with a line at Error.
  int GetLinkAtDest(std::uint8_t link, std::uint8_t channel) const;
  int GetChAtDest(std::uint8_t link, std::uint8_t channel) const;

 private:
  template <typename Value>
  using Links = std::vector<std::array<Value, kChannels>>;
  using RoutePtr = std::shared_ptr<AudioMixerRoute>;

  void _BuildAndLinkRoutes();
  RoutePtr _MakeRoute(std::uint16_t srcIndex) const;
  void _AddDownmix(AudioMixerRoute& route, std::uint8_t output) const;
  void _AddFlexMixer(AudioMixerRoute& route, std::uint8_t output) const;
  int _BuildAndLinkRoute(const RoutePtr& route);
  const AudioMixerRoute* _RouteAtDest(const LogOrigin& look, std::uint8_t link,
                                      std::uint8_t channel) const;

  Links<RoutePtr> routes_;  // by output; empty until the first update
  Links<ChInfoPtr> srcInfo_;
  Links<ChInfoPtr> destInfo_;
  std::array<std::array<AudioSourceControl, kChannels>, kMaxDestLinks> sourceControls_;
  AudioDownmixControl downmix_;
  std::array<AudioFlexMixerEntry, kFlexMixerEntries> flexMixer_;
};
