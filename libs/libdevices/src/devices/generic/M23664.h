#pragma once

#include <cstdint>
#include <vector>

#include "devices/SdiCableEq.h"

/// The cable equaliser M23664. Signal and rate share one status register: bit 0 is 1 without a
/// signal, bits 3 to 1 are the rate. So 0x01 is no signal, 0x06 a signal of rate 4, and 0x0C a
/// signal of no known rate.
class M23664 : public SdiCableEq {
 public:
  int GetDeviceConstant() override;
  std::uint8_t GetSignalStatusReg() override;
  std::uint8_t GetRateStatusReg() override;
  std::uint8_t GetRevisionReg() override;
  void GetOutputEnableRegAndData(bool enable, std::uint8_t& reg, std::uint8_t& data) override;
  bool DecodeSignalPresent(std::uint8_t status) override;
  std::uint32_t DecodeRate(std::uint8_t status) override;
  /// Revision 1 gets 12 writes of its own in front of the 6 that every chip gets; it is announced
  /// on standard output and logged at Info.
  void GetDeviceInitRegAddrAndData(std::vector<RegPair>& out, std::uint8_t revision) override;
};
