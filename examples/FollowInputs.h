#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <string>

#include "top/TopFpga.h"

/// A small application of the driver library: whatever is plugged into an SDI input leaves by the
/// transmitter of the same number, with its audio, in the format that it came in. AES lines 1 to 4
/// are inputs, whose types are followed; lines 5 to 8 put out the audio of input 0.
///
/// Everything runs in the thread that calls Poll and CheckOutputs; each event gives one line of
/// text.
class FollowInputs {
 public:
  using Print = std::function<void(const std::string& line)>;

  /// Routes video and audio straight through, registers the interrupts' handlers and opens the
  /// interrupts. `fpga` is up, and outlives this object; it keeps the handlers, so that its
  /// interrupts may not be polled any more when this object is gone.
  FollowInputs(TopFpga& fpga, Print print);
  FollowInputs(const FollowInputs&) = delete;
  FollowInputs& operator=(const FollowInputs&) = delete;

  /// Serves what is pending: to be called as often as the application likes to react.
  void Poll();
  /// Looks after what gives no interrupt: alignment and delay of the outputs, errors of the audio
  /// delay, Dolby E frames that left their line. To be called about once a second.
  void CheckOutputs();

 private:
  static constexpr std::size_t kPaths = 4;

  /// What was last printed of a path.
  struct Path {
    std::uint32_t standardId = 0;
    bool settled = false;
    float delayMs = 0;
    AudioTypeArray types{};
    std::array<std::uint16_t, 8> burstLines{};  // by pair
  };

  void _RouteVideo();
  void _RouteAudio();
  void _OpenInterrupts();
  void _Serve(std::uint64_t irq, std::function<void()> handler);
  void _Follow(std::size_t path, const VideoFormat& format);
  void _CheckVideo(std::size_t path);
  void _CheckAudio(std::size_t path);
  void _Say(const char* what, std::size_t path, const std::string& news);

  TopFpga& fpga_;
  AudioPathFacade& audio_;
  const Print print_;
  std::array<Path, kPaths> paths_;
};
