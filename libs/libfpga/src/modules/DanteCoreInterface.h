#pragma once

#include <cstdint>
#include <string>

#include "map/DanteCoreInterfaceRegs.h"
#include "regaccess/CoreDriver.h"

/// The interface to the Dante core: it holds the core in reset or lets it run.
///
/// Thread-safe: there is no state beside the registers.
class DanteCoreInterface
    : public CoreDriver<DanteCoreInterface, dante_core_interface_regs::kFields> {
 public:
  /// Leaves the core untouched.
  DanteCoreInterface(const std::string& name, std::uint32_t baseAddress);

  /// Stops the core, after an Info line.
  void HoldInReset();
  /// Lets the core run, after an Info line.
  void ReleaseFromReset();
};
