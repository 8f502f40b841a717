#pragma once

#include <cstdint>
#include <string>

#include "map/DanteCoreInterfaceRegs.h"
#include "regaccess/BitfieldManager.h"

/// The interface to the Dante core: it holds the core in reset or lets it run.
///
/// Thread-safe: there is no state beside the registers.
class DanteCoreInterface : public RegisterBlock<dante_core_interface_regs::kFields> {
 public:
  /// Leaves the core untouched.
  DanteCoreInterface(const std::string& name, std::uint32_t baseAddress);

  /// Stops the core, after an Info line.
  void HoldInReset();
  /// Lets the core run, after an Info line.
  void ReleaseFromReset();
  /// HoldInReset, then ReleaseFromReset, without a delay between.
  void ResetAndRelease();

  /// The module's name.
  const std::string& GetName() const { return name_; }
  /// Byte offset of the core's registers in the window.
  std::uint32_t GetBaseAddress() const { return baseAddress_; }

 private:
  const std::string name_;
  const std::uint32_t baseAddress_;
};
