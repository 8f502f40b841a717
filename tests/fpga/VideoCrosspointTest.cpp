#include "modules/VideoCrosspoint.h"

#include <gtest/gtest.h>

#include <array>

#include "log/Log.h"
#include "sim/Board.h"
#include "sim/models/CrosspointModel.h"
#include "support/Accesses.h"

namespace {

using sim::LogRecord;
using sim::Stored;

class VideoCrosspointTest : public testing::Test {
 protected:
  // A slot without a core: plain memory, so that words of any layout can be looked at.
  static constexpr std::uint32_t kBase = 0x3A00000;

  sim::Board& board = sim::Board::Get();
};

class OneCrosspoint : public VideoCrosspointTest {
 protected:
  VideoCrosspointImpl xpt{"sdi_rx_crosspoint", 0x100000, 4, 4, 0, 1};
};

TEST_F(OneCrosspoint, DestinationComesAliveInTwoSteps) {
  EXPECT_EQ(StoresOf([&] { EXPECT_EQ(xpt.SetRoute(2, 1, true), 0); }),
            (std::vector{Stored(0x100004, 0x80000002)}));
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{
                {6, "sdi_rx_crosspoint Routing src 2 to dest 1 using xpt 0 output 1."}}));
  EXPECT_EQ(StoresOf([&] { EXPECT_EQ(xpt.SetOutputDisable(1, false, false), 0); }),
            (std::vector{Stored(0x100004, 2)}));
  EXPECT_EQ(board.Core<sim::CrosspointModel>("sdi_rx_crosspoint").SourceOf(1), 2);
  EXPECT_EQ(StoresOf([&] { xpt.SetOutputDisable(0, false, false); }),
            (std::vector{Stored(0x100000, 0)}));
}

TEST_F(OneCrosspoint, RouteIsWrittenAgainAndChangesAreLogged) {
  SetLogLevel(kLogDebug);
  EXPECT_EQ(StoresOf([&] { xpt.SetRoute(0, 0, true); }),
            (std::vector{Stored(0x100000, 0x80000000)}));
  EXPECT_EQ(board.log.Messages(7),
            (std::vector<std::string>{"sdi_rx_crosspoint dest 0 was already 0 src 0"}));
  StoresOf([&] { xpt.SetRoute(3, 0, false); });
  EXPECT_EQ(board.log.Messages(6),
            (std::vector<std::string>{
                "sdi_rx_crosspoint Routing src 3 to dest 0 using xpt 0 output 0.",
                "sdi_rx_crosspoint dest 0 changing from src 0 to src 3 on xpt 0 out 0"}));
  std::size_t src = 9;
  EXPECT_EQ(xpt.GetRoute(src, 0), 0);
  EXPECT_EQ(src, 3U);
}

TEST_F(OneCrosspoint, RefusesWhatDoesNotExist) {
  std::size_t src = 9;
  bool disabled = false;
  EXPECT_TRUE(StoresOf([&] {
                EXPECT_EQ(xpt.SetRoute(4, 0, true), -1);
                EXPECT_EQ(xpt.SetRoute(0, 4, true), -1);
                EXPECT_EQ(xpt.SetOutputDisable(4, false, true), -1);
                EXPECT_EQ(xpt.SetOutputDisableSingle(0, 1, 0, false, true), -1);
                EXPECT_EQ(xpt.GetRoute(src, 4), -1);
                EXPECT_EQ(xpt.GetOutputDisable(4, disabled), -1);
                EXPECT_EQ(xpt.SetStallRouting(4, 0), -1);
                EXPECT_EQ(xpt.SetStallRouting(0, 1), -1);
              }).empty());
  EXPECT_EQ(src, 9U);
  const std::string name = "sdi_rx_crosspoint ";
  EXPECT_EQ(board.log.Messages(3),
            (std::vector<std::string>{
                name + "Attempt to route from src 4, only 4 src avail",
                name + "Attempt to route to dest 4, only 4 dest avail",
                name + "Attempt to set output disable/enable for dest 4, only 4 dest avail",
                name + "Attempt to route using crosspoint 1 that does not exist",
                name + "Attempt to get source for dest 4, only 4 dest avail",
                name + "Attempt to get output disable/enable status for dest 4, only 4 dest avail",
                name + "Attempt to set stall route for a non-existant input 4.",
                name + "Attempt to drive stall for input 0 from non existent crosspoint 1"}));
}

