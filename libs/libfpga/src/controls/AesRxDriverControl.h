#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "audio/AudioChannelInfo.h"
#include "modules/AesRx.h"

/// The AES3 receiver in the audio graph: it brings the types that the receiver reports to the
/// channels that follow it.
///
/// Threads: all of it belongs to the thread that updates the graph.
class AesRxDriverControl : public AesRx {
 public:
  /// As AesRx, without channels; none follows the receiver.
  AesRxDriverControl(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
                     std::uint64_t irq);

  /// Gives the node of a channel, 0 to 15, to be set from the receiver. Another channel is refused
  /// with a Warning.
  void SetDestChInfo(std::uint8_t channel, ChInfoPtr info);
  /// Lets a channel, 0 to 15, follow the receiver (`enable` not 0), or keep its type. Another
  /// channel is ignored.
  void SetUpdateEnable(std::uint8_t channel, std::uint8_t enable);
  /// The interrupt's handler: updates the types if the receiver had something to say.
  void HandleIrq();
  /// Asks the receiver for the types of all pairs and sets them on the channels that follow it,
  /// where the nodes of both channels of a pair are there.
  void UpdatePairTypes();

 private:
  std::array<ChInfoPtr, audio_map::kChannels> destInfo_{};
  std::array<std::uint8_t, audio_map::kChannels> updateEnable_{};
};
