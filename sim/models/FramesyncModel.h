#pragma once

#include <cstdint>

#include "map/FramesyncRegs.h"
#include "sim/FieldModel.h"
#include "sim/VideoSignal.h"
#include "sim/models/RefDetectModel.h"

namespace sim {

/// A frame synchroniser, which reports what follows from its input, the references and its set-up.
///
/// It runs once a set-up was loaded (what the memory's fields hold when `loadRegs` rises) and while
/// it is out of reset. Its output has the raster of `videoType`, and is locked while the pulses
/// that are used of it come as often as those of the lock signal that is selected. The store takes
/// and gives frames while the input has that raster, the memory's layout is the one of its frames,
/// and the base is one of the core's own region. An output that isn't locked, or whose store has an
/// input and can't serve it, lies half a frame from where it should.
///
/// An alignment takes effect when the output is reset, and is reported 50 samples too far, as by
/// the hardware. The counters of input and output come together within some ten readings after a
/// reset. Thread-safe.
class FramesyncModel : public ModelOf<framesync_regs::kFields> {
 public:
  /// `region` is the core's part of the frame memory, 512 MiB each.
  FramesyncModel(BoardMutex& mutex, const RefDetectModel& references, std::uint32_t region);

  /// Replaces the signal on the input.
  void Plug(const VideoSignal& signal);

  /// Moves the output away from its alignment by so many samples, until its next reset.
  void DriftOutput(std::int32_t samples);
  /// Makes the lock signal's frames so many samples longer, as they are measured.
  void StretchLockFrames(std::int32_t samples);
  /// Puts the input's raster so many lines ahead of the output's.
  void SetInputPhase(std::uint32_t lines);

  /// Counts frames that were dropped, repeated or bad.
  void CountFrames(std::uint32_t dropped, std::uint32_t repeated, std::uint32_t bad);

 protected:
  void OnLoad(std::uint32_t offset) override;
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  /// How frames lie in the memory.
  struct Layout {
    std::uint32_t base;                     // in units of 64 bytes
    std::uint32_t imageWords;               // from one buffer to the next
    std::uint32_t writtenWords, readWords;  // of a frame; 0 if the fields contradict each other
    std::uint32_t packMode;
    std::uint32_t buffers = 0;  // 0: no set-up was loaded
  };

  Layout _ReadLayout() const;
  std::uint32_t _WordsOf(FieldId bursts, FieldId allBursts, FieldId size, FieldId lastSize) const;
  bool _Runs() const;
  const VideoStandard& _Format() const;
  std::uint32_t _FrameSamples() const;
  const VideoStandard& _LockSignal() const;
  std::uint64_t _LockPulses() const;
  std::uint64_t _OutputPulses() const;
  bool _IsLocked() const;
  bool _StoreServesInput() const;
  bool _IsAligned() const;
  void _RestartOutput();
  void _CountClocks();
  void _MoveBuffers();
  void _MeasureLockInterval();
  void _ReportDelay(FieldId report, FieldId lockMode, std::uint32_t alignment);
  void _ClearCounters();

  const RefDetectModel& references_;
  const std::uint32_t region_;
  // All guarded by the board's lock.
  VideoSignal input_;
  Layout layout_{};                 // in effect
  std::uint32_t refAlignment_ = 0;  // in effect since the last reset of the output
  std::uint32_t inputAlignment_ = 0;
  std::int32_t drift_ = 0;        // samples
  std::int32_t stretch_ = 0;      // samples
  std::uint32_t inputPhase_ = 0;  // lines
  std::uint32_t outputLag_;       // clocks that the output's counter is behind the input's
  std::uint32_t frame_ = 0;
};

}  // namespace sim
