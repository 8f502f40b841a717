#include "platform/SpiDevice.h"

#include <cerrno>

// No SPI device is simulated yet: each node is missing, as on a board without them.
namespace platform {

int OpenSpi(const char* /*path*/) {
  errno = ENOENT;
  return -1;
}

int CloseSpi(int /*descriptor*/) {
  errno = EBADF;
  return -1;
}

int SetSpiMode(int /*descriptor*/, std::uint8_t /*mode*/) {
  errno = EBADF;
  return -1;
}

int SetSpiLsbFirst(int /*descriptor*/, std::uint8_t /*lsbFirst*/) {
  errno = EBADF;
  return -1;
}

int SetSpiBitsPerWord(int /*descriptor*/, std::uint8_t /*bitsPerWord*/) {
  errno = EBADF;
  return -1;
}

int TransferSpi(int /*descriptor*/, spi_ioc_transfer& /*transfer*/) {
  errno = EBADF;
  return -1;
}

}  // namespace platform
