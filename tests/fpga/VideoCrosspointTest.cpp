#include "modules/VideoCrosspoint.h"

#include <array>
#include <functional>

#include "sim/models/CrosspointModel.h"
#include "support/CoreTest.h"

namespace {

using sim::Loaded;
using sim::Stored;
using Texts = std::vector<std::string>;

class OneCrosspoint : public CoreTest<sim::CrosspointModel> {
 protected:
  OneCrosspoint() : CoreTest("sdi_rx_crosspoint") {}

  VideoCrosspointImpl xpt{name, base, 4, 4, 0, 1};
};

TEST_F(OneCrosspoint, DestinationComesAliveInTwoSteps) {
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(xpt.SetRoute(2, 1, true), 0); }),
            Accesses{Stored(base + 4, 0x80000002)});
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<sim::LogRecord>{
                {6, "sdi_rx_crosspoint Routing src 2 to dest 1 using xpt 0 output 1."}}));
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(xpt.SetOutputDisable(1, false, false), 0); }),
            Accesses{Stored(base + 4, 2)});
  EXPECT_EQ(core.SourceOf(1), 2);
  EXPECT_EQ(core.SourceOf(0), -1);
  // An enabled destination stays so, and the word is written again also for the route that stands.
  for (const std::size_t source : {3U, 3U}) {
    EXPECT_EQ(AccessesOf([&] { xpt.SetRoute(source, 1, false); }), Accesses{Stored(base + 4, 3)});
  }
  EXPECT_EQ(board.log.Messages(7), Texts{"sdi_rx_crosspoint dest 1 was already 3 src 3"});
  EXPECT_EQ(board.log.Messages(6).size(), 1U);
  AccessesOf([&] { xpt.SetRoute(0, 1, false); });
  EXPECT_EQ(board.log.Messages(6),
            (Texts{"sdi_rx_crosspoint Routing src 0 to dest 1 using xpt 0 output 1.",
                   "sdi_rx_crosspoint dest 1 changing from src 3 to src 0 on xpt 0 out 1"}));
  std::size_t src = 9;
  bool disabled = true;
  EXPECT_EQ(xpt.GetRoute(src, 1), 0);
  EXPECT_EQ(src, 0U);
  EXPECT_EQ(xpt.GetOutputDisable(1, disabled), 0);
  EXPECT_FALSE(disabled);
  EXPECT_EQ(AccessesOf([&] { xpt.SetOutputDisable(1, true, true); }),
            Accesses{Stored(base + 4, 0x80000000)});
}

TEST_F(OneCrosspoint, RefusesWhatDoesNotExist) {
  std::size_t src = 9;
  bool disabled = false;
  const struct {
    std::function<int()> operation;
    const char* text;
  } cases[] = {
      {[&] { return xpt.SetRoute(4, 0, true); }, "route from src 4, only 4 src avail"},
      {[&] { return xpt.SetRoute(0, 4, true); }, "route to dest 4, only 4 dest avail"},
      {[&] { return xpt.SetRouteSingle(4, 0, 0, 0, true); }, "route from src 4, only 4 src avail"},
      {[&] { return xpt.SetRouteSingle(0, 4, 0, 0, true); }, "route to dest 4, only 4 dest avail"},
      {[&] { return xpt.SetRouteSingle(0, 0, 1, 0, true); },
       "route using crosspoint 1 that does not exist"},
      {[&] { return xpt.SetOutputDisable(4, false, true); },
       "set output disable/enable for dest 4, only 4 dest avail"},
      {[&] { return xpt.SetOutputDisableSingle(4, 0, 0, false, true); },
       "set output disable/enable for dest 4, only 4 dest avail"},
      {[&] { return xpt.SetOutputDisableSingle(0, 1, 0, false, true); },
       "route using crosspoint 1 that does not exist"},
      {[&] { return xpt.GetRoute(src, 4); }, "get source for dest 4, only 4 dest avail"},
      {[&] { return xpt.GetOutputDisable(4, disabled); },
       "get output disable/enable status for dest 4, only 4 dest avail"},
      {[&] { return xpt.SetStallRouting(4, 0); }, "set stall route for a non-existant input 4."},
      {[&] { return xpt.SetStallRouting(0, 1); },
       "drive stall for input 0 from non existent crosspoint 1"},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(c.operation(), -1) << c.text; }), Accesses{});
    EXPECT_EQ(board.log.Messages(3), Texts{"sdi_rx_crosspoint Attempt to " + std::string(c.text)});
  }
  EXPECT_EQ(src, 9U);
}

