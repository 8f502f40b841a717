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
/// Threads: the references stay valid, and the lists unchanged, for as long as the object lives, so
/// that any thread may ask for them. What they lead to has rules of its own.
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

/// Builds a driver for every core, then brings the design up, both in a fixed order. One object
/// serves for the whole life of the process, since the names of the cores do. Its end resets and
/// stops no core, but a mixer's programming that is under way still goes out.
class TopFpgaImpl : public TopFpga {
 public:
  /// `channels`: number of active paths, 0 to 4; more count as 4. The cores of the other paths have
  /// their drivers and are set up as well, but held in reset; the console reaches their registers.
  /// Audio comes up for all paths in any case.
  ///
  /// A failed register access is logged and bring-up goes on. Throws std::invalid_argument, after a
  /// Critical line, if the register window can't be mapped or there was such an object before.
  explicit TopFpgaImpl(std::uint8_t channels);
  /// Destroys frame synchronisers, receivers and transmitters, each front to back, and after them
  /// the others, the last one built first.
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
