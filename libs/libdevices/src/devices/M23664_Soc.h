#pragma once

#include <cstddef>

#include "devices/generic/M23664.h"
#include "interfaces/Spi.h"

/// An M23664 at its place in a chain on the processor's SPI. It keeps where it stands; the traffic
/// is SdiCableEqInterface's.
class M23664_Soc : public M23664 {
 public:
  /// Tells the chip its controller, which is not owned and outlives it, and its place: `index`
  /// counts from 0 and is below `count`, the chain's length. Gives 0, or -1 after an Error line for
  /// a second call and for an index that is out of range.
  int Initialize(Spi* spi, const SpiSettings& settings, std::size_t index, std::size_t count);

 private:
  Spi* spi_ = nullptr;
  SpiSettings settings_;
  std::size_t index_ = 0;
  std::size_t count_ = 1;
};
