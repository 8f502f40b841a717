#include "top/TopFpga.h"

#include "map/ModuleMap.h"
#include "support/DestroyFrontToBack.h"

namespace {

using module_map::kPaths;
using module_map::Module;
using module_map::ModuleId;
using module_map::ModuleOf;

constexpr Module kIrqHandler = ModuleOf(ModuleId::kIrqHandler);
constexpr Module kSdiRxCrosspoint = ModuleOf(ModuleId::kSdiRxCrosspoint);
constexpr Module kSdiTxCrosspoint = ModuleOf(ModuleId::kSdiTxCrosspoint);
constexpr Module kAudioPath = ModuleOf(ModuleId::kAudioPath);
constexpr Module kRefDetect = ModuleOf(ModuleId::kRefDetect);

// Each frame synchroniser has its own half GiB of the frame memory.
constexpr std::uint32_t kFrameMemoryBytes = 0x20000000;
constexpr unsigned kFrameMemoryShift = 29;
static_assert(1U << kFrameMemoryShift == kFrameMemoryBytes);

// Each delay line's ring, in a memory of its own.
constexpr std::uint32_t kDelayMemoryBase = 0;
constexpr std::uint32_t kDelayMemoryBytes = 0x1000000;

}  // namespace

TopFpgaImpl::TopFpgaImpl(std::uint8_t channels)
    : irqHandler_(kIrqHandler.Name(), kIrqHandler.Base()),
      sdiRxCrosspoint_(kSdiRxCrosspoint.Name(), kSdiRxCrosspoint.Base(), kPaths, kPaths, 0, 1),
      sdiTxCrosspoint_(kSdiTxCrosspoint.Name(), kSdiTxCrosspoint.Base(), kPaths, kPaths, 0, 2),
      audioPath_(kAudioPath.Name(), kAudioPath.Base(), kAudioPath.index, module_map::kSlotBytes,
                 kAudioPath.slot),
      refDetect_(kRefDetect.Name(), kRefDetect.Base()) {
  _BuildPaths();
  for (std::size_t i = 0; i < channels && i < kPaths; ++i) {
    framesyncs_.push_back(allFramesyncs_[i].get());
    sdiRxs_.push_back(allSdiRxs_[i].get());
    sdiTxs_.push_back(allSdiTxs_[i].get());
  }
  audioPath_.Initialize();
  _BringUpReceivers(channels);
  _BringUpFramesyncs(channels);
  _GiveDelayMemory();
  _BringUpTransmitters(channels);
  _StopTestPatterns();
  refDetect_.Reset();
}

TopFpgaImpl::~TopFpgaImpl() {
  DestroyFrontToBack(allFramesyncs_);
  DestroyFrontToBack(allSdiRxs_);
  DestroyFrontToBack(allSdiTxs_);
}

void TopFpgaImpl::_BuildPaths() {
  for (std::uint32_t i = 0; i < kPaths; ++i) {
    const Module core = ModuleOf(ModuleId::kFramesync, i);
    allFramesyncs_.push_back(
        std::make_unique<FramesyncImpl>(core.Name(), core.Base(), static_cast<int>(core.index)));
  }
  for (std::uint32_t i = 0; i < kPaths; ++i) {
    const Module core = ModuleOf(ModuleId::kSdiRx, i);
    allSdiRxs_.push_back(
        std::make_unique<SdiRxImpl>(core.Name(), core.Base(), core.index, core.slot));
  }
  for (std::uint32_t i = 0; i < kPaths; ++i) {
    const Module core = ModuleOf(ModuleId::kSdiTx, i);
    allSdiTxs_.push_back(std::make_unique<SdiTxImpl>(core.Name(), core.Base(), core.index));
  }
}

void TopFpgaImpl::_BringUpReceivers(std::uint8_t channels) {
  for (std::size_t i = 0; i < kPaths; ++i) {
    allSdiRxs_[i]->Init();
    if (i < channels) {
      allSdiRxs_[i]->Reset();
    } else {
      allSdiRxs_[i]->HoldInReset();
    }
  }
}

void TopFpgaImpl::_BringUpFramesyncs(std::uint8_t channels) {
  for (std::uint32_t i = 0; i < kPaths; ++i) {
    allFramesyncs_[i]->SetMemoryRegion(i << kFrameMemoryShift, kFrameMemoryBytes);
    if (i < channels) {
      allFramesyncs_[i]->Reset();
    } else {
      allFramesyncs_[i]->HoldInReset();
    }
  }
}

void TopFpgaImpl::_GiveDelayMemory() {
  for (std::size_t i = 0; i < kPaths; ++i) {
    audioPath_.GetInputAudioPathFacadeAtIndex(i)->GetDelay()._InitializeDramAndCsr(
        kDelayMemoryBase, kDelayMemoryBytes);
  }
}

void TopFpgaImpl::_BringUpTransmitters(std::uint8_t channels) {
  for (std::size_t i = 0; i < kPaths; ++i) {
    (void)allSdiTxs_[i]->Init();  // gives 0 always
    if (i < channels) {
      allSdiTxs_[i]->Reset(true /* phy */, true /* fifo */, true /* picxo */);
    } else {
      allSdiTxs_[i]->HoldInReset(true /* phy */, true /* fifo */, true /* picxo */);
    }
  }
}

void TopFpgaImpl::_StopTestPatterns() {
  for (std::size_t i = 0; i < kPaths; ++i) {
    audioPath_.GetEmbedderAtIndex(i).SetAvAlignTpg(0 /* off */, 0 /* ms */);
  }
}
