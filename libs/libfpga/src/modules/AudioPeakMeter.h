#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "map/AudioPeakMeterRegs.h"
#include "regaccess/CoreDriver.h"

/// The peak meters of some links of 16 channels each. The core measures into one bank while the
/// other one is read, channel after channel.
///
/// Threads: single accesses are atomic. Reading the peaks, switching the bank and reading the
/// number of links belong to one thread at a time.
class AudioPeakMeter : public CoreDriver<AudioPeakMeter, audio_peak_meter_regs::kFields> {
 public:
  /// Leaves the core untouched. `numLinks` is the number of links until ReadNumLinks asks the core.
  AudioPeakMeter(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
                 std::uint32_t numLinks);

  /// Asks the core for its number of links, 0 to 255. A refused access leaves the number as it was.
  void ReadNumLinks();
  /// Hands the bank that measured out for reading and starts the other one.
  void SwitchBank();
  /// Replaces `peaks` by the peaks of all channels, link after link, 16 for each link: magnitudes
  /// from 0 to full scale, 8388607. All are 0, and not read, while the core is in reset.
  void ReadPeaks(std::vector<std::uint32_t>& peaks);

  /// The number of links, as given or as read last.
  std::uint32_t GetNumLinks() const { return numLinks_; }

 private:
  std::uint32_t numLinks_;
};
