#include "modules/AudioMixer.h"

#include <algorithm>
#include <array>

#include "log/Log.h"
#include "platform/Clock.h"
#include "support/Saturate.h"

namespace {

using audio_mixer_regs::kChannels;
using audio_mixer_regs::kCoeffs;
using audio_mixer_regs::kGainBits;
using audio_mixer_regs::kGainMask;
using audio_mixer_regs::kMaxLinks;
using audio_mixer_regs::kSourceBits;
using audio_mixer_regs::kWordsPerLink;

constexpr std::uint32_t kSwapPollMicroseconds = 10'000;

std::uint64_t CoeffWord(std::uint8_t link, std::uint8_t channel, float gain) {
  const std::uint32_t source = (channel + link * kChannels) & ((1U << kSourceBits) - 1);
  return (std::uint64_t{source} << kGainBits) | ToCoeffGain(gain);
}

std::uint32_t SourceOf(std::uint64_t word) {
  return static_cast<std::uint32_t>(word >> kGainBits);
}

std::uint32_t GainOf(std::uint64_t word) {
  return static_cast<std::uint32_t>(word) & kGainMask;
}

}  // namespace

std::uint32_t ToCoeffGain(float gain) {
  constexpr float kUnity = 65536.0F;
  if (gain < 0.0F) {
    const auto magnitude =
        SaturateCast<std::uint32_t>(static_cast<float>(static_cast<double>(gain) * -65536.0));
    return (0U - magnitude) & kGainMask;
  }
  return SaturateCast<std::uint32_t>(gain * kUnity) & kGainMask;
}

AudioMixer::AudioMixer(const std::string& name, std::uint32_t baseAddress, std::uint64_t mixerIndex)
    : CoreDriver(name, baseAddress, mixerIndex) {
}

AudioMixer::~AudioMixer() {
  if (!thread_.joinable()) {
    return;
  }
  LOG_INFO("Try to close thread");
  RequestStop();
  thread_.join();
  LOG_INFO("Thread closed");
}

void AudioMixer::RequestStop() {
  {
    const std::lock_guard lock(mutex_);
    stop_ = true;
  }
  wakeUp_.notify_one();
}

void AudioMixer::Initialize() {
  if (initialized_) {
    LOG_WARNING("Audio mixer is already initialized");
    return;
  }
  numLinks_ = std::min(ReadBitfield("num_links"), kMaxLinks);  // a refused read gives all ones
  LOG_INFO("AudioMixer Base Address is [%x]. Found %u links for %s", GetBaseAddress(), numLinks_,
           GetName().c_str());
  {
    const std::lock_guard lock(mutex_);
    coeffs_.resize(std::size_t{numLinks_} * kWordsPerLink);
    programmed_.resize(coeffs_.size());
  }
  large_ = ReadBitfield("large_mixer") == 1;
  ResetAndRelease();
  initialized_ = true;
  thread_ = std::thread(&AudioMixer::_ProgramCoeffsThread, this);
}

int AudioMixer::BuildRoute(const std::shared_ptr<AudioMixerRoute>& route) {
  if (!initialized_) {
    LOG_ERROR("Trying to make route before the mixer was initialized");
    return -1;
  }
  if (route == nullptr) {
    LOG_ERROR("There is no route to build. Skipping BuildRoute");
    return -1;
  }
  const std::uint32_t destLink = route->GetDestLink();
  const std::uint32_t destChannel = route->GetDestChannel();
  const auto mixerIndex = static_cast<int>(GetIndex());
  if (destLink >= numLinks_) {
    LOG_ERROR(
        "Output link %d is out of range the range %d. This mixer index is %d. Skipping BuildRoute",
        static_cast<int>(destLink), static_cast<int>(numLinks_), mixerIndex);
    return -1;
  }
  if (destChannel >= kChannels) {
    LOG_ERROR("Output channel is out of range. Skipping BuildRoute");
    return -1;
  }
  const auto numSrc = static_cast<std::uint8_t>(std::min(route->GetNumSrc(), kCoeffs));
  for (std::uint8_t i = 0; i < numSrc; ++i) {
    std::uint8_t link = 0;
    if (route->GetLink(i, &link) != 0) {
      LOG_ERROR("Cannot get link from route. Skipping BuildRoute");
      return -1;
    }
    if (link >= numLinks_) {
      LOG_ERROR(
          "Source index %d has source link %d which is out of range. Skipping BuildRoute. "
          "Destination Link is %d and dest channel is %d. Mixer index is %d",
          i, link, static_cast<int>(destLink), static_cast<int>(destChannel), mixerIndex);
      return -1;
    }
  }
  std::array<std::uint64_t, kCoeffs> words{};  // kept apart, so that a failure changes nothing
  for (std::uint8_t i = 0; i < numSrc; ++i) {
    std::uint8_t channel = 0;
    std::uint8_t link = 0;
    float gain = 0.0F;
    if (route->GetChannel(i, &channel) != 0) {
      LOG_ERROR("Cannot get channel from route. Skipping BuildRoute");
      return -1;
    }
    if (route->GetLink(i, &link) != 0 || route->GetLinearGain(i, &gain) != 0) {
      LOG_ERROR("Cannot get link from route. Skipping BuildRoute");
      return -1;
    }
    words[i] = CoeffWord(link, channel, gain);
  }
  std::copy(words.begin(), words.end(),
            coeffs_.begin() + (destLink * kChannels + destChannel) * kCoeffs);
  return 0;
}

