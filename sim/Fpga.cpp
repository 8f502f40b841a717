#include "sim/Fpga.h"

#include <utility>

#include "map/AudioMap.h"
#include "map/CoreTables.h"
#include "sim/BurstPosition.h"

namespace sim {

using module_map::Module;
using module_map::ModuleId;
using module_map::ModuleOf;

namespace {

// What a pair shows on its meters: PCM is a tone of -18 dB of full scale, the alignment level (EBU
// R 68), and bursts look like noise near full scale.
std::uint32_t LevelOf(const AudioPair& audio) {
  constexpr std::uint32_t kAlignmentLevel = 1056063;
  constexpr std::uint32_t kBurstLevel = 8000000;
  if (!audio.present) {
    return 0;
  }
  return audio.line == 0 ? kAlignmentLevel : kBurstLevel;
}

std::uint32_t LineOf(ModuleId id, std::uint32_t path = 0) {
  return ModuleOf(id, path).slot;
}

}  // namespace

Fpga::Fpga(BoardMutex& mutex, SimulatedClock& clock, RegisterFile& registers)
    : irqAggregator(mutex),
      mainMixer(mutex, AudioMixerModel::Version::kLarge, audio_map::kSourceLinks),
      aesRx(mutex, irqAggregator, LineOf(ModuleId::kAesRx)),
      refDetect(mutex),
      mutex_(mutex),
      clock_(clock),
      registers_(registers) {
  _Attach(ModuleId::kIrqHandler, 0, irqAggregator);
  _Attach(ModuleId::kMainMixer, 0, mainMixer);
  _Attach(ModuleId::kAesRx, 0, aesRx);
  _Attach(ModuleId::kRefDetect, 0, refDetect);
  _Build<CrosspointModel>(ModuleId::kSdiRxCrosspoint, 0);
  _Build<CrosspointModel>(ModuleId::kSdiTxCrosspoint, 0);
  _Build<AudioOutputClkGenModel>(ModuleId::kOutputClkGen, 0, irqAggregator,
                                 LineOf(ModuleId::kOutputClkGen));
  _Build<AudioPeakMeterModel>(ModuleId::kOutputPeakMeters, 0, audio_map::kMeteredOutputs);
  _Build<MadiModel>(ModuleId::kMadiRx, 0);  // and the transmitter, in the same slot
  for (std::uint32_t path = 0; path < module_map::kPaths; ++path) {
    _BuildPath(path);
  }
  _BuildPlainCores();
}

void Fpga::_BuildPath(std::uint32_t path) {
  const auto own = [this, path](ModuleId id, auto& model, auto&&... arguments) {
    using Model = typename std::remove_reference_t<decltype(model)>::element_type;
    model = std::make_unique<Model>(mutex_, std::forward<decltype(arguments)>(arguments)...);
    _Attach(id, path, *model);
  };
  own(ModuleId::kSdiRx, sdiRx[path], clock_, irqAggregator, LineOf(ModuleId::kSdiRx, path));
  own(ModuleId::kFramesync, framesync[path], refDetect, path);
  own(ModuleId::kDeembedder, deembedder[path], irqAggregator, LineOf(ModuleId::kDeembedder, path));
  own(ModuleId::kInputMixer, inputMixer[path], AudioMixerModel::Version::kSmall,
      std::uint32_t{audio_map::kInputMixerLinks});
  own(ModuleId::kAudioDelay, audioDelay[path], clock_);
  own(ModuleId::kInputPeakMeters, inputPeakMeters[path],
      std::uint32_t{audio_map::kInputMixerLinks});
  _Build<SdiTxModel>(ModuleId::kSdiTx, path);
  _Build<AudioInputClkGenModel>(ModuleId::kInputClkGen, path);
  _Build<AudioDelaySrcModel>(ModuleId::kAudioDelaySrc, path, clock_, *audioDelay[path],
                             irqAggregator, LineOf(ModuleId::kAudioDelaySrc, path));
  _Build<AudioEmbedderModel>(ModuleId::kEmbedder, path, irqAggregator,
                             LineOf(ModuleId::kEmbedder, path))
      .FollowBursts([this, path](std::uint32_t pair) { return BurstLineAt(*this, path, pair); });
}

void Fpga::_Attach(ModuleId id, std::uint32_t path, CoreModel& model) {
  registers_.Attach(ModuleOf(id, path).Base(), model);
}

template <typename Model, typename... Arguments>
Model& Fpga::_Build(ModuleId id, std::uint32_t path, Arguments&&... arguments) {
  auto model = std::make_unique<Model>(mutex_, std::forward<Arguments>(arguments)...);
  Model& built = *model;
  _Attach(id, path, built);
  others_.push_back(std::move(model));
  return built;
}

void Fpga::_BuildPlainCores() {
  for (const Module& module : module_map::kModules) {
    if (registers_.ModelAt(module.Base()) == nullptr) {
      others_.push_back(
          std::make_unique<FieldModel>(mutex_, module_map::TableOf(module.core).fields));
      registers_.Attach(module.Base(), *others_.back());
    }
  }
}

void Fpga::Plug(std::uint32_t input, const VideoSignal& signal) {
  sdiRx.at(input)->Plug(signal);
  framesync[input]->Plug(signal);
  for (std::uint32_t pair = 0; pair < signal.audio.size(); ++pair) {
    AudioPair audio = signal.audio[pair];
    audio.present = audio.present && signal.IsPresent();
    deembedder[input]->Plug(pair, audio);
    inputPeakMeters[input]->SetLevel(2 * pair, LevelOf(audio));
    inputPeakMeters[input]->SetLevel(2 * pair + 1, LevelOf(audio));
  }
}

}  // namespace sim
