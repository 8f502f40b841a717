#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "map/SdiRxRegs.h"
#include "modules/SdiRxDecision.h"
#include "regaccess/BitfieldManager.h"
#include "video/Video.h"

/// Told of each change of an input's format: the receiver's index and the new format.
using VideoFormatCallback = std::function<void(std::uint32_t index, const VideoFormat& format)>;

/// One SDI receiver. It hunts through the SDI rates by itself; this class decides from its report
/// which video format is on the input.
///
/// Operations report no failure: an input that can't be classified is the default VideoFormat, and
/// a refused register access shows in the log alone.
///
/// Threads: HandleIrq and UpdateVideoFormat belong to one thread at a time, and so does what gives
/// out their results. Callbacks run on that thread, inside the update; they are registered before
/// interrupts are opened. The other operations are sequences of single accesses, each of which is
/// atomic.
class SdiRx {
 public:
  virtual ~SdiRx() = default;

  /// Resets the core and starts its detector among all SDI modes.
  virtual void Init() = 0;
  /// Holds the core, its CRC counter and its ST 352 flags in reset.
  virtual void HoldInReset() = 0;
  /// Ends the reset and clears both unlock captures, so that they catch the next loss of lock.
  virtual void ReleaseFromReset() = 0;
  /// HoldInReset, then ReleaseFromReset, without a delay between.
  virtual void Reset() = 0;
  /// The interrupt's handler: clears what is pending and, if there was anything, updates the
  /// format.
  virtual void HandleIrq() = 0;
  /// Unmasks or masks all interrupt sources of the core. The aggregator's line is another matter.
  virtual void EnableIrq() = 0;
  virtual void DisableIrq() = 0;
  /// Number of the line at the interrupt aggregator.
  virtual unsigned GetIrqNumber() = 0;
  /// The format as last decided; standardId 0 if it is unknown or there is no signal.
  virtual VideoFormat GetVideoFormat() = 0;
  /// Whole seconds since an update last knew the format; since the steady clock's origin if none
  /// ever did.
  virtual std::int64_t GetVideoFormatAge() = 0;
  /// Adds a callback, to be called after those that are there. Throws std::invalid_argument on an
  /// empty one.
  virtual void RegisterVideoFormatCallback(VideoFormatCallback callback) = 0;
  /// CRC errors counted since the last clear. With `clear` the count starts again after the
  /// reading.
  virtual std::uint32_t GetCrcErrorCount(bool clear) = 0;
  virtual void ClearCrcErrorCount() = 0;
  /// Ends detection and sets the receiver to one SDI mode: 0 270 Mbit/s, 1 1.5G, 2 3G level A, 3 3G
  /// level B, 4 6G, 5 12G. It lasts until detection is started anew, as Init does. A mode above 7
  /// is refused with a line at Error, with detection ended.
  virtual void SetForcedMode(std::uint32_t mode) = 0;
  /// Decides the format anew and, if it changed, logs the receiver's status at Info and calls the
  /// callbacks. While the receiver is locked, each update logs one Info line with its report; a
  /// report that isn't conclusive yet leaves the format as it was. The core is told the code of a
  /// known format; for an unknown one its CRC counter is cleared instead.
  virtual void UpdateVideoFormat() = 0;
};

/// The driver. Its constructor doesn't touch the core.
class SdiRxImpl : public RegisterBlock<sdi_rx_regs::kFields>, public SdiRx {
 public:
  /// `index` is the input's number, from 0; `irqNumber` its line at the interrupt aggregator.
  SdiRxImpl(const std::string& name, std::uint32_t baseAddress, unsigned index, unsigned irqNumber);

  void Init() override;
  void HoldInReset() override;
  void ReleaseFromReset() override;
  void Reset() override;
  void HandleIrq() override;
  void EnableIrq() override;
  void DisableIrq() override;
  unsigned GetIrqNumber() override;
  VideoFormat GetVideoFormat() override;
  std::int64_t GetVideoFormatAge() override;
  void RegisterVideoFormatCallback(VideoFormatCallback callback) override;
  std::uint32_t GetCrcErrorCount(bool clear) override;
  void ClearCrcErrorCount() override;
  void SetForcedMode(std::uint32_t mode) override;
  void UpdateVideoFormat() override;

  /// Starts detection anew among the modes of `mask`, 5 bits.
  void SetModeEnable(std::uint32_t mask);
  /// Reports the current format if it differs from the one reported last: one Info line with the
  /// status text, then the callbacks.
  void UpdateReportedLockState();
  /// One line on the state of the input, from the fields as they read at this moment.
  std::string GetStatusText();
  /// Calls this receiver's callbacks with its `index` and the format; none for another index.
  void NotifyVideoFormatCallbacks(std::uint32_t index, const VideoFormat& format);

  /// Write and read one word of the transceiver's configuration; addresses are 0 to 1023. The
  /// result is 0.
  int ReconfigWrite(std::uint16_t address, std::uint32_t data);
  int ReconfigRead(std::uint16_t address, std::uint32_t& data);
  /// Changes a part of five configuration words of the transceiver: bit 3 of word 283, which is
  /// cleared with `clearBit` and set without it, and what the other arguments give: the low 5 bits
  /// of `word359`, the low 12 of `word282` for words 282 and 284, the low 3 of `word352`.
  void ConfigureTransceiver(bool clearBit, std::uint8_t word359, std::int16_t word282,
                            std::uint8_t word352);
  /// ReleaseFromReset, then writes two configuration words until they stick. Blocks for 1 ms, and
  /// for up to 1 s more where they don't, silently.
  void ReleaseWithReconfigRestore();

  /// Clears both unlock captures, so that they catch the next loss of lock.
  void ArmUnlockCapture();
  bool IsFrameUnlockCaptured();
  bool IsRxUnlockCaptured();
  bool IsRxLocked();         ///< TRS lock
  bool IsTransportLocked();  ///< transport format found
  /// Code of the raster: 0 1920x1080, 1 1280x720, 2 2048x1080, 4 720x486, 5 720x576; 7 if it is
  /// unknown.
  std::uint32_t GetTransportFormat();

 private:
  struct CallbackEntry {
    std::uint32_t index;
    VideoFormatCallback call;
  };

  /// Decides the format on the input. `out` stays as it was while the report isn't conclusive.
  void _ReadVideoTypeId(VideoFormat& out);
  bool _IsLocked();
  sdi_rx::Report _ReadReport();
  void _HandleLostSignal(VideoFormat& out);
  void _ReconfigModify(std::uint16_t address, std::uint32_t kept, std::uint32_t added);
  void _ReconfigUntilItSticks(std::uint16_t address, std::uint32_t value);

  const std::string name_;
  const unsigned index_;
  const unsigned irqNumber_;
  VideoFormat current_;
  VideoFormat reported_;
  std::vector<CallbackEntry> callbacks_;
  std::chrono::steady_clock::time_point lastValid_;  // when a format was last seen
};