void AudioMixer::ProgramCoeffs() {
  if (!initialized_) {
    LOG_ERROR("Trying to program the mixer before it was initialized");
    return;
  }
  {
    const std::lock_guard lock(mutex_);
    std::copy(coeffs_.begin(), coeffs_.end(), programmed_.begin());
    due_ = true;
  }
  wakeUp_.notify_one();
}

void AudioMixer::_ProgramCoeffsThread() {
  LOG_INFO("Audio Mixer is %s version.", large_ ? "large" : "small");
  std::unique_lock lock(mutex_);
  for (;;) {
    wakeUp_.wait(lock, [this] { return due_ || stop_; });
    lock.unlock();
    if (stop_ || !_AwaitSwap()) {
      return;
    }
    lock.lock();
    due_ = false;  // whatever was stored up to here goes out now
    _WriteCoeffs(LOG_ORIGIN);
  }
}

// Waits until the core has both sides apart again, however long that takes; false if the thread is
// told to end meanwhile.
bool AudioMixer::_AwaitSwap() {
  while (ReadBitfield("toggle_bit") != 0) {
    if (stop_) {
      return false;
    }
    platform::SleepMicroseconds(kSwapPollMicroseconds);
  }
  return true;
}

// Fills the side that the audio doesn't use and asks for the swap. Called with the mutex held.
void AudioMixer::_WriteCoeffs(const LogOrigin& thread) {
  WriteBitfield("coeff_addr", 0);
  const auto count = static_cast<std::uint32_t>(programmed_.size());
  for (std::uint32_t i = 0; i < count; ++i) {
    const std::uint64_t word = programmed_[i];
    if (large_) {
      WriteBitfield("coeff_data_msw", SourceOf(word));
      WriteBitfield("coeff_data_lsw", GainOf(word));
      LOG_DEBUG_FROM(
          thread,
          "Mixer baseAddr %x link,channel,coeff: [%x, %x, %x] gets link,channel [%x, %x] with "
          "gain [%x]",
          GetBaseAddress(), i / kWordsPerLink, i / kCoeffs % kChannels, i % kCoeffs,
          SourceOf(word) / kChannels, SourceOf(word) % kChannels, GainOf(word));
    } else {
      WriteBitfield("coeff_data", static_cast<std::uint32_t>(word));
    }
    if (i < kWordsPerLink && i % kCoeffs == 0) {
      LOG_DEBUG_FROM(thread,
                     "Mixer baseAddr %x channel: [%x] gets link,channel [%x] with gain [%x]",
                     GetBaseAddress(), i / kCoeffs, SourceOf(word), GainOf(word));
    }
  }
  WriteBitfield("set_toggle", 1);
}

void AudioMixer::DumpStatus(std::uint64_t /*unused*/, std::uint64_t /*unused*/, std::string& report,
                            std::uint8_t* more) {
  *more = 0;
  report.clear();
  for (std::uint32_t i = 0; i < coeffs_.size(); ++i) {
    const std::uint32_t coeff = i % kCoeffs;
    if (coeff == 0) {
      report += FormatMessage("Output Link %d Ch %d --- ", static_cast<int>(i / kWordsPerLink),
                              static_cast<int>(i / kCoeffs % kChannels));
    }
    const std::uint32_t source = SourceOf(coeffs_[i]);
    const std::uint32_t gain = GainOf(coeffs_[i]);
    if (gain != 0) {
      report += FormatMessage("\tInput Link %ld, Ch %ld with coeff 0x%06x\n",
                              static_cast<long>(source / kChannels),
                              static_cast<long>(source % kChannels), gain);
    } else if (coeff == 0) {
      report += "\tSilence\n";
    }
  }
}
