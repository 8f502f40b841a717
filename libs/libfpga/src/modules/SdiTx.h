#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "map/SdiTxRegs.h"
#include "regaccess/BitfieldManager.h"
#include "video/VideoStandard.h"

/// One SDI transmitter: the serialiser with its transceiver and the two clock loops in front of it,
/// PICXO and NCO.
///
/// Nothing here waits, and nothing reports a failure: what an access refuses is in the log. Each
/// register access is thread-safe by itself; SetOutVideoFormat, SetPicxoReference and CheckNcoError
/// belong to one thread at a time.
class SdiTx {
 public:
  virtual ~SdiTx() = default;

  /// Resets the core with its FIFO and its PICXO loop and loads both clock loops for 3 Gbit/s at an
  /// integer rate. Gives 0.
  virtual int Init() = 0;
  /// Holds the core in reset, and with it the transceiver (`phy`), the FIFO and the PICXO loop as
  /// asked for.
  virtual void HoldInReset(bool phy, bool fifo, bool picxo) = 0;
  /// Releases all four.
  virtual void ReleaseFromReset() = 0;
  /// HoldInReset, then ReleaseFromReset, without a delay between.
  virtual void Reset(bool phy, bool fifo, bool picxo) = 0;
  /// Refers the PICXO loop to the reference input `select` (0 to 15), which carries the video
  /// standard `standardId`, and restarts it. The NCO is loaded with the ratio of the standard, or
  /// for input 2 with 538 and 0 whatever the standard; one without a ratio leaves it as it was. A
  /// reference that stands already is not written again; for input 8 the standard makes no
  /// difference.
  virtual void SetPicxoReference(std::int32_t standardId, std::uint16_t select) = 0;
  /// Brings the output up for a video standard: rate and multiplexing, if the standard is another
  /// than last time, then the clocking and a reset of the core in any case. For id 0, or an id that
  /// no standard has, rate and multiplexing stay and the clocking is that of an integer rate.
  /// So is that of "525i 59.94", though its frame rate is fractional. Logs the id at Debug.
  virtual void SetOutVideoFormat(std::uint32_t standardId) = 0;
  /// Always true. The core's own status is IsChangeDone's.
  virtual bool IsReady() = 0;
  /// Takes one reading of the NCO error, for an owner that calls this at intervals of its own. The
  /// third reading in a row outside -4000 to 4000 restarts the PICXO loop and counting starts anew.
  virtual void CheckNcoError() = 0;
};

/// The driver. Its constructor leaves the core untouched.
class SdiTxImpl : public RegisterBlock<sdi_tx_regs::kFields>, public SdiTx {
 public:
  /// `index` is the transmitter's number on the board, from 0.
  SdiTxImpl(const std::string& name, std::uint32_t baseAddress, unsigned index);

  int Init() override;
  void HoldInReset(bool phy, bool fifo, bool picxo) override;
  void ReleaseFromReset() override;
  void Reset(bool phy, bool fifo, bool picxo) override;
  void SetPicxoReference(std::int32_t standardId, std::uint16_t select) override;
  void SetOutVideoFormat(std::uint32_t standardId) override;
  bool IsReady() override;
  void CheckNcoError() override;

  /// The module's name.
  const std::string& GetName() const { return name_; }
  /// The transmitter's number on the board, from 0.
  unsigned GetIndex() const { return index_; }

  /// Sets the rate code (an SdiRate, 0 to 7) and the stream multiplexing (0 to 7).
  void SetStdAndMux(std::uint32_t std, std::uint32_t mux);
  /// Selects the clock of the integer rates or that of the rates with the factor 1000/1001.
  void SetPllSelect(bool fractional);
  /// True when the clock of the fractional rates is selected.
  bool GetPllSelect();
  /// Sets the output driver, in codes of 0 to 31.
  void SetOutputDrive(std::uint8_t swing, std::uint8_t pre, std::uint8_t post);
  /// Switches the insertion of line numbers, CRC words and synchronisation bits: 0 or 1 each.
  void SetInsertions(std::uint8_t ln, std::uint8_t crc, std::uint8_t syncBit);
  /// Selects the reference input of the PICXO loop, 0 to 15, and nothing more.
  void SetPicxoRefSelect(std::uint8_t select);
  /// Writes all settings of the PICXO loop, each in the range of its field.
  void SetupPicxo(std::uint16_t ceDspRate, std::uint8_t g1, std::uint8_t g2, std::uint8_t accStep,
                  std::uint8_t dither, std::uint8_t offsetEn, std::uint32_t offset, std::uint16_t r,
                  std::uint16_t v, std::uint16_t n, std::uint16_t p, std::uint8_t c);
  /// Writes those settings of the PICXO loop that are tuned while it runs.
  void TunePicxo(std::uint16_t ceDspRate, std::uint8_t g1, std::uint8_t g2, std::uint8_t offsetEn,
                 std::uint32_t offset, std::uint16_t r, std::uint16_t v);
  /// True when the core has completed its last change of rate and its reset.
  bool IsChangeDone();
  /// True when at least one of the core's PLLs is locked.
  bool IsPllLocked();

 private:
  void _PulsePicxoReset();

  const std::string name_;
  const unsigned index_;
  // The rest belongs to the thread that sets the transmitter up.
  std::uint32_t currentStandard_ = 0;   // as last given to SetOutVideoFormat
  std::int32_t referenceStandard_ = 0;  // both as last given to SetPicxoReference
  std::uint8_t referenceSelect_ = 4;
  std::uint8_t ncoErrorCount_ = 0;  // readings out of range in a row
};

/// The decisions behind a transmitter's set-up.
namespace sdi_tx {

/// The code of the stream multiplexing for so many data streams over all links.
std::uint32_t MuxPattern(unsigned streams, SdiRate rate);

/// The NCO's ratio for a standard, if it has one.
std::optional<sdi_tx_regs::NcoRatio> FindNcoRatio(std::int32_t standardId);

}  // namespace sdi_tx
