#include "sim/models/AudioMixerModel.h"

#include <chrono>

namespace sim {

using audio_mixer_regs::kGainBits;
using audio_mixer_regs::kGainMask;
using audio_mixer_regs::kWordsPerLink;

AudioMixerModel::AudioMixerModel(BoardMutex& mutex, Version version, std::uint32_t links)
    : FieldModel(mutex, audio_mixer_regs::kFields) {
  Set("large_mixer", version == Version::kLarge ? 1 : 0);
  Set("num_links", links);
}

void AudioMixerModel::HoldSwap(bool hold) {
  const std::lock_guard lock(Mutex());
  holdSwap_ = hold;
  if (!hold && _Read("toggle_bit") != 0) {
    _Swap();
  }
}

std::vector<std::uint64_t> AudioMixerModel::AudibleCoeffs() const {
  const std::lock_guard lock(Mutex());
  Side words = sides_[_Read("coeff_side")];
  words.resize(std::size_t{_Read("num_links")} * kWordsPerLink);
  return words;
}

std::uint64_t AudioMixerModel::AudibleCoeff(std::size_t index) const {
  const std::lock_guard lock(Mutex());
  const Side& side = sides_[_Read("coeff_side")];
  return index < side.size() ? side[index] : 0;
}

std::uint32_t AudioMixerModel::Toggles() const {
  const std::lock_guard lock(Mutex());
  return toggles_;
}

std::uint32_t AudioMixerModel::WordsWhilePending() const {
  const std::lock_guard lock(Mutex());
  return wordsWhilePending_;
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
  if (offset == FieldId("toggle_bit").Get().byteOffset && _Read("toggle_bit") != 0) {
    ++polls_;
    changed_.notify_all();
  }
}

void AudioMixerModel::OnStore(std::uint32_t offset, std::uint32_t written,
                              std::uint32_t /*before*/) {
  const bool large = _Read("large_mixer") != 0;
  switch (offset) {
    case FieldId("set_toggle").Get().byteOffset:
      _StoreControl(written);
      break;
    case FieldId("coeff_addr").Get().byteOffset:
      address_ = static_cast<std::uint16_t>(_Read("coeff_addr"));
      break;
    case FieldId("coeff_data").Get().byteOffset:
      if (!large) {
        _StoreWord(written);
      }
      break;
    case FieldId("coeff_data_lsw").Get().byteOffset:
      if (large) {
        _StoreWord((std::uint64_t{_Read("coeff_data_msw")} << kGainBits) | (written & kGainMask));
      }
      break;
    default:
      break;
  }
}

void AudioMixerModel::_StoreControl(std::uint32_t written) {
  if (_Read("reset") != 0) {
    _Write("toggle_bit", 0);
    polls_ = 0;
    return;
  }
  if ((written & MaskInWord(FieldId("set_toggle").Get())) == 0) {
    return;
  }
  ++toggles_;
  polls_ = 0;
  _Write("toggle_bit", 1);
  if (!holdSwap_) {
    _Swap();
  }
  changed_.notify_all();
}

void AudioMixerModel::_StoreWord(std::uint64_t word) {
  if (_Read("toggle_bit") != 0) {
    ++wordsWhilePending_;
  }
  const std::size_t address = address_++;
  const std::size_t words = std::size_t{_Read("num_links")} * kWordsPerLink;
  if (address >= words) {
    return;
  }
  Side& idle = sides_[1 - _Read("coeff_side")];
  if (idle.size() < words) {
    idle.resize(words);
  }
  idle[address] = word;
}

void AudioMixerModel::_Swap() {
  _Write("coeff_side", 1 - _Read("coeff_side"));
  _Write("toggle_bit", 0);
  changed_.notify_all();
}

std::uint32_t AudioMixerModel::_Read(FieldId field) const {
  const Field& row = field.Get();
  return (Word(row.byteOffset) & MaskInWord(row)) >> row.lsb;
}

void AudioMixerModel::_Write(FieldId field, std::uint32_t value) {
  const Field& row = field.Get();
  SetWord(row.byteOffset, (Word(row.byteOffset) & ~MaskInWord(row)) | value << row.lsb);
}

bool AudioMixerModel::_Await(const std::function<bool()>& reached) const {
  constexpr std::chrono::seconds kLongest(10);
  std::unique_lock lock(Mutex());
  return changed_.wait_for(lock, kLongest, reached);
}

}  // namespace sim
