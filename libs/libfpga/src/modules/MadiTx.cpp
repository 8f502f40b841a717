#include "modules/MadiTx.h"

#include "log/Log.h"
#include "map/AudioMap.h"

MadiTxImpl::MadiTxImpl(const std::string& name, std::uint32_t baseAddress, std::uint64_t index)
    : CoreDriver(name, baseAddress, index) {
}

void MadiTxImpl::OnAudioTypeChange(MadiAudioTypeArray types) {
  const auto word = [](const AudioTypeArray& low, const AudioTypeArray& high) {
    return NonPcmChannels(low) | NonPcmChannels(high) << audio_map::kChannels;
  };
  WriteBitfield("nonPcmChannels1To32", word(types[0], types[1]));
  WriteBitfield("nonPcmChannels33To64", word(types[2], types[3]));
}

// The 'd' after each word belongs to the report as its readers know it.
void MadiTxImpl::DumpStatus(std::uint64_t, std::uint64_t, std::string& report, std::uint8_t* more) {
  *more = 0;
  const std::uint32_t first = ReadBitfield("nonPcmChannels1To32");
  const std::uint32_t second = ReadBitfield("nonPcmChannels33To64");
  const std::uint32_t reset = ReadBitfield("reset");
  report = FormatMessage("Reset is set to %d\n", static_cast<int>(reset));
  report += FormatMessage("nonPcmChannels1To32: 0x%08xd\n", first);
  report += FormatMessage("nonPcmChannels33To64: 0x%08xd\n", second);
}
