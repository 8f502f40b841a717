#include "devices/GS12281_Soc.h"

// A cable driver chain that can't be initialised, in place of the real one.
int GS12281_Soc::Initialize(Spi* /*spi*/, const SpiSettings& /*settings*/, std::size_t /*count*/) {
  return -1;
}
