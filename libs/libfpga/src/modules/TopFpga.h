#pragma once

#include "modules/IrqHandler.h"
#include "modules/VideoCrosspoint.h"

/// The whole FPGA as one object: the way to the cores' drivers. The references stay valid for as
/// long as the object lives and may be used from other threads.
class TopFpga {
 public:
  virtual ~TopFpga() = default;

  virtual VideoCrosspoint& GetSdiRxCrosspoint() = 0;
  virtual VideoCrosspoint& GetSdiTxCrosspoint() = 0;
  virtual IrqHandler& GetIrqHandler() = 0;
};

/// Builds a driver for every core, in the order of the members. One object serves for the whole
/// life of the process, since the names of the cores do.
class TopFpgaImpl : public TopFpga {
 public:
  /// Maps the register window. Throws std::invalid_argument, after a Critical line, if it can't be
  /// mapped.
  TopFpgaImpl();

  VideoCrosspoint& GetSdiRxCrosspoint() override { return sdiRxCrosspoint_; }
  VideoCrosspoint& GetSdiTxCrosspoint() override { return sdiTxCrosspoint_; }
  IrqHandler& GetIrqHandler() override { return irqHandler_; }

 private:
  IrqHandlerImpl irqHandler_;
  VideoCrosspointImpl sdiRxCrosspoint_;
  VideoCrosspointImpl sdiTxCrosspoint_;
};
