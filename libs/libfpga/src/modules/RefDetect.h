#pragma once

#include <cstdint>
#include <string>

#include "map/RefDetectRegs.h"
#include "regaccess/CoreDriver.h"

/// The reference detection: it measures the two external reference inputs, and gives a timing pulse
/// on two outputs. Its counters run at 100/9 counts to a 27 MHz tick, that is at 300 MHz.
///
/// Thread-safe: there is no state beside the registers. The counters of one reference are read one
/// by one, and may belong to different frames of a signal that changes meanwhile.
class RefDetect : public CoreDriver<RefDetect, ref_detect_regs::kFields> {
 public:
  /// Leaves the core untouched.
  RefDetect(const std::string& name, std::uint32_t baseAddress);

  /// ResetAndRelease.
  void Reset() { ResetAndRelease(); }

  /// Gives the id of the standard whose timing the first or the second reference has, and logs its
  /// name at Debug; 0 ("Unknown") for a reference that is absent or has the timing of no standard.
  int GetReferenceFormat(bool secondReference);

  /// Switches the timing pulse of the first or the second output and sets its offset, in 27 MHz
  /// ticks: from 0 to 1509949, the 24 bits of the counters. A greater offset is refused and logged
  /// by the register access, with the pulse switched all the same. The first output logs its offset
  /// at Debug.
  void SetPulseOutputEnable(bool enable, bool secondOutput, float offset);
};
