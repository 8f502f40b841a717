#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <vector>

#include "map/AudioMixerRegs.h"
#include "sim/FieldModel.h"

namespace sim {

/// An audio mixer, small or large and with as many links as its fields `large_mixer` and
/// `num_links` say; Set changes both. Its coefficient memory has two sides: words go to the one
/// that the audio doesn't use, at an address that advances by itself, and a toggle swaps them, at
/// once or when a test lets it. A reset drops a swap that is pending; the core is in reset after
/// power-up. A word that comes while a swap is pending spoils what is about to be heard, and a word
/// past the last link gets lost: both are complained of. Thread-safe.
class AudioMixerModel : public ModelOf<audio_mixer_regs::kFields> {
 public:
  enum class Version : std::uint8_t { kSmall, kLarge };

  AudioMixerModel(BoardMutex& mutex, Version version, std::uint32_t links);

  /// From now on a swap stays pending as long as `hold` is true; false completes one that is
  /// pending.
  void HoldSwap(bool hold);

  /// The words of the side that the audio uses, of all links, as the driver wrote them: the source
  /// from bit 24 on, the gain below.
  std::vector<std::uint64_t> AudibleCoeffs() const;

  /// One of these words, by its address; 0 past the last one.
  std::uint64_t AudibleCoeff(std::size_t index) const;

  /// Number of swaps that the driver asked for since power-up.
  std::uint32_t Toggles() const;

  /// Each waits until the driver's thread has got somewhere, and gives false if that doesn't happen
  /// in ten seconds: it asked for `count` swaps since power-up; it read the status `count` times
  /// while the latest swap was pending; the audio uses the word at `index`.
  bool AwaitToggles(std::uint32_t count) const;
  bool AwaitPolls(std::uint32_t count) const;
  bool AwaitCoeff(std::size_t index, std::uint64_t word) const;

 protected:
  void OnLoad(std::uint32_t offset) override;
  void OnStore(std::uint32_t offset, std::uint32_t written, std::uint32_t before) override;

 private:
  using Side = std::vector<std::uint64_t>;

  void _StoreControl(std::uint32_t written);
  void _StoreWord(std::uint64_t word);
  void _Swap();
  bool _Await(const std::function<bool()>& reached) const;

  // Guarded by the board's lock.
  std::array<Side, 2> sides_;
  std::uint16_t address_ = 0;
  bool holdSwap_ = false;
  std::uint32_t toggles_ = 0;
  std::uint32_t polls_ = 0;
  mutable std::condition_variable_any changed_;
};

}  // namespace sim
