#pragma once

#include <cstdint>
#include <string>

#include "regaccess/BitfieldManager.h"

/// What the driver of every core has that a reset bit of its own stops. `Driver` is the class that
/// derives from it; where its core asks for more, it hides an operation of the reset by its own,
/// and ResetAndRelease goes by that.
///
///     class AesTx : public CoreDriver<AesTx, aes_tx_regs::kFields> { ... };
template <typename Driver, const auto& Fields>
class CoreDriver : public RegisterBlock<Fields> {
 public:
  using FieldId = typename RegisterBlock<Fields>::FieldId;

  /// Stops the core.
  void HoldInReset() { this->WriteBitfield(reset_, 1); }
  /// Lets the core run.
  void ReleaseFromReset() { this->WriteBitfield(reset_, 0); }
  /// HoldInReset, then ReleaseFromReset, without a delay between.
  void ResetAndRelease() {
    auto& driver = static_cast<Driver&>(*this);
    driver.HoldInReset();
    driver.ReleaseFromReset();
  }
  /// Whether the core is stopped.
  bool IsHeldInReset() { return this->ReadBitfield(reset_) != 0; }

  /// The module's name.
  const std::string& GetName() const { return name_; }
  /// Byte offset of the core's registers in the window.
  std::uint32_t GetBaseAddress() const { return baseAddress_; }
  /// The number that its owner gave it.
  std::uint64_t GetIndex() const { return index_; }

 protected:
  /// Leaves the core untouched. `baseAddress`: bytes from the start of the window; `index`: 0 for a
  /// core that exists once; `reset`: the bit that stops it.
  CoreDriver(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
             FieldId reset = "reset")
      : RegisterBlock<Fields>(name, baseAddress),
        name_(name),
        baseAddress_(baseAddress),
        index_(index),
        reset_(reset) {}

 private:
  const std::string name_;
  const std::uint32_t baseAddress_;
  const std::uint64_t index_;
  const FieldId reset_;
};
