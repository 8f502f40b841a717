#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "audio/AudioPathFacade.h"
#include "controls/AesRxDriverControl.h"
#include "controls/AudioPeakMeterControl.h"
#include "map/AudioMap.h"
#include "map/AudioPathRegs.h"
#include "modules/AesTx.h"
#include "modules/AudioOutputClkGen.h"
#include "modules/DanteCoreInterface.h"
#include "modules/MadiRx.h"
#include "modules/MadiTx.h"
#include "regaccess/BitfieldManager.h"

/// Builds every audio driver and the graph of channel information between them. What hangs on which
/// link of the main mixer stands in map/AudioMap.h.
class AudioPathFacadeImpl : public AudioPathFacade, public RegisterBlock<audio_path_regs::kFields> {
 public:
  /// Touches no core. `moduleStride`: bytes from one module's registers to the next's.
  AudioPathFacadeImpl(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
                      std::uint32_t moduleStride, std::uint64_t irq);
  /// Tells all mixers' threads to end, then destroys the input paths and the embedders, each front
  /// to back, and after them the others, the last one built first.
  ~AudioPathFacadeImpl() override;

  void Initialize() override;
  void UnmaskEmbedderIrq(std::size_t embedder) override;
  std::uint64_t GetEmbedderIrq(std::size_t embedder) override;
  void HandleEmbedderIrq(std::size_t embedder) override;
  InputAudioPathFacade* GetInputAudioPathFacadeAtIndex(std::size_t index) override;
  AudioMixerDriverControl* GetMixer(int path) override;
  void UpdateMeters(int path, std::vector<std::int16_t>& meters) override;
  void HandleAudioOutputClkIrq() override;
  std::uint64_t GetAudioOutputClkIrq() override;
  void UnmaskAudioOutputClkIrq() override;
  void GetMadiRxStatus(bool* ok, bool* rateOk) override;
  void UpdateEmbedderNonPcmLineNum(std::size_t embedder, std::size_t pair, AudioType* type,
                                   std::uint16_t* line, std::uint8_t* groupEnabled) override;
  void SetEmbedderGroupEnable(std::size_t embedder, std::uint8_t group,
                              std::int16_t enable) override;
  void SetAes1To4Enable(bool enable) override;
  void SetAes5To8Enable(bool enable) override;
  void UnmaskAesRxIrq() override;
  void HandleAesRxIrq() override;
  std::uint64_t GetAesRxIrq() override;
  AudioEmbedderDriverControl& GetEmbedderAtIndex(std::size_t embedder) override;

  /// With `all`, the main mixer, the output clock generator and the Dante core, too.
  void HoldInReset(bool all);
  void ReleaseFromReset(bool all);
  /// HoldInReset, then ReleaseFromReset.
  void ResetAndRelease(bool all);

  // Each appends a callback; an empty one is skipped. They run on the thread that drives the graph,
  // the three of audio types within a notification of the graph: these may not change the routing.
  // No callback may add another one.

  /// Called at the end of HandleAudioOutputClkIrq.
  void AddAudioOutputClkIrqCallback(std::function<void()> callback);
  /// Called with all pairs of one embedder when the type of one has changed.
  void AddEmbedderAudioTypeCallback(std::function<void(AudioTypeArray)> callback);
  /// The same for the AES transmitter.
  void AddAesTxAudioTypeCallback(std::function<void(AudioTypeArray)> callback);
  /// The same for the MADI transmitter, with all four links.
  void AddMadiTxAudioTypeCallback(std::function<void(MadiAudioTypeArray)> callback);

  std::uint64_t GetIndex() const { return index_; }
  /// The number of the facade's own interrupt line.
  std::uint64_t GetIrqNumber() const { return irq_; }

 private:
  using LinkChInfo = std::array<ChInfoPtr, audio_map::kChannels>;

  AudioPathFacadeImpl(const std::string& name, std::uint32_t baseAddress, std::uint64_t index,
                      std::uint32_t moduleStride, std::uint64_t irq,
                      const module_map::OwnedModules& modules);

  void _BuildSources();
  void _BuildDestinations();
  void _SetAesEnable(FieldId enableField, FieldId outputField, std::uint8_t firstChannel,
                     bool enable);
  // The types of a destination link's pairs now.
  AudioTypeArray _TypesOf(std::uint8_t link) const;
  void _HandleEmbedderAudioTypeChange(std::uint8_t link);
  void _HandleMadiTxAudioTypeChange(std::uint8_t link);
  void _HandleAesTxAudioTypeChange();

  std::vector<std::unique_ptr<AudioEmbedderDriverControl>> embedders_;
  AudioMixerDriverControl mixer_;
  const std::string controlName_;
  const std::uint64_t index_;
  const std::uint64_t irq_;
  AudioOutputClkGen outputClockGenerator_;
  AesRxDriverControl aesRx_;
  AudioPeakMeterControl outputPeakMeters_;
  AesTx aesTx_;
  MadiRxImpl madiRx_;
  MadiTxImpl madiTx_;
  DanteCoreInterface dante_;
  std::array<LinkChInfo, audio_map::kSourceLinks> sourceChInfo_;
  std::array<LinkChInfo, audio_map::kDestLinks> destChInfo_;
  std::vector<std::function<void()>> clockCallbacks_;
  std::vector<std::function<void(AudioTypeArray)>> embedderTypeCallbacks_;
  std::vector<std::function<void(AudioTypeArray)>> aesTxTypeCallbacks_;
  std::vector<std::function<void(MadiAudioTypeArray)>> madiTxTypeCallbacks_;
  std::array<AudioTypeArray, module_map::kPaths>
      embedderTypes_{};               // the last type of each pair; Pcm at first
  AudioTypeArray aesTxTypes_{};       // the same for the AES link
  MadiAudioTypeArray madiTxTypes_{};  // the same for the MADI links
  std::vector<std::unique_ptr<InputAudioPathFacade>> inputPaths_;
};
