#include "modules/AudioDelaySrc.h"

#include "log/Log.h"
#include "map/AudioMap.h"

AudioDelaySrc::AudioDelaySrc(const std::string& name, std::uint32_t baseAddress,
                             std::uint64_t index, std::uint64_t irq)
    : CoreDriver(name, baseAddress, index, "logic_reset"), irq_(irq) {
}

void AudioDelaySrc::Setup() {
  HoldInReset();
  WriteBitfield("irq_sample_num", audio_map::kSamplesPerSecond);
  ReleaseFromReset();
}

void AudioDelaySrc::HoldInReset() {
  LOG_INFO("Hold In Reset");
  CoreDriver::HoldInReset();
}

void AudioDelaySrc::ReleaseFromReset() {
  LOG_INFO("Release From Reset");
  CoreDriver::ReleaseFromReset();
}

bool AudioDelaySrc::IsAdjusting() {
  return ReadBitfield("apply_adjustment") == 1;
}

void AudioDelaySrc::ApplyAdjustment(std::uint8_t grow, std::uint32_t samples) {
  if (IsAdjusting()) {
    return;
  }
  LOG_DEBUG("Audio Delay Src %d Applying a grow_nshrink %d, of %d samples",
            static_cast<int>(GetIndex()), grow, static_cast<int>(samples));
  WriteBitfield("grow_else_shrink_delay", grow);
  WriteBitfield("application_samples", samples);
  WriteBitfield("new_adjustment", 1);  // last: it starts the adjustment
}

bool AudioDelaySrc::HandleIrq() {
  return TakeFlags("irq_status", "irq_clr") != 0;
}

void AudioDelaySrc::MaskIrq() {
  WriteBitfield("irq_mask", 1);
}

void AudioDelaySrc::UnmaskIrq() {
  WriteBitfield("irq_mask", 0);
}
