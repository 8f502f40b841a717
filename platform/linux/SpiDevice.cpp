#include "platform/SpiDevice.h"

#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>

namespace platform {

int OpenSpi(const char* path) {
  return open(path, O_RDWR | O_CLOEXEC);
}

int CloseSpi(int descriptor) {
  return close(descriptor);
}

int SetSpiMode(int descriptor, std::uint8_t mode) {
  return ioctl(descriptor, SPI_IOC_WR_MODE, &mode);
}

int SetSpiLsbFirst(int descriptor, std::uint8_t lsbFirst) {
  return ioctl(descriptor, SPI_IOC_WR_LSB_FIRST, &lsbFirst);
}

int SetSpiBitsPerWord(int descriptor, std::uint8_t bitsPerWord) {
  return ioctl(descriptor, SPI_IOC_WR_BITS_PER_WORD, &bitsPerWord);
}

int TransferSpi(int descriptor, spi_ioc_transfer& transfer) {
  return ioctl(descriptor, SPI_IOC_MESSAGE(1), &transfer);
}

}  // namespace platform
