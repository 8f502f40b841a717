#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string_view>
#include <vector>

#include "map/ModuleMap.h"
#include "sim/FieldModel.h"
#include "sim/RegisterFile.h"
#include "sim/SimulatedClock.h"
#include "sim/VideoSignal.h"
#include "sim/models/AesRxModel.h"
#include "sim/models/AudioDeembedderModel.h"
#include "sim/models/AudioDelayModel.h"
#include "sim/models/AudioDelaySrcModel.h"
#include "sim/models/AudioEmbedderModel.h"
#include "sim/models/AudioInputClkGenModel.h"
#include "sim/models/AudioMixerModel.h"
#include "sim/models/AudioOutputClkGenModel.h"
#include "sim/models/AudioPeakMeterModel.h"
#include "sim/models/CrosspointModel.h"
#include "sim/models/FramesyncModel.h"
#include "sim/models/IrqAggregatorModel.h"
#include "sim/models/MadiModel.h"
#include "sim/models/RefDetectModel.h"
#include "sim/models/SdiRxModel.h"
#include "sim/models/SdiTxModel.h"

namespace sim {

/// The simulated FPGA: a model for each module of the map, in its slot, and what joins them. A core
/// without behaviour of its own is a FieldModel over its table and needs no line here.
///
/// It is known to the board's own sources alone; others reach a model through Board::Core.
class Fpga {
 public:
  Fpga(BoardMutex& mutex, SimulatedClock& clock, RegisterFile& registers);
  Fpga(const Fpga&) = delete;
  Fpga& operator=(const Fpga&) = delete;

  /// Every model that has this input, 0 to 3, gets the signal. Throws std::out_of_range.
  void Plug(std::uint32_t input, const VideoSignal& signal);

  // The models that others follow or feed.
  template <typename Model>
  using OfEachPath = std::array<std::unique_ptr<Model>, module_map::kPaths>;
  IrqAggregatorModel irqAggregator;
  OfEachPath<SdiRxModel> sdiRx;
  OfEachPath<FramesyncModel> framesync;
  OfEachPath<AudioDelayModel> audioDelay;
  OfEachPath<AudioDeembedderModel> deembedder;
  OfEachPath<AudioPeakMeterModel> inputPeakMeters;
  OfEachPath<AudioMixerModel> inputMixer;
  AudioMixerModel mainMixer;
  AesRxModel aesRx;
  RefDetectModel refDetect;

 private:
  void _BuildPath(std::uint32_t path);
  void _Attach(module_map::ModuleId id, std::uint32_t path, CoreModel& model);
  template <typename Model, typename... Arguments>
  Model& _Build(module_map::ModuleId id, std::uint32_t path, Arguments&&... arguments);
  void _BuildPlainCores();

  BoardMutex& mutex_;
  SimulatedClock& clock_;
  RegisterFile& registers_;
  std::vector<std::unique_ptr<CoreModel>> others_;
};

}  // namespace sim
