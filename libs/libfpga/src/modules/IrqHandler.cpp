#include "modules/IrqHandler.h"

#include <utility>

#include "log/Log.h"

namespace {

using FieldId = IrqHandlerImpl::FieldId;

constexpr std::array<FieldId, 8> kMask{"irq_mask_0_31",    "irq_mask_32_63",   "irq_mask_64_95",
                                       "irq_mask_96_127",  "irq_mask_128_159", "irq_mask_160_191",
                                       "irq_mask_192_223", "irq_mask_224_255"};
constexpr std::array<FieldId, 8> kStatus{
    "irq_status_0_31",    "irq_status_32_63",   "irq_status_64_95",   "irq_status_96_127",
    "irq_status_128_159", "irq_status_160_191", "irq_status_192_223", "irq_status_224_255"};
constexpr std::array<FieldId, 8> kClear{"irq_clr_0_31",    "irq_clr_32_63",   "irq_clr_64_95",
                                        "irq_clr_96_127",  "irq_clr_128_159", "irq_clr_160_191",
                                        "irq_clr_192_223", "irq_clr_224_255"};

constexpr std::size_t GroupOf(std::size_t irq) {
  return irq / 32;
}

constexpr std::uint32_t BitOf(std::size_t irq) {
  return 1U << (irq % 32);
}

}  // namespace

IrqHandlerImpl::IrqHandlerImpl(const std::string& name, std::uint32_t baseAddress)
    : RegisterBlock(name, baseAddress) {
  masked_.fill(true);
}

// Everything is masked before the first handler runs, and a line is cleared only after all handlers
// have dealt with its cause: a line that is raised meanwhile is found by a later poll.
void IrqHandlerImpl::PollIrq() {
  if (ReadBitfield("irqOutputStatus") == 0) {
    return;
  }
  const std::vector<std::size_t> pending = _PendingAndUnmasked();
  for (const std::size_t irq : pending) {
    MaskIrq(irq);
  }
  for (const std::size_t irq : pending) {
    if (handlers_[irq].empty()) {
      LOG_WARNING("No handler for IRQ %zu", irq);
    }
    _RunHandlers(irq);
  }
  for (const std::size_t irq : pending) {
    ClearIrq(irq);
    UnmaskIrq(irq);
  }
}

std::vector<std::size_t> IrqHandlerImpl::_PendingAndUnmasked() {
  std::vector<std::size_t> pending;
  for (std::size_t group = 0; group < kGroups; ++group) {
    const std::uint32_t status = ReadBitfield(kStatus[group]);
    for (std::size_t bit = 0; bit < 32; ++bit) {
      const std::size_t irq = 32 * group + bit;
      if ((status & BitOf(irq)) != 0 && !masked_[irq]) {
        pending.push_back(irq);
      }
    }
  }
  return pending;
}

void IrqHandlerImpl::_RunHandlers(std::size_t irq) {
  // By index: a handler may register another one for its own line.
  for (std::size_t i = 0; i < handlers_[irq].size(); ++i) {
    const std::function<void()> handler = handlers_[irq][i];
    handler();
  }
}

void IrqHandlerImpl::ClearIrq(std::size_t irq) {
  if (irq >= kLines) {
    LOG_ERROR("Attempt to clear invalid IRQ");
    return;
  }
  const FieldId field = kClear[GroupOf(irq)];
  WriteBitfield(field, ReadBitfield(field) | BitOf(irq));
}

void IrqHandlerImpl::MaskIrq(std::size_t irq) {
  if (irq >= kLines) {
    return;
  }
  masked_[irq] = true;
  const FieldId field = kMask[GroupOf(irq)];
  WriteBitfield(field, ReadBitfield(field) | BitOf(irq));
}

void IrqHandlerImpl::UnmaskIrq(std::size_t irq) {
  if (irq >= kLines) {
    LOG_ERROR("Attempt to unmask invalid IRQ");
    return;
  }
  masked_[irq] = false;
  const FieldId field = kMask[GroupOf(irq)];
  WriteBitfield(field, ReadBitfield(field) & ~BitOf(irq));
}

void IrqHandlerImpl::RegisterHandler(std::size_t irq, std::function<void()> handler) {
  if (irq >= kLines) {
    LOG_ERROR("Attempt to register handler for invalid IRQ");
    return;
  }
  handlers_[irq].push_back(std::move(handler));
}
