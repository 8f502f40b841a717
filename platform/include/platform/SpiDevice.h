#pragma once

#include <linux/spi/spidev.h>

#include <cstdint>

/// SPI devices through the kernel's own interface. Every call gives what the system call gives: -1
/// with errno set on failure. Calls on one device belong to one thread at a time; they block until
/// the transfer is over.
namespace platform {

/// Opens an SPI device node for reading and writing.
int OpenSpi(const char* path);

/// Closes what OpenSpi gave.
int CloseSpi(int descriptor);

/// SPI_IOC_WR_MODE: SPI mode 0 to 3.
int SetSpiMode(int descriptor, std::uint8_t mode);

/// SPI_IOC_WR_LSB_FIRST: 1 for least significant bit first.
int SetSpiLsbFirst(int descriptor, std::uint8_t lsbFirst);

/// SPI_IOC_WR_BITS_PER_WORD.
int SetSpiBitsPerWord(int descriptor, std::uint8_t bitsPerWord);

/// SPI_IOC_MESSAGE(1): one full-duplex transfer. Gives the number of bytes that were transferred.
int TransferSpi(int descriptor, spi_ioc_transfer& transfer);

}  // namespace platform
