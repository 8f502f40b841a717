#pragma once

#include <cstdint>
#include <unordered_map>

#include "sim/CoreModel.h"
#include "sim/RegisterFile.h"

namespace sim {

/// A video switch: one word for each output port, with the source in its low bits and bit 31 set
/// while the port is disabled. Command words (bits 30 and 29) act on the switch and are not held.
/// Thread-safe.
class CrosspointModel : public CoreModel {
 public:
  explicit CrosspointModel(BoardMutex& mutex) : mutex_(mutex) {}

  std::uint32_t Load(std::uint32_t offset) override;
  void Store(std::uint32_t offset, std::uint32_t value) override;

  /// Source of an output port, or -1 while the port is disabled. A port that was never written is
  /// disabled.
  int SourceOf(std::uint32_t port) const;
  /// Number of command words since the start.
  std::uint32_t CommandCount() const;

 private:
  static constexpr std::uint32_t kDisabled = 0x80000000;
  static constexpr std::uint32_t kCommandBits = 0x60000000;

  BoardMutex& mutex_;  // guards all that follows
  std::unordered_map<std::uint32_t, std::uint32_t> words_;
  std::uint32_t commands_ = 0;
};

}  // namespace sim
