#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "audio/AudioChannelInfo.h"
#include "modules/AudioDelay.h"
#include "modules/AudioDelaySrc.h"

/// The delay stage of one input: a delay line with its sample-rate converter, and the channel
/// information on either side.
///
/// It keeps each channel's delay, holds PCM channels on it against the drift between the clocks of
/// input and output, and lets pairs that carry data bypass the converter, which would destroy
/// them. Pairs of Dolby E it also moves in time, so that their frames fall on the right line of the
/// output video.
///
/// Delays are in ms; a channel's delay is the global one plus its own, and for Dolby E an offset.
/// The two channels of a pair that isn't PCM have one delay. Channels count from 0 to 15, pairs
/// from 0 to 7.
///
/// Threads: no lock. All operations, the callbacks of the channel information and the interrupt
/// belong to the one thread of the audio graph. Restarts of channels may sleep up to 1 ms each.
class AudioDelayDriverControl {
 public:
  /// Builds the drivers of the delay line, `name`, and of its converter, `name` with "_src", and
  /// leaves the cores untouched. Bases are bytes from the start of the register window, `index` is
  /// the input, 0 to 3, `srcIrq` the converter's line at the interrupt aggregator. Throws like
  /// BitfieldManager.
  AudioDelayDriverControl(const std::string& name, std::uint32_t delayBase, std::uint32_t srcBase,
                          std::uint64_t index, std::uint64_t srcIrq);
  AudioDelayDriverControl(const AudioDelayDriverControl&) = delete;
  AudioDelayDriverControl& operator=(const AudioDelayDriverControl&) = delete;
  virtual ~AudioDelayDriverControl() = default;

  /// Joins a channel of the input side: each change of `info` calls UpdateAudioChannelChange, as
  /// long as `info` lives; it must not change any more when this object is gone. A channel above 15
  /// is logged at Warning and not stored.
  void SetSrcChInfo(std::uint8_t channel, ChInfoPtr info);
  /// Joins a channel of the output side, which this object sets. A channel above 15 is logged at
  /// Warning and not stored.
  void SetDestChInfo(std::uint8_t channel, ChInfoPtr info);

  /// Sets a channel's own delay, writes its sum with the global delay to the core and restarts the
  /// channel; for a pair that isn't PCM both channels. A Dolby E offset comes back with the next
  /// alignment. A channel above 15 is logged at Warning and changes nothing.
  void SetChannelDelay(std::uint8_t channel, float ms);
  /// Sets the delay that all channels have in common, writes all delays and restarts all channels
  /// at once.
  void SetGlobalDelay(float ms);
  /// Writes each channel's delay and restarts it, one by one.
  void RestartAllWithDelays();

  /// Takes a change of a channel's type from the input side. When it changes the type of its pair,
  /// that is PCM unless both channels are something else, the pair bypasses the converter or goes
  /// back through it, the output side gets the type and the link under which the pair leaves now
  /// (`index` through the converter, `index` + 4 past it), and both channels are restarted
  /// without Dolby E offset. Logs at Info. A channel whose pair isn't joined is logged at Warning.
  /// Throws std::out_of_range for a channel above 15.
  void UpdateAudioChannelChange(std::uint8_t channel);

  /// Moves a pair so that its Dolby E frames fall on their line: its delay is shortened by
  /// `advance` ms or lengthened by `retard` ms, which add up to a frame period. The smaller shift
  /// wins, unless it would leave no more than 1.34 ms or reach the end of the ring: then the larger
  /// one does, and if that doesn't fit either, the delay is shortened, and the core gets its
  /// least, 64 samples. Neither shift is checked to lie between 0 and the frame period. A pair of
  /// PCM is moved as well and logged at Warning. A pair above 7 is logged at Warning and not moved.
  void UpdateDolbyEAlignment(std::uint8_t pair, float advance, float retard);

  /// The converter's interrupt, once a second: compares the measured delay of the first channel of
  /// the first PCM pair with that channel's own delay plus the global one. From 11 to 2000 samples
  /// of difference are left to the converter, more restart all channels. Without an interrupt
  /// pending, or while an adjustment runs, nothing is done.
  void SrcHandleIrq();

  /// The modules, for their resets and their set-up.
  AudioDelay& GetAudioDelay() { return delay_; }
  AudioDelaySrc& GetAudioDelaySrc() { return converter_; }

  /// This object's name: the delay line's with "_driver_control".
  const std::string& GetName() const { return name_; }

 private:
  static constexpr std::size_t kChannels = audio_map::kChannels;

  float _DelayOf(std::uint8_t channel) const { return channelDelays_.at(channel) + globalDelay_; }
  AudioChannelInfo::AudioType _PairTypeOf(std::uint8_t channel) const {
    return pairTypes_.at(channel / 2);
  }
  void _SetOwnDelay(std::uint8_t channel, float ms);
  void _MoveOutputs(const LogOrigin& change, std::uint8_t channel, std::uint8_t partner,
                    AudioChannelInfo::AudioType type);
  int _MeasureDrift();

  const std::string name_;
  const std::uint64_t index_;
  AudioDelay delay_;
  AudioDelaySrc converter_;

  // Bound to the thread of the audio graph.
  float globalDelay_ = 0;                         // ms
  std::array<float, kChannels> dolbyEOffsets_{};  // ms, equal within a pair
  std::array<float, kChannels> channelDelays_{};  // ms
  std::array<ChInfoPtr, kChannels> sources_;
  std::array<ChInfoPtr, kChannels> destinations_;
  AudioTypeArray pairTypes_{};  // all Pcm
};
