#pragma once

#include <cstdint>
#include <functional>
#include <vector>

#include "audio/AudioChannelInfo.h"
#include "log/Log.h"
#include "map/AudioMap.h"

/// What one output channel of a mixer is made of: its sources with their gains, and the gain,
/// polarity and mute of the whole. How a source that is not PCM is treated is up to the kind of
/// route.
///
/// A route hangs in the graph of channel information: it hears of every change of its sources,
/// passes an audio type on to the object of its output channel, and then calls its callbacks. It
/// removes itself from its sources' objects when it goes away.
///
/// Threads: belongs to the one thread that drives the audio graph.
class AudioMixerRoute {
 public:
  static constexpr std::uint32_t kMaxSources = 16;
  static constexpr std::uint8_t kChannels = audio_map::kChannels;  ///< of a link
  static constexpr float kMaxSourceGainDb = 20.0F;
  static constexpr float kMinSourceGainDb = -80.0F;

  AudioMixerRoute() = default;
  AudioMixerRoute(const AudioMixerRoute&) = delete;
  AudioMixerRoute& operator=(const AudioMixerRoute&) = delete;
  /// Removes the route's callbacks from its sources' objects.
  virtual ~AudioMixerRoute();

  /// Puts the gain of a source, as a linear factor, into `*gain`: 0 if the route or the source is
  /// mute; what the kind of route says, without gains and polarity, for a source that is not PCM;
  /// else the product of both gains, negative if one of both is inverted. Gives 0, or -1 with a
  /// line at Error and `*gain` as it was for a source that isn't there.
  virtual int GetLinearGain(std::uint8_t index, float* gain) = 0;
  /// The type, link or channel of a source has changed: tells the output channel its type, then
  /// calls the callbacks.
  virtual void OnSrcChInfoChange() = 0;

  /// Appends a source: its link and channel, its polarity (0 or 1), 1 to silence it, and its gain
  /// in dB. Gives 0, or -1 with a line at Error for a channel above 15, a gain outside -80.0 to
  /// 20.0 or a seventeenth source. Links are checked where a route is built.
  int AddSrc(std::uint8_t link, std::uint8_t channel, std::uint8_t invert, std::uint8_t mute,
             float gainDb);
  /// Removes all sources, and the callbacks from their objects.
  void ClearSrc();
  /// Number of sources, at most 16. They are counted from 0.
  std::uint32_t GetNumSrc() const { return static_cast<std::uint32_t>(sources_.size()); }

  /// Where a source is found: what its object says if it has one, else as added. Each gives 0, or
  /// -1 with a line at Error and the value as it was for a source that isn't there.
  int GetLink(std::uint8_t index, std::uint8_t* link) const;
  int GetChannel(std::uint8_t index, std::uint8_t* channel) const;

  // The whole route: polarity (0 or 1), 1 to silence it, gain in dB, and its output.
  void SetInvert(std::uint8_t invert) { invert_ = invert; }
  void SetMute(std::uint8_t mute) { mute_ = mute; }
  void SetGain(float gainDb) { gain_ = gainDb; }
  void SetDestLink(std::uint8_t link) { destLink_ = link; }
  void SetDestChannel(std::uint8_t channel) { destChannel_ = channel; }
  std::uint8_t GetDestLink() const { return destLink_; }
  std::uint8_t GetDestChannel() const { return destChannel_; }

  /// Gives a source its object, in place of the one it had, and hears of its changes from now on.
  /// Null leaves the source without one. A source that isn't there is left out.
  void SetSrcChInfo(std::uint8_t index, ChInfoPtr info);
  /// The object of the output channel, which may be null.
  void SetDestChInfo(ChInfoPtr info) { destInfo_ = std::move(info); }
  /// Appends a callback; an empty one is skipped. It may change neither the route's callbacks nor
  /// its sources.
  void AddCallback(std::function<void()> callback);

 protected:
  struct Source {
    std::uint8_t link;     // as added
    std::uint8_t channel;  // as added
    std::uint8_t invert;
    std::uint8_t mute;
    float gain;      // dB
    ChInfoPtr info;  // empty until linked
  };

  // GetLinearGain, with the factor of a source that is not PCM.
  int LinearGain(const LogOrigin& reading, std::uint8_t index, float nonPcmGain, float* gain) const;
  void RunCallbacks() const;

  const std::vector<Source>& Sources() const { return sources_; }
  const ChInfoPtr& DestChInfo() const { return destInfo_; }

 private:
  const Source* _Find(const LogOrigin& reading, std::uint8_t index) const;
  void _Unlink(Source& source);

  std::vector<Source> sources_;
  std::uint8_t invert_ = 0;
  std::uint8_t mute_ = 0;
  float gain_ = 0.0F;
  ChInfoPtr destInfo_;
  std::uint8_t destLink_ = 0;
  std::uint8_t destChannel_ = 0;
  std::vector<std::function<void()>> callbacks_;
};
