#include "modules/AesRx.h"

#include <algorithm>

#include "log/Log.h"
#include "platform/Clock.h"

namespace {

using NumberedFields = AesRx::NumberedFields;

constexpr NumberedFields kLocked("aesLocked#");
constexpr NumberedFields kNonPcm("nonPcmPair#");
constexpr NumberedFields kDataType("nonPcmDolbyType#");

constexpr std::uint8_t kLastPair = aes_rx_regs::kPairs - 1;
constexpr std::uint32_t kAllIrqSources = 3;
constexpr std::uint32_t kAllPairs = 0xFF;

// What writeReadRunOffset and writeReadStartOffset are set to.
constexpr std::uint32_t kRunOffset = 20;
constexpr std::uint32_t kStartOffset = 8;

constexpr std::chrono::seconds kIrqInterval(2);

}  // namespace

AesRx::AesRx(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
             std::uint64_t irqNumber)
    : CoreDriver(name, baseAddress, index), irqNumber_(irqNumber) {
}

void AesRx::HoldInReset() {
  CoreDriver::HoldInReset();
  WriteBitfield("writeReadRunOffset", kRunOffset);
  WriteBitfield("writeReadStartOffset", kStartOffset);
}

void AesRx::UnmaskIrq() {
  WriteBitfield("irqMask", 0);
}

void AesRx::MaskIrq() {
  WriteBitfield("irqMask", kAllIrqSources);
}

// The burst words are read before the lock: a pair whose lock goes meanwhile is PCM.
AudioChannelInfo::AudioType AesRx::GetPairType(std::uint8_t pair) {
  pair = std::min(pair, kLastPair);
  const bool nonPcm = ReadBitfield(kNonPcm[pair]) != 0;
  const std::uint32_t dataType = ReadBitfield(kDataType[pair]);
  const bool locked = ReadBitfield(kLocked[pair]) != 0;
  LOG_DEBUG("Aes RX IRQ reported pair %d as %s, dolby type %d ", int{pair},
            nonPcm ? "NON-PCM" : "PCM", static_cast<int>(dataType));
  return nonPcm && locked ? AudioTypeOfBurst(dataType) : AudioChannelInfo::AudioType::Pcm;
}

bool AesRx::IsPairPcm(std::uint8_t pair) {
  return GetPairType(pair) == AudioChannelInfo::AudioType::Pcm;
}

void AesRx::GetUnlockSaved(std::uint8_t& saved) {
  saved = static_cast<std::uint8_t>(ReadBitfield("unlockSaved"));
  WriteBitfield("unlockSaved", kAllPairs);
}

bool AesRx::HandleIrq() {
  if (platform::SteadyTime() - lastIrqCheck_ < kIrqInterval) {
    return false;
  }
  lastIrqCheck_ = platform::SteadyTime();
  const std::uint32_t status = ReadBitfield("irqStatus");
  if (status == 0) {
    return false;
  }
  for (std::size_t pair = 0; pair < aes_rx_regs::kPairs; ++pair) {
    (void)ReadBitfield(kLocked[pair]);  // part of the answer; the values are not used
  }
  Pulse("irqClr", status);
  LOG_DEBUG("Got IRQ with status %d", static_cast<int>(status));
  return true;
}
