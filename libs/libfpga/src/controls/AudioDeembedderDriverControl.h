#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "audio/AudioChannelInfo.h"
#include "modules/AudioDeembedder.h"

/// A de-embedder in the audio graph: what its pairs carry goes into the objects of its channels,
/// and from there down the graph.
///
/// Threads: all operations belong to the one thread that drives the audio graph.
class AudioDeembedderDriverControl : public AudioDeembedder {
 public:
  /// As AudioDeembedder's. No channel has an object at first.
  AudioDeembedderDriverControl(const std::string& name, std::uint32_t baseAddress,
                               std::uint64_t index, std::uint64_t irq);

  /// Gives a channel, 0 to 15, its object. Another channel is logged at Warning and changes
  /// nothing.
  void SetDestChInfo(std::uint8_t channel, ChInfoPtr info);

  /// AudioDeembedder::OnVideoTypeChange, then UpdatePairTypes.
  void OnVideoTypeChange(std::uint32_t link, std::uint32_t videoStandard);
  /// AudioDeembedder::HandleIrq, then UpdatePairTypes if anything was pending.
  void HandleIrq();
  /// Reads the types of all pairs and sets each on both channels of its pair, where both have an
  /// object. A type that is unchanged goes no further.
  void UpdatePairTypes();

 private:
  std::array<ChInfoPtr, audio_map::kChannels> destInfo_;
};
