#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "map/IrqHandlerRegs.h"
#include "regaccess/BitfieldManager.h"

/// The interrupt aggregator of the FPGA: up to 256 lines, numbered 0 to 255, and one summary
/// output. Interrupts are not delivered by the operating system: an owner calls PollIrq from its
/// own loop.
///
/// Threads: all operations belong to the one thread that polls; handlers run on it. A handler may
/// mask and unmask lines.
class IrqHandler {
 public:
  virtual ~IrqHandler() = default;

  /// Serves what is pending and unmasked: masks every such line, runs all their handlers in
  /// ascending order of the lines, then clears and unmasks each. A line without a handler is logged
  /// at Warning. What a handler throws passes out of here, and the lines of this round stay masked
  /// then.
  virtual void PollIrq() = 0;
  /// Clears a line's latched status. A number above 255 is logged at Error and does nothing.
  virtual void ClearIrq(std::size_t irq) = 0;
  /// Masks a line. A number above 255 does nothing.
  virtual void MaskIrq(std::size_t irq) = 0;
  /// Unmasks a line. A number above 255 is logged at Error and does nothing.
  virtual void UnmaskIrq(std::size_t irq) = 0;
  /// Adds a handler, to run after those that the line has. It doesn't unmask the line. A number
  /// above 255 is logged at Error and does nothing.
  virtual void RegisterHandler(std::size_t irq, std::function<void()> handler) = 0;
};

/// The driver. Its constructor writes nothing: every line counts as masked until UnmaskIrq,
/// whatever the mask registers hold.
class IrqHandlerImpl : public RegisterBlock<irq_handler_regs::kFields>, public IrqHandler {
 public:
  /// `baseAddress`: bytes from the start of the register window.
  IrqHandlerImpl(const std::string& name, std::uint32_t baseAddress);

  void PollIrq() override;
  void ClearIrq(std::size_t irq) override;
  void MaskIrq(std::size_t irq) override;
  void UnmaskIrq(std::size_t irq) override;
  void RegisterHandler(std::size_t irq, std::function<void()> handler) override;

 private:
  static constexpr std::size_t kLines = 256;
  static constexpr std::size_t kGroups = kLines / 32;

  std::vector<std::size_t> _PendingAndUnmasked();
  void _RunHandlers(std::size_t irq);

  std::array<std::vector<std::function<void()>>, kLines> handlers_;
  std::array<bool, kLines> masked_;  // the software's mirror of the mask bits
};
