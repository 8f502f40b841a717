#pragma once

#include <linux/spi/spidev.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "interfaces/Spi.h"
#include "log/Log.h"

/// The SPI controller of the processor, through a device node of the kernel's spidev driver.
///
/// It is closed until Initialize. Operations on a closed controller fail at their first ioctl.
/// Before each transfer the device's settings are applied, and a transfer of more than
/// MAX_TRANSFER_SIZE bytes is refused with its vectors unchanged and nothing sent. After any other
/// failure the vectors may have grown or been swapped already. A transfer that the kernel ends
/// early is no failure: the bytes that didn't come are 0 in `rx`, and LastTransferWasWhole tells.
class Spi_Soc : public Spi {
 public:
  /// Longest transfer, in bytes: what the kernel's driver takes at most unless told otherwise.
  static constexpr std::size_t MAX_TRANSFER_SIZE = 4096;

  Spi_Soc() = default;
  Spi_Soc(const Spi_Soc&) = delete;
  Spi_Soc& operator=(const Spi_Soc&) = delete;
  ~Spi_Soc() override;

  /// Opens a device node, such as "/dev/spidev1.0", for reading and writing. Gives 0, or -1 if the
  /// controller is open already (logged at Warning) or the node can't be opened (at Error).
  int Initialize(const std::string& device);
  /// Closes the device if it is open. Gives 0.
  int Shutdown();

  int Transmit(std::vector<std::uint8_t>& data, const SpiSettings& settings) override;
  int Transmit16(std::vector<std::uint16_t>& data, const SpiSettings& settings) override;
  int TransmitAndReceive(std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx,
                         std::uint32_t extra, bool rxOnlyExtra,
                         const SpiSettings& settings) override;
  int TransmitAndReceive16(std::vector<std::uint16_t>& tx, std::vector<std::uint16_t>& rx,
                           std::uint32_t extra, bool rxOnlyExtra,
                           const SpiSettings& settings) override;
  int Transmit10Bits(std::uint16_t word, const SpiSettings& settings) override;
  bool LastTransferWasWhole() const override { return whole_; }

 private:
  int _Setup(const SpiSettings& settings);
  int _Setup16(const SpiSettings& settings);
  int _ApplySettings(const LogOrigin& setup, const SpiSettings& settings);

  int _TransmitOnly(const std::vector<std::uint8_t>& data);
  int _TransmitOnly16(std::vector<std::uint16_t>& data);
  int _TransmitAndReceive(std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx,
                          std::uint32_t extra, bool rxOnlyExtra);
  int _TransmitAndReceive16(std::vector<std::uint16_t>& tx, std::vector<std::uint16_t>& rx,
                            std::uint32_t extra, bool rxOnlyExtra);
  int _Transmit10Bits(std::uint16_t word);

  int _Transfer(const void* tx, void* rx, std::size_t bytes);

  int fileDescriptor_ = -1;
  bool whole_ = true;
  spi_ioc_transfer transfer_{};  // every transfer's record; its buffers count only during the call
};
