#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "audio/AudioChannelInfo.h"
#include "audio/InputAudioPathFacade.h"
#include "controls/AudioEmbedderDriverControl.h"
#include "controls/AudioMixerDriverControl.h"

/// The one door to all audio of the board: four input paths, the main mixer after them, and what
/// it feeds: four embedders, MADI, AES and the output meters.
///
/// The interrupt entries stand ready for an application, which registers them with the interrupt
/// aggregator under the numbers that the Get...Irq operations give.
///
/// An embedder's index is 0 to 3; where nothing else is said, a greater one throws
/// std::out_of_range before any register is touched.
///
/// Threads: no lock. Everything belongs to the one thread that drives the audio graph; the mixers'
/// coefficient threads stay inside the mixers.
class AudioPathFacade {
 public:
  using AudioType = AudioChannelInfo::AudioType;

  virtual ~AudioPathFacade() = default;

  /// Brings all audio cores up, in a fixed order. Once: the mixers' threads start here.
  virtual void Initialize() = 0;

  virtual void UnmaskEmbedderIrq(std::size_t embedder) = 0;
  virtual std::uint64_t GetEmbedderIrq(std::size_t embedder) = 0;
  virtual void HandleEmbedderIrq(std::size_t embedder) = 0;

  /// The audio of one input, 0 to 3. Any other index logs at Warning and gives that of input 0.
  virtual InputAudioPathFacade* GetInputAudioPathFacadeAtIndex(std::size_t index) = 0;
  /// The mixer of input path - 1 for a `path` of 1 to 4, the main mixer for any other.
  virtual AudioMixerDriverControl* GetMixer(int path) = 0;
  /// Fills `meters` from the peak meters of input path - 1 for a `path` of 1 to 4, from those of
  /// the output for any other: whole dB of full scale from -40 to 0, one for each channel.
  virtual void UpdateMeters(int path, std::vector<std::int16_t>& meters) = 0;

  /// Answers a change of the output audio clock: everything that runs on it is reset and released.
  virtual void HandleAudioOutputClkIrq() = 0;
  virtual std::uint64_t GetAudioOutputClkIrq() = 0;
  virtual void UnmaskAudioOutputClkIrq() = 0;

  /// Whether the MADI receiver has a good signal, and whether its rate is the board's.
  virtual void GetMadiRxStatus(bool* ok, bool* rateOk) = 0;

  /// Brings a Dolby E frame back to its ideal line, if the pair (0 to 7) carries Dolby E and sits
  /// off it; to be called now and then for each pair of each embedder. Gives the pair's type, the
  /// line of its burst, and whether its group of two pairs is embedded.
  ///
  /// Only a pair that bypasses the converter of an input's delay line can be moved; any other
  /// logs at Error. All three results are written, but for a bad index: an embedder above 3 or a
  /// pair above 7 throws std::out_of_range.
  virtual void UpdateEmbedderNonPcmLineNum(std::size_t embedder, std::size_t pair, AudioType* type,
                                           std::uint16_t* line, std::uint8_t* groupEnabled) = 0;
  /// Switches an audio group (0 to 3, two pairs each) of an embedder on or off. An index past the
  /// embedders does nothing.
  virtual void SetEmbedderGroupEnable(std::size_t embedder, std::uint8_t group,
                                      std::int16_t enable) = 0;

  /// Makes AES lines 1 to 4 inputs, whose types the graph follows, or outputs, whose types it
  /// leaves alone: channels 0 to 7 of the main mixer's source link 16.
  virtual void SetAes1To4Enable(bool enable) = 0;
  /// The same for AES lines 5 to 8: channels 8 to 15.
  virtual void SetAes5To8Enable(bool enable) = 0;
  virtual void UnmaskAesRxIrq() = 0;
  virtual void HandleAesRxIrq() = 0;
  virtual std::uint64_t GetAesRxIrq() = 0;

  /// An embedder, to be told of its output's video standard.
  virtual AudioEmbedderDriverControl& GetEmbedderAtIndex(std::size_t embedder) = 0;
};
