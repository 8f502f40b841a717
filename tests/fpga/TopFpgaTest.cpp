#include "modules/TopFpga.h"

#include <gtest/gtest.h>

#include "sim/Board.h"

namespace {

// The slots of the window in the order in which a trace came to them.
std::vector<std::uint32_t> SlotsInOrder(const std::vector<sim::RegisterAccess>& trace) {
  std::vector<std::uint32_t> slots;
  for (const sim::RegisterAccess& access : trace) {
    const std::uint32_t slot = access.address / sim::RegisterFile::kSlotBytes;
    if (slots.empty() || slots.back() != slot) {
      slots.push_back(slot);
    }
  }
  return slots;
}

std::vector<std::string> Modules() {
  std::vector<std::string> lines;
  BitfieldManager::ListModules(lines, "");
  return lines;
}

std::string Line(const std::string& name, const char* address) {
  return name + std::string(40 - name.size(), '.') + "<" + address + ">";
}

TEST(TopFpga, BringsTheVideoSideUpInOrder) {
  sim::Board& board = sim::Board::Get();
  board.clock.TakeOver();
  board.registers.StartTrace();
  {
    TopFpgaImpl fpga(4);
    EXPECT_EQ(SlotsInOrder(board.registers.TakeTrace()),
              (std::vector<std::uint32_t>{3, 4, 5, 6, 48, 49, 50, 51, 7, 8, 9, 10, 56}));
    EXPECT_EQ(fpga.GetFramesyncs().size(), 4U);
    EXPECT_EQ(fpga.GetSdiRxs().size(), 4U);
    EXPECT_EQ(fpga.GetSdiTxs().size(), 4U);
    EXPECT_EQ(fpga.GetSdiRxs()[2]->GetIrqNumber(), 5U);
    EXPECT_EQ(fpga.GetSdiRxCrosspoint().GetNumDest(), 4U);
    EXPECT_EQ(Modules(), (std::vector<std::string>{
                             Line("framesync0", "03000000"), Line("framesync1", "03100000"),
                             Line("framesync2", "03200000"), Line("framesync3", "03300000"),
                             Line("irq_handler", "00000000"), Line("ref_detect", "03800000"),
                             Line("sdi_rx0", "00300000"), Line("sdi_rx1", "00400000"),
                             Line("sdi_rx2", "00500000"), Line("sdi_rx3", "00600000"),
                             Line("sdi_rx_crosspoint", "00100000"), Line("sdi_tx0", "00700000"),
                             Line("sdi_tx1", "00800000"), Line("sdi_tx2", "00900000"),
                             Line("sdi_tx3", "00A00000"), Line("sdi_tx_crosspoint", "00200000")}));
    board.registers.StartTrace();
  }
  EXPECT_TRUE(board.registers.TakeTrace().empty());  // the end touches no core
}

struct ActivePaths {
  std::uint8_t channels;
  std::size_t active;
};
void PrintTo(const ActivePaths& paths, std::ostream* out) {
  *out << "channels " << unsigned{paths.channels};
}
class TopFpgaPaths : public testing::TestWithParam<ActivePaths> {};

TEST_P(TopFpgaPaths, InactivePathsStayInReset) {
  sim::Board& board = sim::Board::Get();
  board.clock.TakeOver();
  TopFpgaImpl fpga(GetParam().channels);
  EXPECT_EQ(fpga.GetFramesyncs().size(), GetParam().active);
  EXPECT_EQ(fpga.GetSdiRxs().size(), GetParam().active);
  EXPECT_EQ(fpga.GetSdiTxs().size(), GetParam().active);
  for (std::size_t i = 0; i < 4; ++i) {
    const std::uint32_t held = i < GetParam().active ? 0 : 1;
    EXPECT_EQ(board.framesync[i].Get("reset"), held) << i;
    EXPECT_EQ(board.sdiTx[i].Get("reset"), held) << i;
  }
  for (std::size_t i = 0; i < fpga.GetFramesyncs().size(); ++i) {
    fpga.GetFramesyncs()[i]->SetupFormat(18);  // lays its memory out, in units of 64 bytes
    EXPECT_EQ(board.framesync[i].Get("baseAddr"), 0x800000U * i) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Channels, TopFpgaPaths,
                         testing::Values(ActivePaths{0, 0}, ActivePaths{2, 2}, ActivePaths{4, 4},
                                         ActivePaths{255, 4}),
                         [](const auto& paths) { return std::to_string(paths.param.channels); });

}  // namespace
