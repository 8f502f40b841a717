#include "modules/AudioOutputClkGen.h"

#include <array>

#include "log/Log.h"

namespace {

using FieldId = AudioOutputClkGen::FieldId;

constexpr std::uint32_t kAllIrqSources = 7;

struct ErrorFlag {
  FieldId field;
  const char* text;
};
constexpr std::array<ErrorFlag, 3> kErrorFlags{{{"clkIsFailed", "Clock failure"},
                                                {"cycleError", "Clock cycle error"},
                                                {"phaseError", "Clock phase error"}}};

}  // namespace

AudioOutputClkGen::AudioOutputClkGen(const std::string& name, std::uint32_t baseAddress,
                                     std::uint64_t index, std::uint64_t irqNumber)
    : CoreDriver(name, baseAddress, index), irqNumber_(irqNumber) {
}

void AudioOutputClkGen::HoldInReset() {
  LOG_INFO("Resetting %s", GetName().c_str());
  CoreDriver::HoldInReset();
}

void AudioOutputClkGen::UnmaskIrq() {
  WriteBitfield("irqMask", 0);
}

void AudioOutputClkGen::MaskIrq() {
  WriteBitfield("irqMask", kAllIrqSources);
}

bool AudioOutputClkGen::HandleIrq() {
  if (TakeFlags("irqStatus", "irqClr") == 0) {
    return false;
  }
  (void)CheckErrors();  // it logs what there is to say
  return true;
}

bool AudioOutputClkGen::CheckErrors() {
  bool found = false;
  for (const ErrorFlag& flag : kErrorFlags) {
    if (ReadBitfield(flag.field) != 0) {
      LOG_INFO("%s", flag.text);
      found = true;
    }
  }
  if (!found) {
    return false;
  }
  for (const ErrorFlag& flag : kErrorFlags) {
    WriteBitfield(flag.field, 1);
  }
  return true;
}
