#include "interfaces/Spi_Soc.h"

#include <cerrno>
#include <cstring>

#include "log/Log.h"
#include "platform/SpiDevice.h"

namespace {

constexpr const char* kTooLong = "SPI transfer length greater than MAX_TRANSFER_SIZE";
constexpr const char* kZeroLength = "Zero length transactions not allowed";
constexpr std::size_t kMaxWords = Spi_Soc::MAX_TRANSFER_SIZE / sizeof(std::uint16_t);

void SwapBytes(std::vector<std::uint16_t>& words) {
  for (std::uint16_t& word : words) {
    word = static_cast<std::uint16_t>(word << 8 | word >> 8);
  }
}

// Gets both vectors ready: zeros to clock the answer out, and room for all that comes in.
template <typename Word>
void MakeRoom(std::vector<Word>& tx, std::vector<Word>& rx, std::uint32_t extra) {
  tx.resize(tx.size() + extra);
  rx.assign(tx.size(), 0);
}

template <typename Word>
void KeepLast(std::vector<Word>& rx, std::uint32_t count) {
  rx.erase(rx.begin(), rx.end() - static_cast<std::ptrdiff_t>(count));
}

}  // namespace

Spi_Soc::~Spi_Soc() {
  (void)Shutdown();  // it can't fail
}

int Spi_Soc::Initialize(const std::string& device) {
  if (fileDescriptor_ >= 0) {
    LOG_WARNING("Controller already initialized");
    return -1;
  }
  fileDescriptor_ = platform::OpenSpi(device.c_str());
  if (fileDescriptor_ < 0) {
    fileDescriptor_ = -1;
    LOG_ERROR("Unable to open %s", device.c_str());
    return -1;
  }
  return 0;
}

int Spi_Soc::Shutdown() {
  if (fileDescriptor_ >= 0) {
    LOG_DEBUG("Closing SPI controller");
    (void)platform::CloseSpi(fileDescriptor_);  // whatever it gives, the descriptor is gone
    fileDescriptor_ = -1;
  }
  return 0;
}

int Spi_Soc::Transmit(std::vector<std::uint8_t>& data, const SpiSettings& settings) {
  if (_Setup(settings) != 0) {
    LOG_ERROR("Unable to setup SPI controller for transmit");
    return -1;
  }
  return _TransmitOnly(data);
}

int Spi_Soc::Transmit16(std::vector<std::uint16_t>& data, const SpiSettings& settings) {
  if (_Setup16(settings) != 0) {
    LOG_ERROR("Unable to setup SPI controller for 16-bit transmit");
    return -1;
  }
  return _TransmitOnly16(data);
}

int Spi_Soc::TransmitAndReceive(std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx,
                                std::uint32_t extra, bool rxOnlyExtra,
                                const SpiSettings& settings) {
  if (_Setup(settings) != 0) {
    LOG_ERROR("Unable to setup SPI controller for transmit");
    return -1;
  }
  return _TransmitAndReceive(tx, rx, extra, rxOnlyExtra);
}

int Spi_Soc::TransmitAndReceive16(std::vector<std::uint16_t>& tx, std::vector<std::uint16_t>& rx,
                                  std::uint32_t extra, bool rxOnlyExtra,
                                  const SpiSettings& settings) {
  if (_Setup16(settings) != 0) {
    LOG_ERROR("Unable to setup SPI controller for 16-bit transmit and receive");
    return -1;
  }
  return _TransmitAndReceive16(tx, rx, extra, rxOnlyExtra);
}

int Spi_Soc::Transmit10Bits(std::uint16_t word, const SpiSettings& settings) {
  if (_Setup(settings) != 0) {
    LOG_ERROR("Unable to setup SPI controller for transmit");
    return -1;
  }
  return _Transmit10Bits(word);
}

int Spi_Soc::_Setup(const SpiSettings& settings) {
  return _ApplySettings(LOG_ORIGIN, settings);
}

int Spi_Soc::_Setup16(const SpiSettings& settings) {
  return _ApplySettings(LOG_ORIGIN, settings);
}