TEST_F(OneCrosspoint, CommandWords) {
  EXPECT_EQ(AccessesOf([&] {
              xpt.WriteControlWord();
              EXPECT_EQ(xpt.WriteOutputCommand(5, 8), 0);
            }),
            (Accesses{Stored(base, 0x20000000), Stored(base + 8, 0x40000005)}));
  EXPECT_EQ(core.SourceOf(0) & core.SourceOf(2), -1);
  // Cut to 32 bits, each of these would be the address of a word.
  EXPECT_EQ(AccessesOf([&] {
              for (const std::uint64_t offset :
                   std::array<std::uint64_t, 3>{0xFFF00000, 0x100000000, ~std::uint64_t{7}}) {
                EXPECT_EQ(xpt.WriteOutputCommand(5, offset), 0);
              }
              EXPECT_EQ(xpt.SetRouteSingle(1, 0, 0, std::size_t{1} << 62, true), 0);
            }),
            Accesses{});
  EXPECT_EQ(board.log.Messages(3), Texts(4, "Attempt to write illegal FPGA CSR address"));
}

TEST_F(OneCrosspoint, SwitchKnowsItsPortsAndSources) {
  MeanStrayAccesses();
  for (const auto& [offset, word] : {std::pair{0U, 4U}, {4U, 0x20000000U}, {16U, 0U}}) {
    board.registers.Store(base + offset, word);
  }
  (void)board.registers.Load(base + 16);
  EXPECT_EQ(board.registers.Complaints(),
            (Texts{"W 00100000 00000004: no such source", "W 00100004 20000000: no such source",
                   "W 00100010 00000000: no such port", "R 00100010 00000000: no such port"}));
}

TEST(SeveralCrosspoints, ShareTheDestinations) {
  MeanStrayAccesses();  // plain memory: the board has no such matrix
  constexpr std::uint32_t kBase = 0x3A00000;
  sim::Board& board = sim::Board::Get();
  VideoCrosspointImpl xpt("matrix", kBase, 0x1000, 33, 6, 2, {2, 3}, 0, 0);
  board.registers.Poke(kBase, 0xFFFFFFFF);  // the other sources' bits must stay
  board.registers.Poke(kBase + 4, 0xFFFFFFFF);
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(xpt.SetRoute(15, 4, true), 0); }),
            (Accesses{Stored(kBase + 0x2008, 0x8000000F), Loaded(kBase, 0xFFFFFFFF),
                      Stored(kBase, 0x7FFFFFFF)}));
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(xpt.SetRoute(16, 1, true), 0); }),
            (Accesses{Stored(kBase + 0x1004, 0x80000010), Loaded(kBase + 4, 0xFFFFFFFF),
                      Stored(kBase + 4, 0xFFFFFFFC)}));
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(xpt.SetOutputDisable(4, false, true), 0); }),
            Accesses{Stored(kBase + 0x2008, 15)});
  // No port is left for destination 5.
  std::size_t found = 9;
  std::size_t port = 9;
  EXPECT_EQ(AccessesOf([&] {
              EXPECT_EQ(xpt.SetRoute(0, 5, true), -1);
              EXPECT_EQ(xpt.SetOutputDisable(5, true, true), -1);
              EXPECT_EQ(xpt.SetRouteSingle(0, 0, 1, 3, true), -1);
              EXPECT_EQ(xpt.SetOutputDisableSingle(0, 0, 2, true, true), -1);
              EXPECT_EQ(xpt.FindXpt(5, found, port), -1);
            }),
            Accesses{});
  EXPECT_EQ(board.log.Messages(3),
            (Texts{"matrix Error determining crosspoint and output port for dest 5",
                   "matrix Attempt to route to output 3 that does not exist on xpt 1",
                   "matrix Attempt to route to output 2 that does not exist on xpt 0"}));
  EXPECT_EQ(board.log.Messages(4),
            Texts{"matrix Unable to determine crosspoint and output port for dest 5"});
  EXPECT_EQ(found * port, 81U);
  // A source that the stall network doesn't know keeps its route.
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(xpt.SetRoute(32, 0, true), -1); }),
            Accesses{Stored(kBase + 0x1000, 0x80000020)});
  EXPECT_EQ(xpt.GetRoute(found, 0), 0);
  EXPECT_EQ(found, 32U);
}

}  // namespace
