#pragma once

#include <array>
#include <memory>
#include <string>

#include "audio/AudioPathRegs.h"
#include "modules/AddressMap.h"
#include "modules/AesTxRegs.h"
#include "modules/DanteCoreInterfaceRegs.h"
#include "sim/FieldModel.h"
#include "sim/LogRecords.h"
#include "sim/RegisterFile.h"
#include "sim/Settings.h"
#include "sim/SignalFile.h"
#include "sim/SimulatedClock.h"
#include "sim/SpiBus.h"
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
#include "sim/models/DriverChainModel.h"
#include "sim/models/EqualiserChainModel.h"
#include "sim/models/FramesyncModel.h"
#include "sim/models/IrqAggregatorModel.h"
#include "sim/models/MadiModel.h"
#include "sim/models/RefDetectModel.h"
#include "sim/models/SdiRxModel.h"
#include "sim/models/SdiTxModel.h"

namespace sim {

/// The simulated board: all that the machine's edge reaches, in one object. There is one in a
/// process, like the real board, and it stands until the process ends.
///
/// A test calls CreateInMemory before anything else; a program that doesn't gets a board with a
/// folder at its first access: the one that the environment variable BOARD_SIM_DIR names, else
/// ".board-sim" in the working directory. The folder holds "board.conf" (see Settings), "log.txt"
/// (the records of the system log), "signals.conf" (what is plugged in, see SignalFile),
/// "trace.txt" if asked for, and the board's files below "files".
class Board {
 public:
  /// The process's board. A folder that can't be used ends the process with status 1, after a line
  /// on standard error.
  static Board& Get();
  /// Makes the process's board without a folder. Throws std::logic_error if there is one already.
  static Board& CreateInMemory();

  Board(const Board&) = delete;
  Board& operator=(const Board&) = delete;

  /// Gives the board a folder, which is created if it is missing. Throws std::system_error if the
  /// folder or a file of it can't be had. A file of the inventory that can't be read is a fault of
  /// the board, and none of the folder.
  void UseFolder(const std::string& folder);
  /// Keeps the board's files, such as those of the inventory, below a folder.
  void UseFilesFolder(const std::string& folder);
  /// Where a file of the board lies. Without a folder for files there is no such file.
  std::string StoragePath(std::string_view boardPath) const;

  /// Plugs a signal into an SDI input, 0 to 3: every model that has this input gets it. Throws
  /// std::out_of_range.
  void Plug(std::uint32_t input, const VideoSignal& signal);

  /// Plugs a signal into an AES3 line, 0 to 7. Throws std::out_of_range.
  void PlugAes(std::uint32_t line, const AudioPair& audio);

  /// Maps the register window: an address range of its own that nothing but LoadWord and StoreWord
  /// can reach. Null with errno set if the settings say so.
  volatile void* MapWindow(std::size_t bytes);

  // The parts of the board. Each is thread-safe by itself; `settings` belongs to start-up.
  BoardMutex mutex;
  Settings settings;
  LogRecords log;
  SimulatedClock clock;
  RegisterFile registers{mutex};

  // The cores.
  IrqAggregatorModel irqAggregator{mutex};
  CrosspointModel sdiRxCrosspoint{mutex};
  CrosspointModel sdiTxCrosspoint{mutex};
  std::array<SdiRxModel, address_map::kPaths> sdiRx{_Receiver(0), _Receiver(1), _Receiver(2),
                                                    _Receiver(3)};
  std::array<SdiTxModel, address_map::kPaths> sdiTx{SdiTxModel(mutex), SdiTxModel(mutex),
                                                    SdiTxModel(mutex), SdiTxModel(mutex)};
  std::array<FramesyncModel, address_map::kPaths> framesync{
      FramesyncModel(mutex), FramesyncModel(mutex), FramesyncModel(mutex), FramesyncModel(mutex)};
  std::array<AudioDelayModel, address_map::kPaths> audioDelay{
      AudioDelayModel(mutex, clock), AudioDelayModel(mutex, clock), AudioDelayModel(mutex, clock),
      AudioDelayModel(mutex, clock)};
  std::array<AudioDelaySrcModel, address_map::kPaths> audioDelaySrc{_Converter(0), _Converter(1),
                                                                    _Converter(2), _Converter(3)};
  RefDetectModel refDetect{mutex};
  FieldModel audioPath{mutex, audio_path_regs::kFields};
  std::array<AudioDeembedderModel, address_map::kPaths> deembedder{_Deembedder(0), _Deembedder(1),
                                                                   _Deembedder(2), _Deembedder(3)};
  std::array<AudioEmbedderModel, address_map::kPaths> embedder{_Embedder(0), _Embedder(1),
                                                               _Embedder(2), _Embedder(3)};
  std::array<AudioInputClkGenModel, address_map::kPaths> inputClkGen{
      AudioInputClkGenModel(mutex), AudioInputClkGenModel(mutex), AudioInputClkGenModel(mutex),
      AudioInputClkGenModel(mutex)};
  std::array<AudioPeakMeterModel, address_map::kPaths> inputPeakMeters{
      AudioPeakMeterModel(mutex, 1), AudioPeakMeterModel(mutex, 1), AudioPeakMeterModel(mutex, 1),
      AudioPeakMeterModel(mutex, 1)};
  AudioOutputClkGenModel outputClkGen{mutex, irqAggregator, address_map::kOutputClkGen};
  AudioPeakMeterModel outputPeakMeters{mutex, 4};
  MadiModel madi{mutex};
  FieldModel dante{mutex, dante_core_interface_regs::kFields};
  AesRxModel aesRx{mutex, irqAggregator, address_map::kAesRx};
  FieldModel aesTx{mutex, aes_tx_regs::kFields};
  std::array<AudioMixerModel, address_map::kPaths> inputMixer{_InputMixer(), _InputMixer(),
                                                              _InputMixer(), _InputMixer()};
  AudioMixerModel mainMixer{mutex, AudioMixerModel::Version::kLarge, 17};

  // The SPI devices and the chips behind them.
  EqualiserChainModel equaliserChain{mutex, settings};
  DriverChainModel driverChain{mutex, settings};
  SpiBus equaliserSpi{mutex, "/dev/spidev1.0", 1, equaliserChain, settings.equaliserSpiFault};
  SpiBus driverSpi{mutex, "/dev/spidev0.0", 0, driverChain, settings.driverSpiFault};

 private:
  Board();

  SdiRxModel _Receiver(std::uint32_t path) {
    return {mutex, clock, irqAggregator, address_map::kSdiRx + path};
  }
  AudioDeembedderModel _Deembedder(std::uint32_t path) {
    return {mutex, irqAggregator, address_map::kDeembedder + path};
  }
  AudioEmbedderModel _Embedder(std::uint32_t path) {
    return {mutex, irqAggregator, address_map::kEmbedder + path};
  }
  AudioDelaySrcModel _Converter(std::uint32_t path) {
    return {mutex, clock, audioDelay.at(path), irqAggregator, address_map::kAudioDelaySrc + path};
  }
  AudioMixerModel _InputMixer() { return {mutex, AudioMixerModel::Version::kSmall, 1}; }

  std::string filesFolder_;
  std::unique_ptr<SignalFile> signalFile_;  // in a board with a folder; guarded by its lock
};

}  // namespace sim
