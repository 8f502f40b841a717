#pragma once

#include <cstdint>
#include <string_view>

namespace sim {

/// One core of the simulated FPGA: it answers the loads and stores of its slot of the register
/// window. The register file calls it with the board's lock held; offsets are in bytes from the
/// core's base.
class CoreModel {
 public:
  CoreModel() = default;
  CoreModel(const CoreModel&) = delete;
  CoreModel& operator=(const CoreModel&) = delete;
  virtual ~CoreModel() = default;

  virtual std::uint32_t Load(std::uint32_t offset) = 0;
  virtual void Store(std::uint32_t offset, std::uint32_t value) = 0;

  /// What was wrong with the last access, for an access that no driver should make; empty for any
  /// other. The register file asks after each access, with the board's lock held.
  std::string_view Complaint() const { return complaint_; }

 protected:
  /// `what` is a literal. An access begins with Complain("").
  void Complain(std::string_view what) { complaint_ = what; }

 private:
  std::string_view complaint_;
};

}  // namespace sim
