#pragma once

#include <array>
#include <chrono>
#include <cstdint>
#include <optional>

#include "map/AudioDelayRegs.h"
#include "sim/FieldModel.h"
#include "sim/SimulatedClock.h"

namespace sim {

/// An audio delay line. Out of reset its pointers move through the ring with the clock, 48 samples
/// a millisecond, each channel's read pointer lagging its write pointer by the channel's delay. A
/// channel takes its delay at the core's start and at the end of a restart. Errors are put into
/// `err_status` and `same_ch_timing_err` with Set, and stay until they are cleared. Powered up, the
/// core is held in reset. Thread-safe.
class AudioDelayModel : public ModelOf<audio_delay_regs::kFields> {
 public:
  AudioDelayModel(BoardMutex& mutex, const SimulatedClock& clock);

  /// How long a restart runs: no time at all at first, for ever without a value. Holds for the
  /// restarts that begin from now on.
  void SetRestartTime(std::optional<std::chrono::microseconds> time);

  /// The channels whose output is valid while the core runs, a bit each: all of them at first.
  void SetValidOutputs(std::uint16_t channels);

  /// The delay that a channel, 0 to 15, has now, in samples at 48 kHz; 0 while the core is held in
  /// reset. Throws std::out_of_range.
  std::uint32_t DelayOf(std::uint32_t channel);

  /// Changes the delay of all channels that go through the sample-rate converter by so many
  /// samples, at once: what the clocks of input and output have drifted apart.
  void Drift(std::int32_t samples);

  /// The same spread evenly over a time, as the converter does; in place of a change that is under
  /// way.
  void Stretch(std::int32_t samples, std::chrono::microseconds over);
  /// Ends a change where it is.
  void StopStretching();

 protected:
  void OnLoad(std::uint32_t offset) override;
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  using Time = std::chrono::steady_clock::time_point;

  struct Channel {
    std::int64_t delay = 0;          // in effect, in samples
    std::optional<Time> restartEnd;  // while a restart runs
  };
  struct Stretching {
    Time start;
    std::chrono::microseconds over;
    std::int64_t samples;
    std::int64_t done;  // samples of it that the delays have already
  };

  bool _Runs() const;
  void _Start();
  void _Stop();
  void _BeginRestarts(std::uint32_t channels);
  void _Follow();
  void _TakeDelay(std::uint32_t channel);
  void _ShiftConverted(std::int64_t samples);
  void _PlacePointers(std::uint32_t channel);
  std::int64_t _RingSamples() const;

  const SimulatedClock& clock_;
  // Guarded by the board's lock.
  std::optional<std::chrono::microseconds> restartTime_{0};
  std::uint16_t validOutputs_ = 0xFFFF;
  Time startedAt_;
  std::array<Channel, audio_delay_regs::kChannels> channels_;
  std::optional<Stretching> stretching_;
};

}  // namespace sim
