#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "map/AudioMap.h"

/// What is known of one audio channel at one point of the audio path: its type, and the link (16
/// channels) and channel under which whatever consumes it has to look for it.
///
/// The output side of one module and the input side of the next share one object. A setter that
/// changes a value calls the callbacks, and these set the objects downstream: a change of audio
/// type is a chain of nested calls from where a channel enters the board to the last transmitter.
///
/// Threads: no lock. All updates of the graph come from one thread at a time. The callbacks of an
/// object may not be added or removed while that object notifies.
class AudioChannelInfo {
 public:
  /// Types as bursts announce them (SMPTE ST 337, 5-bit data type in parentheses).
  enum class AudioType : std::uint32_t {
    Pcm = 0,          ///< PCM, or nothing known to be otherwise
    DolbyE = 1,       ///< (28)
    Ac3 = 2,          ///< (1)
    Eac3 = 3,         ///< (16)
    OtherNonPcm = 4,  ///< any other burst
  };

  /// Link and channel start at 0, without callbacks.
  explicit AudioChannelInfo(AudioType type) : type_(type) {}
  AudioChannelInfo(const AudioChannelInfo&) = delete;
  AudioChannelInfo& operator=(const AudioChannelInfo&) = delete;
  virtual ~AudioChannelInfo() = default;

  AudioType GetAudioType() const { return type_; }
  std::uint8_t GetLink() const { return link_; }
  std::uint8_t GetChannel() const { return channel_; }

  // Each stores a value that differs from the stored one and then calls all callbacks, in the order
  // of their registration. The same value again costs a comparison.
  void SetAudioType(AudioType type) { _Set(type_, type); }
  void SetLink(std::uint8_t link) { _Set(link_, link); }
  void SetChannel(std::uint8_t channel) { _Set(channel_, channel); }

  /// Appends a callback; an empty one is skipped when the object notifies. `owner` is compared and
  /// never followed; with null the callback can't be removed.
  void AddCallback(std::function<void()> callback, const void* owner);
  /// Removes all callbacks of an owner, and none for null.
  void RemoveCallback(const void* owner);

 private:
  struct Callback {
    std::function<void()> function;
    const void* owner;
  };

  template <typename Value>
  void _Set(Value& stored, Value value) {
    if (stored != value) {
      stored = value;
      _Notify();
    }
  }
  void _Notify() const;

  std::vector<Callback> callbacks_;
  AudioType type_;
  std::uint8_t link_ = 0;
  std::uint8_t channel_ = 0;
};

/// A shared node of the graph.
using ChInfoPtr = std::shared_ptr<AudioChannelInfo>;

/// One type for each pair of a link.
using AudioTypeArray = std::array<AudioChannelInfo::AudioType, audio_map::kPairs>;

/// The links of a MADI stream.
using MadiAudioTypeArray = std::array<AudioTypeArray, audio_map::kMadiLinks>;

/// The audio type that the 5-bit data type of a burst announces (SMPTE ST 337).
AudioChannelInfo::AudioType AudioTypeOfBurst(std::uint32_t dataType);

/// The channels of a link that carry no PCM: channel 0 at bit 0, both of a pair alike.
std::uint32_t NonPcmChannels(const AudioTypeArray& types);
