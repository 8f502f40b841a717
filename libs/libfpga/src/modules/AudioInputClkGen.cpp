#include "modules/AudioInputClkGen.h"

namespace {

constexpr std::uint32_t kAllIrqSources = 7;

}  // namespace

AudioInputClkGen::AudioInputClkGen(const std::string& name, std::uint32_t baseAddress,
                                   std::uint64_t index)
    : CoreDriver(name, baseAddress, index) {
}

void AudioInputClkGen::ReleaseFromReset() {
  CoreDriver::ReleaseFromReset();
  WriteBitfield("videoTypeOverride", 0);
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
