#include "modules/AudioDelaySrc.h"

#include "log/Log.h"

namespace {

constexpr std::uint32_t kSamplesPerSecond = 48000;

}  // namespace

AudioDelaySrc::AudioDelaySrc(const std::string& name, std::uint32_t baseAddress,
                             std::uint64_t index, std::uint64_t irq)
    : RegisterBlock(name, baseAddress),
      name_(name),
      baseAddress_(baseAddress),
      index_(index),
      irq_(irq) {
}

void AudioDelaySrc::Setup() {
  HoldInReset();
  WriteBitfield("irq_sample_num", kSamplesPerSecond);
  ReleaseFromReset();
}

void AudioDelaySrc::HoldInReset() {
  LOG_INFO("Hold In Reset");
  WriteBitfield("logic_reset", 1);
}

void AudioDelaySrc::ReleaseFromReset() {
  LOG_INFO("Release From Reset");
  WriteBitfield("logic_reset", 0);
}

void AudioDelaySrc::ResetAndRelease() {
  HoldInReset();
  ReleaseFromReset();
}

bool AudioDelaySrc::IsHeldInReset() {
  return ReadBitfield("logic_reset") != 0;
}

bool AudioDelaySrc::IsAdjusting() {
  return ReadBitfield("apply_adjustment") == 1;
}

void AudioDelaySrc::ApplyAdjustment(std::uint8_t grow, std::uint32_t samples) {
  if (IsAdjusting()) {
    return;
  }
  LOG_DEBUG("Audio Delay Src %d Applying a grow_nshrink %d, of %d samples",
            static_cast<int>(index_), grow, static_cast<int>(samples));
  WriteBitfield("grow_else_shrink_delay", grow);
  WriteBitfield("application_samples", samples);
  WriteBitfield("new_adjustment", 1);  // last: it starts the adjustment
}

bool AudioDelaySrc::HandleIrq() {
  const std::uint32_t status = ReadBitfield("irq_status");
  if (status == 0) {
    return false;
  }
  WriteBitfield("irq_clr", status);
  WriteBitfield("irq_clr", 0);
  return true;
}

void AudioDelaySrc::MaskIrq() {
  WriteBitfield("irq_mask", 1);
}

void AudioDelaySrc::UnmaskIrq() {
  WriteBitfield("irq_mask", 0);
}
