#include <gtest/gtest.h>

#include "sim/Board.h"
#include "sim/models/EqualiserChainModel.h"
#include "sim/models/FramesyncModel.h"
#include "sim/models/IrqAggregatorModel.h"
#include "sim/models/SdiRxModel.h"
#include "sim/models/SdiTxModel.h"
#include "top/TopFpga.h"

namespace {

// The road of a signal through the library: it raises its receiver's interrupt, the poll runs the
// handler, the format is decided, and a listener sets the frame synchroniser and the transmitter
// up.
TEST(VideoPath, PluggedSignalSetsItsPathUp) {
  sim::Board& board = sim::Board::Get();
  board.clock.TakeOver();
  TopFpgaImpl fpga(4);
  std::vector<std::uint32_t> seen;
  SdiRx& receiver = *fpga.GetSdiRxs()[1];
  receiver.RegisterVideoFormatCallback([&](std::uint32_t index, const VideoFormat& format) {
    EXPECT_EQ(index, 1U);
    seen.push_back(format.standardId);
    fpga.GetFramesyncs()[index]->SetupFormat(format.standardId);
    fpga.GetSdiTxs()[index]->SetOutVideoFormat(format.standardId);
  });
  fpga.GetIrqHandler().RegisterHandler(receiver.GetIrqNumber(), [&] { receiver.HandleIrq(); });
  fpga.GetIrqHandler().UnmaskIrq(receiver.GetIrqNumber());
  receiver.EnableIrq();
  const auto poll = [&] {
    for (int i = 0; i < 3; ++i) {
      fpga.GetIrqHandler().PollIrq();
    }
  };

  board.Plug(1, sim::SignalOf(41));  // 1920x1080p 60
  poll();
  EXPECT_EQ(seen, (std::vector<std::uint32_t>{41}));
  EXPECT_EQ(board.Core<sim::FramesyncModel>("framesync1").Get("videoType"),
            GetVideoStandard(41).framesyncVideoType);
  EXPECT_EQ(board.Core<sim::SdiRxModel>("sdi_rx1").Get("videoType"),
            GetVideoStandard(41).sdiRxVideoType);
  EXPECT_EQ(board.Core<sim::SdiTxModel>("sdi_tx1").Get("std"), 2U);  // 3G
  EXPECT_EQ(board.Core<sim::FramesyncModel>("framesync0").Get("videoType"), 0U);
  EXPECT_EQ(board.Core<sim::IrqAggregatorModel>("irq_handler").Get("irqOutputStatus"), 0U);

  board.registers.StartTrace();
  poll();
  EXPECT_EQ(board.registers.TakeTrace().size(), 3U);  // quiet: one load for each poll

  board.Plug(1, sim::SignalOf(6));  // 625i 50
  poll();
  board.Plug(1, {});
  poll();
  EXPECT_EQ(seen, (std::vector<std::uint32_t>{41, 6, 0}));
  EXPECT_EQ(board.Core<sim::FramesyncModel>("framesync1").Get("videoType"),
            GetVideoStandard(6).framesyncVideoType);
}

TEST(VideoPath, EqualisersSeeWhatIsPlugged) {
  sim::Board& board = sim::Board::Get();
  board.Plug(2, sim::SignalOf(41));
  EXPECT_EQ(board.Core<sim::SdiRxModel>("sdi_rx2").Plugged(), sim::SignalOf(41));
  EXPECT_NE(board.equaliserChain.Register(2, sim::EqualiserChainModel::kStatusReg),
            board.equaliserChain.Register(1, sim::EqualiserChainModel::kStatusReg));
}

}  // namespace