int Spi_Soc::_ApplySettings(const LogOrigin& setup, const SpiSettings& settings) {
  if (platform::SetSpiMode(fileDescriptor_, settings.mode) < 0) {
    LOG_ERROR_FROM(setup, "Unable to set SPI mode to %u", unsigned{settings.mode});
    return -1;
  }
  if (platform::SetSpiLsbFirst(fileDescriptor_, settings.lsbFirst) < 0) {
    LOG_ERROR_FROM(setup, "Unable to set SPI LSB order to %u", unsigned{settings.lsbFirst});
    return -1;
  }
  if (platform::SetSpiBitsPerWord(fileDescriptor_, settings.bitsPerWord) < 0) {
    LOG_ERROR_FROM(setup, "Unable to set SPI bits per word to %u", unsigned{settings.bitsPerWord});
    return -1;
  }
  transfer_ = {};
  transfer_.speed_hz = settings.speedHz;
  transfer_.bits_per_word = settings.bitsPerWord;
  return 0;
}

int Spi_Soc::_TransmitOnly(const std::vector<std::uint8_t>& data) {
  if (data.size() > MAX_TRANSFER_SIZE) {
    LOG_ERROR("%s", kTooLong);
    return -1;
  }
  if (_Transfer(data.data(), nullptr, data.size()) < 0) {
    const int error = errno;
    LOG_ERROR("SPI_IOC_MESSAGE ioctl failed with errno %d %s", error, std::strerror(error));
    return -1;
  }
  return 0;
}

int Spi_Soc::_TransmitOnly16(std::vector<std::uint16_t>& data) {
  if (data.size() > kMaxWords) {
    LOG_ERROR("%s", kTooLong);
    return -1;
  }
  SwapBytes(data);
  if (_Transfer(data.data(), nullptr, data.size() * sizeof(std::uint16_t)) < 0) {
    const int error = errno;
    LOG_ERROR("SPI_IOC_MESSAGE ioctl failed with errno %d %s %u", error, std::strerror(error),
              transfer_.len);
    return -1;
  }
  return 0;
}

// The length is tested before anything grows: `extra` may be any number.
int Spi_Soc::_TransmitAndReceive(std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx,
                                 std::uint32_t extra, bool rxOnlyExtra) {
  if (tx.empty()) {
    LOG_ERROR("%s", kZeroLength);
    return -1;
  }
  if (tx.size() + extra > MAX_TRANSFER_SIZE) {
    LOG_ERROR("%s", kTooLong);
    return -1;
  }
  MakeRoom(tx, rx, extra);
  if (_Transfer(tx.data(), rx.data(), tx.size()) < 0) {
    LOG_ERROR("SPI_IOC_MESSAGE ioctl failed");
    return -1;
  }
  if (rxOnlyExtra) {
    KeepLast(rx, extra);
  }
  return 0;
}

int Spi_Soc::_TransmitAndReceive16(std::vector<std::uint16_t>& tx, std::vector<std::uint16_t>& rx,
                                   std::uint32_t extra, bool rxOnlyExtra) {
  if (tx.empty()) {
    LOG_ERROR("%s", kZeroLength);
    return -1;
  }
  if (tx.size() + extra > kMaxWords) {
    LOG_ERROR("%s", kTooLong);
    return -1;
  }
  MakeRoom(tx, rx, extra);
  SwapBytes(tx);
  if (_Transfer(tx.data(), rx.data(), tx.size() * sizeof(std::uint16_t)) < 0) {
    LOG_ERROR("SPI_IOC_MESSAGE ioctl failed");
    return -1;
  }
  if (rxOnlyExtra) {
    KeepLast(rx, extra);
  }
  return 0;
}

int Spi_Soc::_Transmit10Bits(std::uint16_t word) {
  if (_Transfer(&word, nullptr, sizeof(word)) < 0) {
    const int error = errno;
    LOG_ERROR("SPI_IOC_MESSAGE ioctl failed with errno %d %s", error, std::strerror(error));
    return -1;
  }
  return 0;
}

// Gives what the ioctl gives, with errno.
int Spi_Soc::_Transfer(const void* tx, void* rx, std::size_t bytes) {
  transfer_.tx_buf = reinterpret_cast<std::uintptr_t>(tx);
  transfer_.rx_buf = reinterpret_cast<std::uintptr_t>(rx);
  transfer_.len = static_cast<std::uint32_t>(bytes);
  const int moved = platform::TransferSpi(fileDescriptor_, transfer_);
  whole_ = moved < 0 || static_cast<std::size_t>(moved) >= bytes;
  return moved;
}
