#pragma once

#include <cstdint>

/// Where each core's registers lie in the window: 64 slots of 1 MiB. A core's module number is the
/// number of its slot, and the number of its interrupt line where it has one. Modules that exist
/// once for each path are numbered from the path-0 module on.
namespace address_map {

inline constexpr std::uint32_t kSlotBytes = 0x100000;

inline constexpr std::uint32_t kIrqHandler = 0;
inline constexpr std::uint32_t kSdiRxCrosspoint = 1;
inline constexpr std::uint32_t kSdiTxCrosspoint = 2;
inline constexpr std::uint32_t kSdiRx = 3;  // to 6, one for each path
inline constexpr std::uint32_t kSdiTx = 7;  // to 10
inline constexpr std::uint32_t kAudioPath = 11;
inline constexpr std::uint32_t kDeembedder = 12;     // to 15
inline constexpr std::uint32_t kInputClkGen = 16;    // to 19
inline constexpr std::uint32_t kInputMixer = 20;     // to 23
inline constexpr std::uint32_t kAudioDelay = 28;     // to 31
inline constexpr std::uint32_t kAudioDelaySrc = 32;  // to 35
inline constexpr std::uint32_t kOutputClkGen = 36;
inline constexpr std::uint32_t kMainMixer = 37;
inline constexpr std::uint32_t kMadi = 38;  // receiver and transmitter share it
inline constexpr std::uint32_t kDante = 40;
inline constexpr std::uint32_t kAesRx = 41;
inline constexpr std::uint32_t kAesTx = 42;
inline constexpr std::uint32_t kInputPeakMeters = 43;  // to 46
inline constexpr std::uint32_t kOutputPeakMeters = 47;
inline constexpr std::uint32_t kFramesync = 48;  // to 51
inline constexpr std::uint32_t kEmbedder = 52;   // to 55
inline constexpr std::uint32_t kRefDetect = 56;

/// Number of video paths: a receiver, a frame synchroniser and a transmitter each.
inline constexpr std::uint32_t kPaths = 4;

/// Byte offset of a module's registers from the start of the window.
constexpr std::uint32_t BaseOf(std::uint32_t moduleNumber) {
  return moduleNumber * kSlotBytes;
}

}  // namespace address_map
