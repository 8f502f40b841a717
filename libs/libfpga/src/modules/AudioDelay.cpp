#include "modules/AudioDelay.h"

#include <algorithm>
#include <array>

#include "log/Log.h"
#include "modules/AudioDelaySamples.h"
#include "platform/Clock.h"

namespace {

using audio_delay_regs::kChannels;
using audio_delay_regs::kPairs;

constexpr AudioDelay::NumberedFields kInitDelays{"per_ch_init_delay_#"};
constexpr AudioDelay::NumberedFields kWritePointers{"per_ch_write_ptr_#"};
constexpr AudioDelay::NumberedFields kReadPointers{"per_ch_read_ptr_#"};

constexpr std::uint32_t kAllChannels = 0xFFFF;
constexpr unsigned kRestartTries = 10;
constexpr std::uint32_t kRestartPollMicroseconds = 100;

constexpr unsigned kDramUnitShift = 3;  // 8 bytes

// The core's own errors, by the bit of err_status.
constexpr std::array<const char*, 8> kCoreErrors{
    "src_sof_error",    "src_ce_error",     "ingress sdram error", "ingress_sof_error",
    "ingress_ce_error", "nonsrc_sof_error", "nonsrc_ce_error",     "nonsrc_sof_timing_error"};
constexpr std::uint32_t kCoreErrorMask = 0xFF;

constexpr bool HasBit(std::uint32_t word, unsigned bit) {
  return (word >> bit & 1U) != 0;
}

}  // namespace

AudioDelay::AudioDelay(const std::string& name, std::uint32_t baseAddress, std::uint64_t index)
    : CoreDriver(name, baseAddress, index, "glbl_reset") {
}

void AudioDelay::_InitializeDramAndCsr(std::uint32_t dramBase, std::uint32_t dramSize) {
  dramBase_ = dramBase;
  dramSize_ = dramSize;
  LOG_INFO("Setting base address of %x, with a size of %x", dramBase, dramSize);
  chunkCount_ = audio_delay::ChunksIn(dramSize);
  memoryChunks_ = audio_delay::LastPosition(chunkCount_);
  dramGiven_ = true;
}

void AudioDelay::Initialize() {
  WriteBitfield("delayed_restart", 0);
  WriteBitfield("route_pairs_via_nonsrc", 0);
  WriteBitfield("timeout_sel", 0);
  WriteBitfield("bypass_src", 0);
  WriteBitfield("allow_nonsrc_ch_restart", 0);
  WriteBitfield("e_or_ac3_frame", 0);
  WriteBitfield("anchor_restart", 0);
  failedRestarts_ = 0;
}

void AudioDelay::Setup() {
  if (!dramGiven_) {
    LOG_ERROR("Attempt to setup audio delay line before DRAM space was allocated to it");
    HoldInReset();
    return;
  }
  if (memoryChunks_ > dramSize_) {
    LOG_ERROR("The audio delay line was not allocated enough space in DRAM %u %u", memoryChunks_,
              dramSize_);
    return;
  }
  LOG_INFO("Calling AudioDelay::Setup");
  const std::uint32_t base = dramBase_ >> kDramUnitShift;
  LOG_DEBUG("Audio delay setting base phy address to 0x%08X", base);
  WriteBitfield("base_addr", base);
  LOG_DEBUG("Audio delay setting number of chunks to 0x%08X", memoryChunks_);
  WriteBitfield("memory_chunks", memoryChunks_);
  HoldInReset();
  (void)CheckErrors();  // clears what has piled up
  WriteBitfield("restart", 0);
  failedRestarts_ = 0;
  ReleaseFromReset();
}

void AudioDelay::HoldInReset() {
  CoreDriver::HoldInReset();
  failedRestarts_ = 0;
}

void AudioDelay::SetChannelDelay(std::uint8_t channel, float ms) {
  const std::uint32_t samples = audio_delay::ToSamples(ms);
  LOG_DEBUG("Called SetChannelDelay for channel %d with value of %f and sample delay of %d",
            channel, static_cast<double>(ms), static_cast<int>(samples));
  if (channel >= kChannels) {
    LOG_WARNING("Trying to set the delay of an invalid channel number");
    return;
  }
  WriteBitfield(kInitDelays[channel], samples);
}

std::uint32_t AudioDelay::_MeasureDelay(std::uint8_t channel) {
  const std::uint32_t readPointer = ReadBitfield(kReadPointers[channel]);
  const std::uint32_t writePointer = ReadBitfield(kWritePointers[channel]);
  return audio_delay::SamplesBetween(readPointer, writePointer, memoryChunks_);
}

void AudioDelay::GetChannelDelay(std::uint8_t channel, std::uint32_t* samples, float* ms) {
  if (channel >= kChannels) {
    LOG_WARNING("Trying to get the delay of an invalid channel number");
    return;
  }
  *samples = _MeasureDelay(channel);
  *ms = audio_delay::ToMs(*samples);
}

