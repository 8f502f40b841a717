#include "devices/generic/M23664.h"

#include <array>
#include <cstdio>

#include "log/Log.h"

namespace {

constexpr std::uint8_t kRevisionReg = 1;
constexpr std::uint8_t kOutputDisableReg = 4;
constexpr std::uint8_t kStatusReg = 15;

constexpr std::uint8_t kNoSignal = 0x01;
constexpr unsigned kRateLsb = 1;
constexpr unsigned kRateMask = 7;
constexpr std::uint32_t kKnownRates = 6;

constexpr std::uint8_t kRevisionB = 1;

// Writes whose order the chip depends on.
// clang-format off
constexpr std::array<RegPair, 12> kRevisionBSetup{{
    {0x78, 0x62},
    {0x79, 0x26},
    {0x7A, 0x55},
    {0x60, 0x1E},
    {0x61, 0xFE},
    {0x62, 0x0E},
    {0x50, 0x07},
    {0x4E, 0x08},
    {0x4F, 0x10},
    {0x51, 0x78},
    {0x44, 0x6B},
    {0x12, 0x02},
}};

constexpr std::array<RegPair, 6> kSetup{{
    {0x03, 0x09},
    {0x05, 0x09},
    {0x08, 0x0B},
    {0x07, 0x3F},
    {0x02, 0x0A},
    {0x02, 0x02},
}};
// clang-format on

}  // namespace

int M23664::GetDeviceConstant() {
  return 1;
}

std::uint8_t M23664::GetSignalStatusReg() {
  return kStatusReg;
}

std::uint8_t M23664::GetRateStatusReg() {
  return kStatusReg;
}

std::uint8_t M23664::GetRevisionReg() {
  return kRevisionReg;
}

void M23664::GetOutputEnableRegAndData(bool enable, std::uint8_t& reg, std::uint8_t& data) {
  reg = kOutputDisableReg;
  data = enable ? 0 : 1;
}

bool M23664::DecodeSignalPresent(std::uint8_t status) {
  return (status & kNoSignal) == 0;
}

std::uint32_t M23664::DecodeRate(std::uint8_t status) {
  if (!DecodeSignalPresent(status)) {
    return 0;
  }
  const std::uint32_t rate = unsigned{status} >> kRateLsb & kRateMask;
  return rate < kKnownRates ? rate + 1 : 0;
}

void M23664::GetDeviceInitRegAddrAndData(std::vector<RegPair>& out, std::uint8_t revision) {
  if (revision == kRevisionB) {
    std::puts("REV B");
    LOG_INFO("Doing special MA23664 Rev B setup");
    out.insert(out.end(), kRevisionBSetup.begin(), kRevisionBSetup.end());
  }
  out.insert(out.end(), kSetup.begin(), kSetup.end());
}
