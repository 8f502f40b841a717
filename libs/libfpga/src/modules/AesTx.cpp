#include "modules/AesTx.h"

#include "log/Log.h"
#include "map/AudioMap.h"

AesTx::AesTx(const std::string& name, std::uint32_t baseAddress, std::uint64_t index)
    : CoreDriver(name, baseAddress, index) {
}

void AesTx::OnAudioTypeChange(AudioTypeArray types) {
  const std::uint32_t channels = NonPcmChannels(types);
  LOG_INFO("nonPcmSelectArray is %x", channels);
  WriteBitfield("perChannelNonPcm", channels);
}

void AesTx::DumpStatus(std::uint64_t, std::uint64_t, std::string& report, std::uint8_t* more) {
  *more = 0;
  report.clear();
  const std::uint32_t nonPcm = ReadBitfield("perChannelNonPcm");
  const std::uint32_t reset = ReadBitfield("reset");
  const std::uint32_t noRegeneration = ReadBitfield("disableCBitRegen");
  report += FormatMessage("Reset is set to %d\n", static_cast<int>(reset));
  report += FormatMessage("Disable C Bit Regen is set to %d\n", static_cast<int>(noRegeneration));
  for (int channel = 0; channel < audio_map::kChannels; ++channel) {
    report += FormatMessage("Channel %d is set as [%s]\n", channel,
                            (nonPcm >> channel & 1U) != 0 ? "not PCM" : "PCM");
  }
}
