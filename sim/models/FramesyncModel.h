#pragma once

#include <cstdint>

#include "sim/FieldModel.h"
#include "video/VideoStandard.h"

namespace sim {

/// A frame synchroniser with an input, locked to a signal that fits its set-up.
///
/// It runs once a set-up was loaded (`loadRegs` rises) and while it is out of reset. An alignment
/// takes effect when the output is reset, and is reported 50 samples too far, as by the hardware.
/// The counters of input and output come together within some ten readings after a reset.
/// Thread-safe.
class FramesyncModel : public FieldModel {
 public:
  explicit FramesyncModel(BoardMutex& mutex);

  /// Moves the output away from its alignment by so many samples, until its next reset.
  void DriftOutput(std::int32_t samples);
  /// Makes the lock signal's frames so many samples longer.
  void StretchLockFrames(std::int32_t samples);
  /// Puts the input's raster so many lines ahead of the output's.
  void SetInputPhase(std::uint32_t lines);

  /// Counts frames that were dropped, repeated or bad.
  void CountFrames(std::uint32_t dropped, std::uint32_t repeated, std::uint32_t bad);

 protected:
  void OnLoad(std::uint32_t offset) override;
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  bool _Runs() const;
  const VideoStandard& _Format() const;
  std::uint32_t _FrameSamples() const;
  void _RestartOutput();
  void _CountClocks();
  void _MoveBuffers();
  void _ReportDelay(const char* field, std::uint32_t alignment);
  void _ClearCounters();

  // All guarded by the board's lock.
  bool loaded_ = false;             // a set-up took effect
  std::uint32_t refAlignment_ = 0;  // in effect since the last reset of the output
  std::uint32_t inputAlignment_ = 0;
  std::int32_t drift_ = 0;        // samples
  std::int32_t stretch_ = 0;      // samples
  std::uint32_t inputPhase_ = 0;  // lines
  std::uint32_t outputLag_;       // clocks that the output's counter is behind the input's
  std::uint32_t frame_ = 0;
};

}  // namespace sim
