#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

#include "devices/SdiCableEq.h"
#include "interfaces/Spi.h"
#include "log/Log.h"

/// What a cable equaliser says of its input.
struct SdiCableEqStatus {
  bool signalPresent = false;
  std::uint32_t rate = 0;  ///< as SdiCableEq::DecodeRate numbers it

  friend bool operator==(const SdiCableEqStatus&, const SdiCableEqStatus&) = default;
};

/// The chain of cable equalisers: it owns the chips and speaks their protocol.
///
/// The chips lie in series on one chip select, so that a transfer shifts through all of them. It
/// carries one frame of two bytes for each chip; the first frame on the wire is for the last chip
/// of the chain, the last one for chip 0:
///
///     write           register, data
///     read command    register | 0x80, 0x00
///     read-out        0xFF, 0xFF            sent while the answers come back
///     no operation    0x7F, 0x00            to the chips that a write is not for
///
/// A chip answers a read command in the second byte of its frame of the next transfer. In a chain
/// of 5, writing 1 to register 4 of chip 0 and of chip 4 is
///
///     7F 00 7F 00 7F 00 7F 00 04 01
///     04 01 7F 00 7F 00 7F 00 7F 00
///
/// and reading register 15 of a chain of 3 is the two transfers
///
///     8F 00 8F 00 8F 00
///     FF FF FF FF FF FF
///
/// of whose answer byte 5 is chip 0's and byte 1 chip 2's.
///
/// A chip that doesn't answer reads as 0x00 or 0xFF, which decodes like any status, and so does a
/// transfer that fails: only GetStatus looks at that. Results are 0, or -1 after an Error line. A
/// chain belongs to one thread at a time.
class SdiCableEqInterface {
 public:
  SdiCableEqInterface() = default;
  SdiCableEqInterface(const SdiCableEqInterface&) = delete;
  SdiCableEqInterface& operator=(const SdiCableEqInterface&) = delete;
  /// Deletes the chips, first to last.
  virtual ~SdiCableEqInterface();

  /// Tells the chain its controller, which is not owned and outlives it. Works once.
  int Initialize(Spi* spi, const SpiSettings& settings);
  /// Appends a chip, not null, and takes ownership of it.
  void AddDevice(SdiCableEq* device);
  std::size_t GetChainLength() const { return chain_.size(); }

  /// Reads the chips' revisions and sets every chip up: each but the last with the writes that its
  /// type gives for its revision, the last one with a fixed list. Each write is logged at Info;
  /// failures are logged and don't end it.
  void DoRequiredSetup();
  /// Switches a chip's output. `index` counts from 0.
  int SetOutputEnable(std::size_t index, bool enable);
  /// Reads the status of all chips and gives whether this one sees a signal: what was read last, if
  /// the reading gives nothing. False for an index out of range, which gives -1.
  int SignalIsPresent(std::size_t index, bool* present);
  /// The same for the rate, 1 to 6 as SdiCableEq::DecodeRate numbers them, or 0.
  int GetRateDetect(std::size_t index, std::uint32_t* rate);
  /// Both of one reading of the status, for a caller that has to know whether they are true:
  /// nothing if a transfer of the reading failed, ended early or brought a wrong number of bytes,
  /// and for an index out of range. Chips that are missing behind a controller that works can't be
  /// told from chips that answer.
  std::optional<SdiCableEqStatus> GetStatus(std::size_t index);

 private:
  struct ChainEntry {
    std::unique_ptr<SdiCableEq> device;
    SdiCableEqStatus status{};  // as last read
  };

  int _ReadRegFromAll(const std::vector<std::uint8_t>& regs, std::vector<std::uint8_t>& values);
  void _Exchange(std::vector<std::uint8_t>& sent, std::vector<std::uint8_t>& received);
  int _TakeAnswers(const LogOrigin& reading, std::span<const std::uint8_t> regs,
                   std::span<const std::uint8_t> sent, std::span<const std::uint8_t> received,
                   std::vector<std::uint8_t>& values);
  int _WriteRegToOne(std::size_t index, std::uint8_t reg, std::uint8_t data);
  int _RefreshStatus();
  bool _ReadStatus(std::uint8_t (SdiCableEq::*reg)(), std::vector<std::uint8_t>& values);
  std::vector<std::uint8_t> _RegOfEach(std::uint8_t (SdiCableEq::*reg)()) const;

  Spi* spi_ = nullptr;
  SpiSettings settings_;
  std::vector<ChainEntry> chain_;
  bool transfersWork_ = true;  // no transfer of a reading has failed since GetStatus set it
};
