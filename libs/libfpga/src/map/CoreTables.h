#pragma once

#include <span>
#include <string_view>

#include "map/AesRxRegs.h"
#include "map/AesTxRegs.h"
#include "map/AudioDeembedderRegs.h"
#include "map/AudioDelayRegs.h"
#include "map/AudioDelaySrcRegs.h"
#include "map/AudioEmbedderRegs.h"
#include "map/AudioInputClkGenRegs.h"
#include "map/AudioMixerRegs.h"
#include "map/AudioOutputClkGenRegs.h"
#include "map/AudioPathRegs.h"
#include "map/AudioPeakMeterRegs.h"
#include "map/DanteCoreInterfaceRegs.h"
#include "map/FramesyncRegs.h"
#include "map/IrqHandlerRegs.h"
#include "map/MadiRegs.h"
#include "map/ModuleMap.h"
#include "map/RefDetectRegs.h"
#include "map/SdiRxRegs.h"
#include "map/SdiTxRegs.h"

/// All register tables by the kind of core, for whoever walks over the whole map: the simulated
/// board, reports and checks. A driver includes its own table alone.
namespace module_map {

/// A kind of core as the map's reader knows it: its name and its fields.
struct CoreTable {
  Core core;
  std::string_view name;
  std::span<const Field> fields;  ///< none for a core that is made of whole words
};

// clang-format off
inline constexpr std::array<CoreTable, 20> kCoreTables{{
  {Core::kIrqHandler,         "IrqHandler",         irq_handler_regs::kFields},
  {Core::kVideoCrosspoint,    "VideoCrosspoint",    {}},
  {Core::kSdiRx,              "SdiRx",              sdi_rx_regs::kFields},
  {Core::kSdiTx,              "SdiTx",              sdi_tx_regs::kFields},
  {Core::kAudioPath,          "AudioPath",          audio_path_regs::kFields},
  {Core::kAudioDeembedder,    "AudioDeembedder",    audio_deembedder_regs::kFields},
  {Core::kAudioInputClkGen,   "AudioInputClkGen",   audio_input_clk_gen_regs::kFields},
  {Core::kAudioMixer,         "AudioMixer",         audio_mixer_regs::kFields},
  {Core::kAudioDelay,         "AudioDelay",         audio_delay_regs::kFields},
  {Core::kAudioDelaySrc,      "AudioDelaySrc",      audio_delay_src_regs::kFields},
  {Core::kAudioOutputClkGen,  "AudioOutputClkGen",  audio_output_clk_gen_regs::kFields},
  {Core::kMadiRx,             "MadiRx",             madi_regs::kRxFields},
  {Core::kMadiTx,             "MadiTx",             madi_regs::kTxFields},
  {Core::kDanteCoreInterface, "DanteCoreInterface", dante_core_interface_regs::kFields},
  {Core::kAesRx,              "AesRx",              aes_rx_regs::kFields},
  {Core::kAesTx,              "AesTx",              aes_tx_regs::kFields},
  {Core::kAudioPeakMeter,     "AudioPeakMeter",     audio_peak_meter_regs::kFields},
  {Core::kFramesync,          "Framesync",          framesync_regs::kFields},
  {Core::kAudioEmbedder,      "AudioEmbedder",      audio_embedder_regs::kFields},
  {Core::kRefDetect,          "RefDetect",          ref_detect_regs::kFields},
}};
// clang-format on
static_assert(
    [] {
      for (std::size_t i = 0; i < kCoreTables.size(); ++i) {
        if (kCoreTables[i].core != static_cast<Core>(i)) {
          return false;
        }
      }
      return true;
    }(),
    "TableOf takes a row's place for its core");

constexpr const CoreTable& TableOf(Core core) {
  return kCoreTables[static_cast<std::size_t>(core)];
}

}  // namespace module_map
