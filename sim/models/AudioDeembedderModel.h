#pragma once

#include <array>
#include <cstdint>
#include <deque>

#include "map/AudioDeembedderRegs.h"
#include "sim/AudioPair.h"
#include "sim/FieldModel.h"
#include "sim/models/IrqAggregatorModel.h"

namespace sim {

/// An audio de-embedder. It shows what its pairs carry at once, while it is enabled and out of
/// reset; otherwise it shows no audio. Powered up, it is held in reset and its interrupt sources
/// are masked. Thread-safe.
class AudioDeembedderModel : public ModelOf<audio_deembedder_regs::kFields> {
 public:
  static constexpr std::size_t kPairs = audio_map::kPairs;
  static constexpr std::size_t kTestFifoDepth = 256;

  /// Errors with a sticky flag: for a FIFO a bit for each channel, 2 bits for the alignment.
  enum class Error : std::uint8_t { kOverflow, kUnderflow, kEmpty, kFull, kAlignment };

  // The interrupt sources of this model: bits of irqMask, irqStatus and irqClr.
  static constexpr unsigned kIrqPair = 0;   ///< first of 8: what a pair shows changed
  static constexpr unsigned kIrqError = 8;  ///< first of 5, by Error: a flag was latched

  /// `irqLine` is the core's line at the aggregator: raised while a source is pending that isn't
  /// masked.
  AudioDeembedderModel(BoardMutex& mutex, IrqAggregatorModel& aggregator, std::uint32_t irqLine);

  /// Replaces what a pair, 0 to 7, carries. Throws std::out_of_range.
  void Plug(std::size_t pair, const AudioPair& audio);

  /// Latches flags of an error, for a moment's fault.
  void Raise(Error error, std::uint32_t flags);
  /// A fault that stays: its flags latch again whenever they are cleared. Flags of 0 end it.
  void Hold(Error error, std::uint32_t flags);

  /// Puts down the result `index`, 0 to 15, of the alignment test, unless results are being
  /// cleared. Throws std::out_of_range.
  void SetTestResult(std::size_t index, std::uint32_t line, std::uint32_t frame,
                     std::uint32_t value);
  /// Appends a frame number to the alignment test's FIFO; lost if that is full.
  void PushTestFrame(std::uint16_t frame);

 protected:
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  static constexpr std::size_t kErrors = 5;

  void _ShowPairs();
  void _LatchErrors();
  void _Update();

  IrqAggregatorModel& aggregator_;
  const std::uint32_t irqLine_;
  // Guarded by the board's lock.
  std::array<AudioPair, kPairs> pairs_;
  std::array<std::uint32_t, kErrors> raised_{};  // flags that are yet to be latched, by Error
  std::array<std::uint32_t, kErrors> held_{};    // flags that stay, by Error
  std::uint32_t news_ = 0;                       // interrupt sources that are yet to be pending
  std::deque<std::uint16_t> testFrames_;
};

}  // namespace sim