int AudioDelay::GetSampleDelta(std::uint8_t channel, float ms) {
  if (channel >= kChannels) {
    LOG_WARNING("Trying to get the delay of an invalid channel number");
    return 0;
  }
  return audio_delay::SampleDelta(audio_delay::ToSamples(ms), _MeasureDelay(channel));
}

void AudioDelay::RestartChannel(std::uint8_t channel) {
  if (channel >= kChannels) {
    LOG_WARNING("Trying to restart an invalid channel number");
    return;
  }
  _Restart(1U << channel, kRestartTries);
}

void AudioDelay::RestartAllChannels() {
  _Restart(kAllChannels, kRestartTries - 1);  // the last try ends the wait
}

// A restart is only asked for while the core has no restart of these channels under way. The write
// leaves the restarts of other channels to the core. A pause follows each of the first `pauses`
// tries.
void AudioDelay::_Restart(std::uint32_t channels, unsigned pauses) {
  if (IsHeldInReset()) {
    return;
  }
  for (unsigned attempt = 0; attempt < kRestartTries; ++attempt) {
    const std::uint32_t restarting = ReadBitfield("restart");
    const std::uint32_t valid = ReadBitfield("output_valid_after_reset");
    if ((restarting & channels) == 0 && (valid & channels) != 0) {
      WriteBitfield("restart", channels);
      return;
    }
    if (attempt < pauses) {
      platform::SleepMicroseconds(kRestartPollMicroseconds);
    }
  }
  failedRestarts_ = static_cast<std::uint16_t>(failedRestarts_ | channels);
}

void AudioDelay::RetryFailedRestarts() {
  for (std::uint8_t channel = 0; channel < kChannels; ++channel) {
    if (HasBit(failedRestarts_, channel)) {
      RestartChannel(channel);
    }
  }
}

void AudioDelay::SetPairViaNonSrc(std::uint8_t pair, bool viaNonSrc) {
  const std::uint32_t routes = ReadBitfield("route_pairs_via_nonsrc");
  const std::uint32_t bit = pair < kPairs ? 1U << pair : 0;
  WriteBitfield("route_pairs_via_nonsrc", viaNonSrc ? routes | bit : routes & ~bit);
  _RestartPair(pair);
}

bool AudioDelay::IsPairViaNonSrc(std::uint8_t pair) {
  return pair < kPairs && HasBit(ReadBitfield("route_pairs_via_nonsrc"), pair);
}

bool AudioDelay::CheckErrors() {
  const std::uint32_t errors = ReadBitfield("err_status");
  const std::uint32_t sameChannelErrors = ReadBitfield("same_ch_timing_err");
  if (errors == 0 && sameChannelErrors == 0) {
    return false;
  }
  WriteBitfield("err_status", 0xFFFFFFFF);
  WriteBitfield("same_ch_timing_err", kAllChannels);
  LOG_INFO("Showing errors for audio delay %d", static_cast<int>(GetIndex()));
  if (IsHeldInReset()) {
    return false;
  }
  _ReportErrors(LOG_ORIGIN, errors, sameChannelErrors);
  return (errors & kCoreErrorMask) != 0;
}

// The lines count channels from 1 where they tell of a restart.
void AudioDelay::_ReportErrors(const LogOrigin& check, std::uint32_t errors,
                               std::uint32_t sameChannelErrors) {
  using audio_delay_regs::kFramingError;
  using audio_delay_regs::kTimingError;
  for (unsigned channel = 0; channel < kChannels; ++channel) {
    if (HasBit(errors, kTimingError + channel)) {
      LOG_ERROR_FROM(check, "%s: CH%u Timing Error", GetName().c_str(), channel);
    }
  }
  for (std::uint8_t pair = 0; pair < kPairs; ++pair) {
    if (HasBit(errors, kFramingError + pair)) {
      LOG_ERROR_FROM(check, "%s: PAIR%d Framing Error Restarting Channel %d,%d", GetName().c_str(),
                     pair, 2 * pair + 1, 2 * pair + 2);
      _RestartPair(pair);
    }
  }
  for (unsigned bit = kCoreErrors.size(); bit-- > 0;) {
    if (!HasBit(errors, bit)) {
      continue;
    }
    LOG_ERROR_FROM(check, "%s", kCoreErrors[bit]);
    if (bit == audio_delay_regs::kIngressSofError) {
      ResetAndRelease();
    }
  }
  if (sameChannelErrors != 0) {
    LOG_ERROR_FROM(check, "same_ch_timing_error");
  }
}

void AudioDelay::_RestartPair(std::uint8_t pair) {
  const auto first = static_cast<std::uint8_t>(2 * std::min(pair, kPairs));
  RestartChannel(first);
  RestartChannel(static_cast<std::uint8_t>(first + 1));
}
