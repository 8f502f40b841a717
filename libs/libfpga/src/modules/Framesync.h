#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "map/FramesyncRegs.h"
#include "regaccess/BitfieldManager.h"
#include "video/Video.h"

/// A frame synchroniser: it writes incoming video into a ring of frame buffers in DRAM and reads it
/// out on a timing of its own, locked to a reference or to an input or running free, with frames
/// repeated or dropped as needed.
///
/// Order of calls: SetMemoryRegion and a reset once, then SetupFormat, SetupLockMode and
/// SetOutputOffset; from then on CheckAlignment, CheckDelay and IsOutputSettled at any time, each
/// of which is one look at the core. None of the set-ups calls another: after a new format or lock,
/// the alignment is the old one until the next SetOutputOffset.
///
/// Threads: all operations belong to one thread at a time; output reset callbacks run on it.
class Framesync {
 public:
  /// What the output follows.
  enum LockMode : std::uint16_t {
    kLockToFirstReference = 0,
    kLockToSecondReference = 1,
    kLockToInput = 2,
    kFreeRun = 3,
    kNoLock = 4,  ///< and every other number
  };
  /// What the output shows.
  enum OutputMode : std::uint16_t {
    kShowVideo = 0,
    kShowFlatField = 1,
    kShowFrozen = 2,  ///< the last picture
    kShowPattern = 3,
    kShowSnow = 4,
  };

  virtual ~Framesync() = default;

  /// Tells where the frame memory lies: `base` and `size` in bytes. The base is cut to whole units
  /// of 64 bytes, then rounded up to 16 KiB; the core learns of it in SetupFormat. Nothing looks at
  /// the size.
  virtual void SetMemoryRegion(std::uint32_t base, std::uint32_t size) = 0;

  virtual void HoldInReset() = 0;
  virtual void ReleaseFromReset() = 0;
  /// Holds, then releases.
  virtual void Reset() = 0;

  /// Passes video by the frame store, or through it again.
  virtual void SetBypass(bool bypass) = 0;

  /// Sets the core up for a standard of the table, with 20 frame buffers. Does nothing for an id
  /// without a row, for id 0 and for the standard that is set up already.
  virtual void SetupFormat(std::uint32_t standardId) = 0;

  /// Selects what the output follows, a LockMode; `standardId` is the standard that this has. Does
  /// nothing if both are unchanged.
  virtual void SetupLockMode(std::uint16_t mode, std::int32_t standardId) = 0;

  /// Selects what the output shows always (`force`) and without an input (`backup`), each an
  /// OutputMode; another number leaves that choice as it was. As backup, kShowFrozen is the same as
  /// kShowVideo. Once forced, the freeze stays set, under whatever else is forced, until
  /// kShowVideo.
  virtual void SetupOutputMode(std::uint16_t force, std::uint16_t backup) = 0;

  /// Colour of the flat field, 0 to 6; another number does nothing.
  virtual void SetFlatFieldColour(std::uint16_t colour) = 0;

  /// Delay through the frame store in frames. The core gets at most the number of buffers less 1,
  /// which is 0 before the first SetupFormat; the number is kept for the next one.
  virtual void SetFrameDelay(std::uint32_t frames) = 0;

  /// Aligns the output to what it locks to, with an offset. A new alignment resets the output; a
  /// lock standard that the output can't follow sets the alignment to 0 without a reset. Does
  /// nothing in free run and without a lock.
  virtual void SetOutputOffset(std::int16_t lines, float microseconds) = 0;

  /// If `check`, and if there is a lock that the output can follow: compares the alignment that the
  /// core reports with the one that was set, and resets the output if they are more than 15 samples
  /// apart. Logs what it finds; of a reference also an interval that is off, which resets nothing.
  virtual void CheckAlignment(bool check) = 0;

  /// Measures the delay through the frame store, in milliseconds, and describes it together with
  /// the external delay. Of a reader that is further ahead of its writer than the ring is long, a
  /// line is logged at Warning, and the delay is negative.
  virtual std::string CheckDelay(float& framesyncDelayMs) = 0;

  /// True if the output can follow the lock standard, as of the last SetOutputOffset that had both
  /// a format set up and a lock standard of the table.
  virtual bool IsLockCompatible() = 0;

  /// True from the 17th call in a row on that found the counts of input and output at most 1 apart.
  virtual bool IsOutputSettled() = 0;
};

/// The driver. Its constructor leaves the core untouched.
class FramesyncImpl : public RegisterBlock<framesync_regs::kFields>, public Framesync {
 public:
  /// `index` is the number by which log lines name the core.
  FramesyncImpl(const std::string& name, std::uint32_t baseAddress, int index);

  void SetMemoryRegion(std::uint32_t base, std::uint32_t size) override;
  void HoldInReset() override;
  void ReleaseFromReset() override;
  void Reset() override;
  void SetBypass(bool bypass) override;
  void SetupFormat(std::uint32_t standardId) override;
  void SetupLockMode(std::uint16_t mode, std::int32_t standardId) override;
  void SetupOutputMode(std::uint16_t force, std::uint16_t backup) override;
  void SetFlatFieldColour(std::uint16_t colour) override;
  void SetFrameDelay(std::uint32_t frames) override;
  void SetOutputOffset(std::int16_t lines, float microseconds) override;
  void CheckAlignment(bool check) override;
  std::string CheckDelay(float& framesyncDelayMs) override;
  bool IsLockCompatible() override;
  bool IsOutputSettled() override;

  /// Delay outside the frame store in milliseconds, which CheckDelay adds to the total.
  void SetExternalDelay(float milliseconds);

  /// Adds a callback that runs after each reset of the output, in order of registration. An empty
  /// one is skipped. Callbacks are registered before the first SetOutputOffset.
  void RegisterOutputResetCallback(std::function<void()> callback);

  /// Numbers of repeated and dropped frames since the last call. Counts that arrive between a
  /// counter's read and its clear are lost.
  void ReadAndClearFrameCounters(std::uint32_t& dup, std::uint32_t& drop);

 private:
  struct FieldValue {
    FieldId field;
    std::uint32_t value;
  };

  void _Write(std::initializer_list<FieldValue> writes);
  const VideoStandard& _Format() const;
  void _ApplyDelay();
  void _ResetOutput();
  void _SetupSkipPulses();
  void _SetOutputOffsetRef(std::int16_t lines, float microseconds);
  void _SetOutputOffsetInputVideo(std::int16_t lines, float microseconds);
  void _Align(FieldId field, std::int64_t samples);
  void _CheckLockToRefAlignment(bool check);
  void _CheckLockToInputAlignment(bool check);
  std::uint32_t _WrapToFrame(std::int64_t samples) const;
  bool _IsAlignmentOk(std::uint32_t reported) const;

  const std::string name_;
  const int index_;
  std::uint32_t memoryBase_ = 0;  // in units of 64 bytes
  std::uint32_t memorySize_ = 0;  // in units of 64 bytes; the set-up doesn't look at it
  std::uint32_t numBufs_ = 1;
  std::uint32_t delayFrames_ = 1;
  std::int32_t currentStandard_ = 0;  // what the core is set up for; 0 or an id with a row
  std::int32_t lockStandard_ = 0;     // any id
  std::uint16_t lockMode_ = kNoLock;
  std::uint16_t frameIntervalFactor_ = 0;  // output frames from one used lock pulse to the next
  std::uint32_t alignment_ = 0;            // in samples of the output's clock
  float externalDelayMs_ = 0;
  bool lockCompatible_ = false;
  std::vector<std::function<void()>> outputResetCallbacks_;
  unsigned settleCount_ = 0;
};
