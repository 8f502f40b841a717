#include "sim/models/AudioDelayModel.h"

#include <algorithm>

namespace sim {
namespace {

using audio_delay_regs::kPerChannel;
using audio_map::kChannels;
using NumberedFields = AudioDelayModel::NumberedFields;

using Samples = std::chrono::duration<std::int64_t, std::ratio<1, audio_map::kSamplesPerSecond>>;

constexpr NumberedFields kDelays("per_ch_init_delay_#");
constexpr NumberedFields kWritePointers("per_ch_write_ptr_#");
constexpr NumberedFields kReadPointers("per_ch_read_ptr_#");

constexpr bool HasBit(std::uint32_t word, std::uint32_t bit) {
  return (word >> bit & 1U) != 0;
}

}  // namespace

AudioDelayModel::AudioDelayModel(BoardMutex& mutex, const SimulatedClock& clock)
    : ModelOf(mutex), clock_(clock) {
  Set("glbl_reset", 1);
}

void AudioDelayModel::SetRestartTime(std::optional<std::chrono::microseconds> time) {
  const std::lock_guard lock(Mutex());
  restartTime_ = time;
}

void AudioDelayModel::SetValidOutputs(std::uint16_t channels) {
  const std::lock_guard lock(Mutex());
  validOutputs_ = channels;
  Set("output_valid_after_reset", _Runs() ? channels : 0);
}

std::uint32_t AudioDelayModel::DelayOf(std::uint32_t channel) {
  const std::lock_guard lock(Mutex());
  _Follow();
  const std::int64_t delay = channels_.at(channel).delay;
  return _Runs() ? static_cast<std::uint32_t>(std::max<std::int64_t>(delay, 0)) : 0;
}

void AudioDelayModel::Drift(std::int32_t samples) {
  const std::lock_guard lock(Mutex());
  _Follow();
  _ShiftConverted(samples);
}

void AudioDelayModel::Stretch(std::int32_t samples, std::chrono::microseconds over) {
  const std::lock_guard lock(Mutex());
  _Follow();
  stretching_ = {clock_.Steady(), over, samples, 0};
}

void AudioDelayModel::StopStretching() {
  const std::lock_guard lock(Mutex());
  _Follow();
  stretching_.reset();
}

void AudioDelayModel::OnLoad(std::uint32_t offset) {
  _Follow();
  constexpr std::uint32_t kFirst = WordOf("per_ch_init_delay_0");
  const std::uint32_t channel = (offset - kFirst) / kPerChannel.wordStride;
  if (offset >= kFirst && channel < kChannels) {
    _PlacePointers(channel);
  }
}

void AudioDelayModel::OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) {
  if (offset == WordOf("glbl_reset")) {
    constexpr std::uint32_t reset = MaskOf("glbl_reset");
    if ((before & ~written & reset) != 0) {
      _Start();
    } else if ((~before & written & reset) != 0) {
      _Stop();
    }
  } else if (offset == WordOf("restart") && _Runs()) {
    _BeginRestarts(written & MaskOf("restart"));
  }
}

bool AudioDelayModel::_Runs() const {
  return Get("glbl_reset") == 0;
}

void AudioDelayModel::_Start() {
  startedAt_ = clock_.Steady();
  for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
    _TakeDelay(channel);
  }
  Set("output_valid_after_reset", validOutputs_);
}

void AudioDelayModel::_Stop() {
  channels_ = {};
  stretching_.reset();
  Set("restart", 0);
  Set("output_valid_after_reset", 0);
}

// A written 0 leaves a restart alone that runs.
void AudioDelayModel::_BeginRestarts(std::uint32_t channels) {
  _Follow();
  for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
    if (HasBit(channels, channel)) {
      channels_[channel].restartEnd = restartTime_ ? clock_.Steady() + *restartTime_ : Time::max();
    }
  }
  Set("restart", Get("restart") | channels);
  _Follow();  // they may have ended by now
}

// Brings everything up to now but the pointers.
void AudioDelayModel::_Follow() {
  const Time now = clock_.Steady();
  if (stretching_) {
    Stretching& s = *stretching_;
    const std::int64_t elapsed =
        std::chrono::floor<std::chrono::microseconds>(now - s.start).count();
    const std::int64_t done =
        elapsed >= s.over.count() ? s.samples : s.samples * elapsed / s.over.count();
    _ShiftConverted(done - s.done);
    s.done = done;
    if (done == s.samples) {
      stretching_.reset();
    }
  }
  for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
    const std::optional<Time> end = channels_[channel].restartEnd;
    if (end && *end <= now) {
      _TakeDelay(channel);
      Set("restart", Get("restart") & ~(1U << channel));
    }
  }
}

void AudioDelayModel::_TakeDelay(std::uint32_t channel) {
  const std::int64_t delay = Get(kDelays[channel]);
  channels_[channel] = {std::min(delay, _RingSamples() - 1), std::nullopt};
}

void AudioDelayModel::_ShiftConverted(std::int64_t samples) {
  if (!_Runs()) {
    return;
  }
  const std::uint32_t bypasses = Get("route_pairs_via_nonsrc");
  for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
    if (!HasBit(bypasses, channel / 2)) {
      std::int64_t& delay = channels_[channel].delay;
      delay = std::clamp<std::int64_t>(delay + samples, 0, _RingSamples() - 1);
    }
  }
}

void AudioDelayModel::_PlacePointers(std::uint32_t channel) {
  if (!_Runs()) {
    Set(kWritePointers[channel], 0);
    Set(kReadPointers[channel], 0);
    return;
  }
  const std::int64_t ring = _RingSamples();
  const std::int64_t written = std::chrono::floor<Samples>(clock_.Steady() - startedAt_).count();
  const std::int64_t delay = std::min(channels_[channel].delay, ring - 1);
  const std::int64_t read = written - delay + ring;
  Set(kWritePointers[channel], static_cast<std::uint32_t>(written % ring));
  Set(kReadPointers[channel], static_cast<std::uint32_t>(read % ring));
}

std::int64_t AudioDelayModel::_RingSamples() const {
  return std::int64_t{Get("memory_chunks")} + 1;
}

}  // namespace sim
