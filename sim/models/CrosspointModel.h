#pragma once

#include <array>
#include <cstdint>

#include "sim/CoreModel.h"
#include "sim/RegisterFile.h"

namespace sim {

/// A video switch of four sources and four output ports: one word for each port, with the source in
/// its low bits and bit 31 set while the port is disabled, as all are after power-up. Words that
/// aren't held: the control word, 0x20000000 to the first port, and those with bit 30, commands to
/// a port. Whatever else is written, and any access beyond the ports, is complained of and has no
/// effect. Thread-safe.
class CrosspointModel : public CoreModel {
 public:
  static constexpr std::uint32_t kSources = 4;
  static constexpr std::uint32_t kPorts = 4;

  explicit CrosspointModel(BoardMutex& mutex) : mutex_(mutex) { words_.fill(kDisabled); }

  std::uint32_t Load(std::uint32_t offset) override;
  void Store(std::uint32_t offset, std::uint32_t value) override;

  /// Source of an output port, or -1 while the port is disabled. Throws std::out_of_range.
  int SourceOf(std::uint32_t port) const;

 private:
  static constexpr std::uint32_t kDisabled = 0x80000000;

  bool _HasPort(std::uint32_t offset);

  BoardMutex& mutex_;  // guards all that follows
  std::array<std::uint32_t, kPorts> words_{};
};

}  // namespace sim
