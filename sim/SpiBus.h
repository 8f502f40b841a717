#pragma once

#include <linux/spi/spidev.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "sim/RegisterFile.h"
#include "sim/Settings.h"

namespace sim {

/// The chips on one chip select. The bus calls it with the board's lock held.
class SpiChain {
 public:
  SpiChain() = default;
  SpiChain(const SpiChain&) = delete;
  SpiChain& operator=(const SpiChain&) = delete;
  virtual ~SpiChain() = default;

  /// One transfer, from chip select's falling to its rising edge: the bytes that the chips get, at
  /// least one, and as many that they give meanwhile.
  virtual std::vector<std::uint8_t> Exchange(std::span<const std::uint8_t> sent) = 0;
};

/// One call that reached an SPI device.
struct SpiCall {
  enum class Kind : std::uint8_t { kMode, kLsbFirst, kBitsPerWord, kTransfer };

  Kind kind;
  std::uint32_t value;               ///< what was set, or the transfer's clock in Hz
  std::uint8_t bitsPerWord = 0;      ///< of a transfer
  std::vector<std::uint8_t> sent{};  ///< what the chips got

  friend bool operator==(const SpiCall&, const SpiCall&) = default;
};

/// A device node of the kernel's spidev driver with a chain of chips behind it. It fails as its
/// setting says. Chips that are talked to in another SPI mode than theirs, least significant bit
/// first or in words of other than 8 bits understand nothing: they take nothing and answer zeros.
/// The clock's speed doesn't matter.
///
/// Results are the kernel's: 0 or a count, or a negative errno. Thread-safe.
class SpiBus {
 public:
  /// `chain` and `fault` are not owned.
  SpiBus(BoardMutex& mutex, std::string_view path, std::uint8_t mode, SpiChain& chain,
         const SpiFault& fault)
      : mutex_(mutex), path_(path), chainMode_(mode), chain_(chain), fault_(fault) {}

  std::string_view Path() const { return path_; }

  /// Calls `hook` before each transfer, with the board's lock held: the place to follow what a
  /// person does to the board.
  void BeforeTransfer(std::function<void()> hook);

  int Open();
  int Close();
  int SetMode(std::uint8_t mode);
  int SetLsbFirst(std::uint8_t lsbFirst);
  int SetBitsPerWord(std::uint8_t bitsPerWord);
  /// Moves up to 4096 bytes. The buffers are addresses in this process or 0.
  int Transfer(const spi_ioc_transfer& transfer);

  /// Starts a new trace of the settings and transfers that succeed. Recording starts switched off.
  void StartTrace();
  /// Ends the trace and gives what was recorded since StartTrace.
  std::vector<SpiCall> TakeTrace();
  /// The bytes of each transfer of TakeTrace alone.
  std::vector<std::vector<std::uint8_t>> TakeSent();

 private:
  // What the kernel's driver takes unless it is loaded with another limit.
  static constexpr std::uint32_t kMaxTransferBytes = 4096;

  int _Failure(SpiFault atThisCall, int error) const;
  void _Record(SpiCall call);

  BoardMutex& mutex_;  // guards all that follows
  const std::string_view path_;
  const std::uint8_t chainMode_;
  SpiChain& chain_;
  const SpiFault& fault_;
  std::function<void()> beforeTransfer_;
  int openCount_ = 0;
  std::uint8_t mode_ = 0;
  bool lsbFirst_ = false;
  std::uint8_t bitsPerWord_ = 8;
  std::optional<std::vector<SpiCall>> trace_;
};

}  // namespace sim
