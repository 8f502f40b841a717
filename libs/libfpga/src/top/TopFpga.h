#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "audio/AudioPathFacadeImpl.h"
#include "modules/Framesync.h"
#include "modules/IrqHandler.h"
#include "modules/RefDetect.h"
#include "modules/SdiRx.h"
#include "modules/SdiTx.h"
#include "modules/VideoCrosspoint.h"

/// The whole FPGA as one object: the way to the cores' drivers. A path is a frame synchroniser, a
/// receiver and a transmitter of the same index; the lists hold the active paths.
///
/// Threads: the references stay valid, and the lists unchanged, for as long as the object lives;
/// other threads may use them.
class TopFpga {
 public:
  virtual ~TopFpga() = default;

  virtual std::vector<Framesync*>& GetFramesyncs() = 0;
  virtual std::vector<SdiRx*>& GetSdiRxs() = 0;
  virtual std::vector<SdiTx*>& GetSdiTxs() = 0;
  virtual VideoCrosspoint& GetSdiRxCrosspoint() = 0;
  virtual VideoCrosspoint& GetSdiTxCrosspoint() = 0;
  virtual IrqHandler& GetIrqHandler() = 0;
  virtual AudioPathFacade& GetAudioPathFacade() = 0;
  virtual RefDetect& GetRefDetect() = 0;
};

/// Builds a driver for every core and brings the design out of reset, both in a fixed order. One
/// object serves for the whole life of the process, since the names of the cores do. Its end
/// touches no core.
class TopFpgaImpl : public TopFpga {
 public:
  /// `channels`: number of active paths, 0 to 4; more count as 4. The cores of the other paths are
  /// built as well, initialised and held in reset; the console reaches their registers.
  ///
  /// A failed register access is logged and bring-up goes on. Throws std::invalid_argument, after a
  /// Critical line, if the register window can't be mapped.
  explicit TopFpgaImpl(std::uint8_t channels);
  /// Destroys frame synchronisers, receivers and transmitters, each front to back, and then the
  /// others.
  ~TopFpgaImpl() override;

  std::vector<Framesync*>& GetFramesyncs() override { return framesyncs_; }
  std::vector<SdiRx*>& GetSdiRxs() override { return sdiRxs_; }
  std::vector<SdiTx*>& GetSdiTxs() override { return sdiTxs_; }
  VideoCrosspoint& GetSdiRxCrosspoint() override { return sdiRxCrosspoint_; }
  VideoCrosspoint& GetSdiTxCrosspoint() override { return sdiTxCrosspoint_; }
  IrqHandler& GetIrqHandler() override { return irqHandler_; }
  AudioPathFacade& GetAudioPathFacade() override { return audioPath_; }
  RefDetect& GetRefDetect() override { return refDetect_; }

 private:
  void _BuildPaths();
  void _BringUpReceivers(std::uint8_t channels);
  void _BringUpFramesyncs(std::uint8_t channels);
  void _GiveDelayMemory();
  void _BringUpTransmitters(std::uint8_t channels);
  void _StopTestPatterns();

  IrqHandlerImpl irqHandler_;
  VideoCrosspointImpl sdiRxCrosspoint_;
  VideoCrosspointImpl sdiTxCrosspoint_;
  AudioPathFacadeImpl audioPath_;
  RefDetect refDetect_;
  std::vector<std::unique_ptr<Framesync>> allFramesyncs_;  // by index, like the next two
  std::vector<std::unique_ptr<SdiRx>> allSdiRxs_;
  std::vector<std::unique_ptr<SdiTx>> allSdiTxs_;
  std::vector<Framesync*> framesyncs_;  // the active ones
  std::vector<SdiRx*> sdiRxs_;
  std::vector<SdiTx*> sdiTxs_;
};
