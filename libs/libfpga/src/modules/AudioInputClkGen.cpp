#include "modules/AudioInputClkGen.h"

namespace {

constexpr std::uint32_t kAllIrqSources = 7;

}  // namespace

AudioInputClkGen::AudioInputClkGen(const std::string& name, std::uint32_t baseAddress,
                                   std::uint64_t index)
    : RegisterBlock(name, baseAddress), name_(name), baseAddress_(baseAddress), index_(index) {
}

void AudioInputClkGen::HoldInReset() {
  WriteBitfield("reset", 1);
}

void AudioInputClkGen::ReleaseFromReset() {
  WriteBitfield("reset", 0);
  WriteBitfield("videoTypeOverride", 0);
}

void AudioInputClkGen::ResetAndRelease() {
  HoldInReset();
  ReleaseFromReset();
}

void AudioInputClkGen::UnmaskIrq() {
  WriteBitfield("irqMask", 0);
}

void AudioInputClkGen::MaskIrq() {
  WriteBitfield("irqMask", kAllIrqSources);
}

void AudioInputClkGen::HandleIrq() {
  const std::uint32_t status = ReadBitfield("irqStatus");
  if (status != 0) {
    WriteBitfield("irqClr", status);
  }
}
