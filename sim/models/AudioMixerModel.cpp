#include "sim/models/AudioMixerModel.h"

#include <chrono>

namespace sim {

using audio_mixer_regs::kGainBits;
using audio_mixer_regs::kGainMask;
using audio_mixer_regs::kWordsPerLink;

AudioMixerModel::AudioMixerModel(BoardMutex& mutex, Version version, std::uint32_t links)
    : ModelOf(mutex) {
  Set("large_mixer", version == Version::kLarge ? 1 : 0);
  Set("num_links", links);
}

void AudioMixerModel::HoldSwap(bool hold) {
  const std::lock_guard lock(Mutex());
  holdSwap_ = hold;
  if (!hold && Get("toggle_bit") != 0) {
    _Swap();
  }
}

std::vector<std::uint64_t> AudioMixerModel::AudibleCoeffs() const {
  const std::lock_guard lock(Mutex());
  Side words = sides_[Get("coeff_side")];
  words.resize(std::size_t{Get("num_links")} * kWordsPerLink);
  return words;
}

std::uint64_t AudioMixerModel::AudibleCoeff(std::size_t index) const {
  const std::lock_guard lock(Mutex());
  const Side& side = sides_[Get("coeff_side")];
  return index < side.size() ? side[index] : 0;
}

std::uint32_t AudioMixerModel::Toggles() const {
  const std::lock_guard lock(Mutex());
  return toggles_;
}

bool AudioMixerModel::AwaitToggles(std::uint32_t count) const {
  return _Await([this, count] { return toggles_ >= count; });
}

bool AudioMixerModel::AwaitPolls(std::uint32_t count) const {
  return _Await([this, count] { return polls_ >= count; });
}

bool AudioMixerModel::AwaitCoeff(std::size_t index, std::uint64_t word) const {
  return _Await([this, index, word] { return AudibleCoeff(index) == word; });
}

void AudioMixerModel::OnLoad(std::uint32_t offset) {
  if (offset == WordOf("toggle_bit") && Get("toggle_bit") != 0) {
    ++polls_;
    changed_.notify_all();
  }
}

void AudioMixerModel::OnStore(std::uint32_t offset, std::uint32_t written,
                              std::uint32_t /*before*/) {
  const bool large = Get("large_mixer") != 0;
  switch (offset) {
    case WordOf("set_toggle"):
      _StoreControl(written);
      break;
    case WordOf("coeff_addr"):
      address_ = static_cast<std::uint16_t>(Get("coeff_addr"));
      break;
    case WordOf("coeff_data"):
      if (!large) {
        _StoreWord(written);
      }
      break;
    case WordOf("coeff_data_lsw"):
      if (large) {
        _StoreWord((std::uint64_t{Get("coeff_data_msw")} << kGainBits) | (written & kGainMask));
      }
      break;
    default:
      break;
  }
}

void AudioMixerModel::_StoreControl(std::uint32_t written) {
  if (Get("reset") != 0) {
    Set("toggle_bit", 0);
    polls_ = 0;
    return;
  }
  if ((written & MaskOf("set_toggle")) == 0) {
    return;
  }
  ++toggles_;
  polls_ = 0;
  Set("toggle_bit", 1);
  if (!holdSwap_) {
    _Swap();
  }
  changed_.notify_all();
}

void AudioMixerModel::_StoreWord(std::uint64_t word) {
  if (Get("toggle_bit") != 0) {
    Complain("a coefficient while a swap is pending");
  }
  const std::size_t address = address_++;
  const std::size_t words = std::size_t{Get("num_links")} * kWordsPerLink;
  if (address >= words) {
    Complain("a coefficient past the last link");
    return;
  }
  Side& idle = sides_[1 - Get("coeff_side")];
  if (idle.size() < words) {
    idle.resize(words);
  }
  idle[address] = word;
}

void AudioMixerModel::_Swap() {
  Set("coeff_side", 1 - Get("coeff_side"));
  Set("toggle_bit", 0);
  changed_.notify_all();
}

bool AudioMixerModel::_Await(const std::function<bool()>& reached) const {
  constexpr std::chrono::seconds kLongest(10);
  std::unique_lock lock(Mutex());
  return changed_.wait_for(lock, kLongest, reached);
}

}  // namespace sim
