#include "modules/TopFpga.h"

#include "modules/AddressMap.h"

namespace {

using address_map::BaseOf;
using address_map::kPaths;

// Each frame synchroniser has its own half GiB of the frame memory.
constexpr std::uint32_t kFrameMemoryBytes = 0x20000000;
constexpr unsigned kFrameMemoryShift = 29;
static_assert(1U << kFrameMemoryShift == kFrameMemoryBytes);

// Each delay line's ring, in a memory of its own.
constexpr std::uint32_t kDelayMemoryBase = 0;
constexpr std::uint32_t kDelayMemoryBytes = 0x1000000;

template <typename Core>
void DestroyFrontToBack(std::vector<std::unique_ptr<Core>>& cores) {
  while (!cores.empty()) {
    cores.erase(cores.begin());
  }
}

}  // namespace

TopFpgaImpl::TopFpgaImpl(std::uint8_t channels)
    : irqHandler_("irq_handler", BaseOf(address_map::kIrqHandler)),
      sdiRxCrosspoint_("sdi_rx_crosspoint", BaseOf(address_map::kSdiRxCrosspoint), kPaths, kPaths,
                       0, 1),
      sdiTxCrosspoint_("sdi_tx_crosspoint", BaseOf(address_map::kSdiTxCrosspoint), kPaths, kPaths,
                       0, 2),
      audioPath_("out_aud", BaseOf(address_map::kAudioPath), 0, address_map::kSlotBytes,
                 address_map::kAudioPath),
      refDetect_("ref_detect", BaseOf(address_map::kRefDetect)) {
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
    allFramesyncs_.push_back(std::make_unique<FramesyncImpl>(
        "framesync" + std::to_string(i), BaseOf(address_map::kFramesync + i), static_cast<int>(i)));
  }
  for (std::uint32_t i = 0; i < kPaths; ++i) {
    const std::uint32_t module = address_map::kSdiRx + i;
    allSdiRxs_.push_back(
        std::make_unique<SdiRxImpl>("sdi_rx" + std::to_string(i), BaseOf(module), i, module));
  }
  for (std::uint32_t i = 0; i < kPaths; ++i) {
    allSdiTxs_.push_back(std::make_unique<SdiTxImpl>("sdi_tx" + std::to_string(i),
                                                     BaseOf(address_map::kSdiTx + i), i));
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
    (void)allSdiTxs_[i]->Init();  // it logs what it finds wrong
    if (i < channels) {
      allSdiTxs_[i]->Reset(true /* phy */, true /* fifo */, true /* picxo */);
    } else {
      allSdiTxs_[i]->HoldInReset(true /* phy */, true /* fifo */, true /* picxo */);
    }
  }
}

void TopFpgaImpl::_StopTestPatterns() {
  for (std::size_t i = 0; i < allFramesyncs_.size(); ++i) {
    audioPath_.GetEmbedderAtIndex(i).SetAvAlignTpg(0 /* off */, 0 /* ms */);
  }
}
