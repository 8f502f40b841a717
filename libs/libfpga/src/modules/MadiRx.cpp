#include "modules/MadiRx.h"

#include "log/Log.h"

MadiRxImpl::MadiRxImpl(const std::string& name, std::uint32_t baseAddress, std::uint64_t index)
    : CoreDriver(name, baseAddress, index) {
}

void MadiRxImpl::GetMadiRxStatus(bool* ok, bool* rateOk) {
  *ok = false;
  *rateOk = false;
  const std::uint32_t status = ReadBitfield("rxStatus");
  WriteBitfieldNoRmw("rxStatus", status);  // a 1 clears its flag
  if (status != 0) {
    return;
  }
  *ok = true;
  const std::uint32_t count = ReadBitfield("rxSampleCount");
  *rateOk = count >= madi_regs::kLowestSampleCount && count <= madi_regs::kHighestSampleCount;
}

void MadiRxImpl::DumpStatus(std::uint64_t, std::uint64_t, std::string& report, std::uint8_t* more) {
  *more = 0;
  report = FormatMessage("Reset is set to %d\n", static_cast<int>(ReadBitfield("reset")));
}
