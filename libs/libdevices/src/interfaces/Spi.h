#pragma once

#include <cstdint>
#include <vector>

/// How one SPI device wants to be talked to. It goes with every transfer, so that devices with
/// different settings can share a controller.
struct SpiSettings {
  std::uint8_t reserved = 0;
  std::uint8_t mode = 0;      ///< SPI mode 0 to 3: clock polarity in bit 1, clock phase in bit 0
  std::uint8_t lsbFirst = 0;  ///< 1 sends the least significant bit of each word first
  std::uint8_t bitsPerWord = 8;
  std::uint32_t speedHz = 0;  ///< clock of the transfer, in Hz
};

/// An SPI controller with one chip select. Every operation is one transfer with chip select held
/// from its first to its last bit, blocks until it is over, and gives 0, or -1 after it has logged
/// at Error why. Nothing is retried, and the next operation may succeed.
///
/// One controller belongs to one thread at a time.
class Spi {
 public:
  virtual ~Spi() = default;

  /// Sends the bytes. What comes back is thrown away.
  virtual int Transmit(std::vector<std::uint8_t>& data, const SpiSettings& settings) = 0;

  /// Sends 16-bit words, the high byte of each first. `data` holds the words with their bytes
  /// swapped afterwards.
  virtual int Transmit16(std::vector<std::uint16_t>& data, const SpiSettings& settings) = 0;

  /// Sends `tx` and then `extra` bytes of zero, which clock an answer out of the device. `tx` stays
  /// longer by that much. `rx` gets every byte that came in, or with `rxOnlyExtra` only the last
  /// `extra` of them. Refuses an empty `tx`.
  virtual int TransmitAndReceive(std::vector<std::uint8_t>& tx, std::vector<std::uint8_t>& rx,
                                 std::uint32_t extra, bool rxOnlyExtra,
                                 const SpiSettings& settings) = 0;

  /// The same in 16-bit words: `tx` goes out high byte first and is left swapped. The words of `rx`
  /// are not swapped back: the first byte of each that came in is its low byte.
  virtual int TransmitAndReceive16(std::vector<std::uint16_t>& tx, std::vector<std::uint16_t>& rx,
                                   std::uint32_t extra, bool rxOnlyExtra,
                                   const SpiSettings& settings) = 0;

  /// Sends one device word of 10 bits as two bytes, low byte first; `settings.bitsPerWord` says how
  /// the controller cuts them.
  virtual int Transmit10Bits(std::uint16_t word, const SpiSettings& settings) = 0;

  /// False if the last transfer didn't fail and yet ended before its last byte: what it received is
  /// 0 from there on.
  virtual bool LastTransferWasWhole() const = 0;
};