TEST_F(OneCrosspoint, CommandWords) {
  EXPECT_EQ(StoresOf([&] {
              xpt.WriteControlWord();
              EXPECT_EQ(xpt.WriteOutputCommand(5, 8), 0);
            }),
            (std::vector{Stored(0x100000, 0x20000000), Stored(0x100008, 0x40000005)}));
  // Cut to 32 bits, each of these would be the address of a word.
  const std::size_t farPort = std::size_t{1} << 62;
  EXPECT_TRUE(StoresOf([&] {
                for (const std::uint64_t offset :
                     std::array<std::uint64_t, 3>{0xFFF00000, 0x100000000, ~std::uint64_t{7}}) {
                  EXPECT_EQ(xpt.WriteOutputCommand(5, offset), 0);
                }
                EXPECT_EQ(xpt.SetRouteSingle(1, 0, 0, farPort, true), 0);
              }).empty());
  EXPECT_EQ(board.log.Messages(3),
            (std::vector<std::string>(4, "Attempt to write illegal FPGA CSR address")));
}

TEST_F(VideoCrosspointTest, SeveralCrosspointsShareTheDestinations) {
  MeanStrayAccesses();  // plain memory: the board has no such matrix
  VideoCrosspointImpl xpt("matrix", kBase, 0x1000, 33, 6, 2, {2, 3}, 0, 0);
  board.registers.Poke(kBase, 0xFFFFFFFF);  // the other sources' bits must stay
  EXPECT_EQ(StoresOf([&] { EXPECT_EQ(xpt.SetRoute(15, 4, true), 0); }),
            (std::vector{Stored(kBase + 0x2008, 0x8000000F), Stored(kBase, 0x7FFFFFFF)}));
  board.registers.Poke(kBase + 4, 0xFFFFFFFF);
  EXPECT_EQ(StoresOf([&] { EXPECT_EQ(xpt.SetRoute(16, 1, true), 0); }),
            (std::vector{Stored(kBase + 0x1004, 0x80000010), Stored(kBase + 4, 0xFFFFFFFC)}));
  EXPECT_EQ(StoresOf([&] { EXPECT_EQ(xpt.SetOutputDisable(4, false, true), 0); }),
            (std::vector{Stored(kBase + 0x2008, 15)}));
  // Destination 5 lies behind the last port.
  std::size_t found = 9;
  std::size_t port = 9;
  EXPECT_TRUE(StoresOf([&] {
                EXPECT_EQ(xpt.SetRoute(0, 5, true), -1);
                EXPECT_EQ(xpt.SetOutputDisable(5, true, true), -1);
                EXPECT_EQ(xpt.SetRouteSingle(0, 0, 1, 3, true), -1);
                EXPECT_EQ(xpt.FindXpt(5, found, port), -1);
              }).empty());
  EXPECT_EQ(board.log.Messages(3),
            (std::vector<std::string>{
                "matrix Error determining crosspoint and output port for dest 5",
                "matrix Attempt to route to output 3 that does not exist on xpt 1"}));
  EXPECT_EQ(board.log.Messages(4),
            (std::vector<std::string>{
                "matrix Unable to determine crosspoint and output port for dest 5"}));
  EXPECT_EQ(found * port, 81U);
  // A source that the stall network doesn't know keeps its route.
  EXPECT_EQ(StoresOf([&] { EXPECT_EQ(xpt.SetRoute(32, 0, true), -1); }),
            (std::vector{Stored(kBase + 0x1000, 0x80000020)}));
  EXPECT_EQ(xpt.GetRoute(found, 0), 0);
  EXPECT_EQ(found, 32U);
}

}  // namespace
