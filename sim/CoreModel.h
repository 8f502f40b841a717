#pragma once

#include <cstdint>

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
};

}  // namespace sim
