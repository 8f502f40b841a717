#include "modules/RefDetect.h"

#include "log/Log.h"
#include "support/Saturate.h"
#include "video/Video.h"

namespace {

using FieldId = RefDetect::FieldId;

// Between the counters' ticks and those of 27 MHz.
constexpr float kTicksPerCount = 0.09F;
constexpr float kCountsPerTick = 11.111111F;

struct CounterFields {
  FieldId hLow, hHigh;
  FieldId fLow, fHigh;
  FieldId vLow, vHigh;
};
constexpr CounterFields kReference1{"ref1HLowCnt",  "ref1HHighCnt", "ref1FLowCnt",
                                    "ref1FHighCnt", "ref1VLowCnt",  "ref1VHighCnt"};
constexpr CounterFields kReference2{"ref2HLowCnt",  "ref2HHighCnt", "ref2FLowCnt",
                                    "ref2FHighCnt", "ref2VLowCnt",  "ref2VHighCnt"};

float ToTicks(std::uint32_t counts) {
  return static_cast<float>(counts) * kTicksPerCount;
}

}  // namespace

RefDetect::RefDetect(const std::string& name, std::uint32_t baseAddress)
    : CoreDriver(name, baseAddress, 0) {
}

int RefDetect::GetReferenceFormat(bool secondReference) {
  const CounterFields& fields = secondReference ? kReference2 : kReference1;
  const std::uint32_t hLow = ReadBitfield(fields.hLow);
  const std::uint32_t hHigh = ReadBitfield(fields.hHigh);
  const std::uint32_t fLow = ReadBitfield(fields.fLow);
  const std::uint32_t fHigh = ReadBitfield(fields.fHigh);
  const std::uint32_t vLow = ReadBitfield(fields.vLow);
  const std::uint32_t vHigh = ReadBitfield(fields.vHigh);
  const int id = DetectVideoStandard(ToTicks(hLow + hHigh), ToTicks(fLow), ToTicks(fHigh),
                                     ToTicks(vLow + vHigh));
  LOG_DEBUG("Detected reference video: %s", GetVideoStandard(id).name.c_str());
  return id;
}

void RefDetect::SetPulseOutputEnable(bool enable, bool secondOutput, float offset) {
  const auto counts = SaturateCast<std::uint32_t>(offset * kCountsPerTick);
  if (secondOutput) {
    WriteBitfield("pulseEnable2", enable ? 1 : 0);
    WriteBitfield("pulseOffset2", counts);
    return;
  }
  WriteBitfield("pulseEnable1", enable ? 1 : 0);
  LOG_DEBUG("pulse offset is %f 27 %u 150", static_cast<double>(offset), counts);
  WriteBitfield("pulseOffset1", counts);
}
