#include "sim/models/AudioDelayModel.h"

#include <algorithm>

namespace sim {
namespace {

using audio_delay_regs::kChannels;
using audio_delay_regs::kFields;
using audio_delay_regs::kPerChannel;

using Samples = std::chrono::duration<std::int64_t, std::ratio<1, 48000>>;

constexpr std::uint32_t OffsetOf(FieldIn<kFields> field) {
  return field.Get().byteOffset;
}
constexpr std::uint32_t kResetWord = OffsetOf("glbl_reset");
constexpr std::uint32_t kRestartWord = OffsetOf("restart");
constexpr std::uint32_t kDelays = OffsetOf("per_ch_init_delay_0");
constexpr std::uint32_t kWritePointers = OffsetOf("per_ch_write_ptr_0");
constexpr std::uint32_t kReadPointers = OffsetOf("per_ch_read_ptr_0");
constexpr std::uint32_t kReadPointerMask = MaskInWord(FieldIn<kFields>("per_ch_read_ptr_0").Get());

constexpr bool HasBit(std::uint32_t word, std::uint32_t bit) {
  return (word >> bit & 1U) != 0;
}

}  // namespace

AudioDelayModel::AudioDelayModel(BoardMutex& mutex, const SimulatedClock& clock)
    : FieldModel(mutex, kFields), clock_(clock) {
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
  const std::uint32_t channel = (offset - kDelays) / kPerChannel.wordStride;
  if (offset >= kDelays && channel < kChannels) {
    _PlacePointers(channel);
  }
}

void AudioDelayModel::OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) {
  if (offset == kResetWord) {
    const std::uint32_t reset = MaskInWord(Row("glbl_reset"));
    if ((before & ~written & reset) != 0) {
      _Start();
    } else if ((~before & written & reset) != 0) {
      _Stop();
    }
  } else if (offset == kRestartWord && _Runs()) {
    _BeginRestarts(written & MaskInWord(Row("restart")));
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
  const std::int64_t delay = Word(kDelays + channel * kPerChannel.wordStride);
  channels_[channel] = {std::min(delay, _RingSamples() - 1), std::nullopt};
}

void AudioDelayModel::_ShiftConverted(std::int64_t samples) {
  if (!_Runs()) {
    return;
  }
  const std::uint32_t aroundConverter = Get("route_pairs_via_nonsrc");
  for (std::uint32_t channel = 0; channel < kChannels; ++channel) {
    if (!HasBit(aroundConverter, channel / 2)) {
      std::int64_t& delay = channels_[channel].delay;
      delay = std::clamp<std::int64_t>(delay + samples, 0, _RingSamples() - 1);
    }
  }
}

void AudioDelayModel::_PlacePointers(std::uint32_t channel) {
  const std::uint32_t base = channel * kPerChannel.wordStride;
  if (!_Runs()) {
    SetWord(kWritePointers + base, 0);
    SetWord(kReadPointers + base, 0);
    return;
  }
  const std::int64_t ring = _RingSamples();
  const std::int64_t written = std::chrono::floor<Samples>(clock_.Steady() - startedAt_).count();
  const std::int64_t delay = std::min(channels_[channel].delay, ring - 1);
  const std::int64_t read = written - delay + ring;
  SetWord(kWritePointers + base, static_cast<std::uint32_t>(written % ring));
  SetWord(kReadPointers + base, static_cast<std::uint32_t>(read % ring) & kReadPointerMask);
}

std::int64_t AudioDelayModel::_RingSamples() const {
  return std::int64_t{Get("memory_chunks")} + 1;
}

}  // namespace sim
