#pragma once

#include <cstdint>

#include "map/ModuleMap.h"

/// How audio is laid out on the board: rate, links, and what hangs on which link of the main mixer.
namespace audio_map {

/// All audio runs at 48 kHz, whatever the video standard.
inline constexpr std::uint32_t kSamplesPerSecond = 48000;
inline constexpr std::uint32_t kSamplesPerMs = kSamplesPerSecond / 1000;

/// A link is 16 channels. Two channels are a pair: pair p is channels 2p and 2p + 1.
inline constexpr std::uint8_t kChannels = 16;
inline constexpr std::uint8_t kPairs = kChannels / 2;

/// Links of an input's mixer, on either side.
inline constexpr std::uint8_t kInputMixerLinks = 1;

// Source links of the main mixer: 0 to 3 are the inputs' delay lines through their converters, 4 to
// 7 the pairs that bypass these, 8 to 15 have no driver, 16 is the AES receiver.
inline constexpr std::uint8_t kFirstBypassLink = module_map::kPaths;
inline constexpr std::uint8_t kAesSourceLink = 16;
inline constexpr std::uint8_t kSourceLinks = 17;

// Its destination links: 0 to 3 are the embedders, 4 to 7 the MADI transmitter, 8 to 11 have no
// driver, 12 is the AES transmitter.
inline constexpr std::uint8_t kFirstMadiLink = module_map::kPaths;
inline constexpr std::uint8_t kMadiLinks = 4;
inline constexpr std::uint8_t kAesLink = 12;
inline constexpr std::uint8_t kDestLinks = 13;

/// Links that the output's meters show: those of the embedders.
inline constexpr std::uint8_t kMeteredOutputs = module_map::kPaths;

/// Link of an input, 0 to 3, where its pairs leave it that bypass the converter.
constexpr std::uint8_t BypassLinkOf(std::uint64_t input) {
  return static_cast<std::uint8_t>(kFirstBypassLink + input);
}
/// True if a source link is one of these.
constexpr bool IsBypassLink(std::uint32_t link) {
  return link >= kFirstBypassLink && link < kFirstBypassLink + module_map::kPaths;
}
/// True if a destination link is one of the MADI transmitter's.
constexpr bool IsMadiLink(std::uint32_t link) {
  return link >= kFirstMadiLink && link < kFirstMadiLink + kMadiLinks;
}

}  // namespace audio_map
