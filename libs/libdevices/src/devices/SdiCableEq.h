#pragma once

#include <cstdint>
#include <vector>

/// One write to a chip's register.
struct RegPair {
  std::uint8_t reg;
  std::uint8_t data;

  friend bool operator==(const RegPair&, const RegPair&) = default;
};

/// What is particular to one type of cable equaliser: its register numbers (0 to 0x7F), the meaning
/// of its status, its set-up. It talks to no chip; SdiCableEqInterface does.
class SdiCableEq {
 public:
  virtual ~SdiCableEq() = default;

  /// A number that tells the types of chips apart.
  virtual int GetDeviceConstant() = 0;
  virtual std::uint8_t GetSignalStatusReg() = 0;
  virtual std::uint8_t GetRateStatusReg() = 0;
  virtual std::uint8_t GetRevisionReg() = 0;
  /// Gives the write that switches the output on or off.
  virtual void GetOutputEnableRegAndData(bool enable, std::uint8_t& reg, std::uint8_t& data) = 0;
  /// True if the signal status register says that there is a signal.
  virtual bool DecodeSignalPresent(std::uint8_t status) = 0;
  /// The rate that the rate status register says: 1 MADI, 2 SD, 3 HD, 4 3G, 5 6G, 6 12G; 0 without
  /// a signal, and for a rate that the chip doesn't know.
  virtual std::uint32_t DecodeRate(std::uint8_t status) = 0;
  /// Appends the writes that set a chip of this revision up, in their order.
  virtual void GetDeviceInitRegAddrAndData(std::vector<RegPair>& out, std::uint8_t revision) = 0;
};
