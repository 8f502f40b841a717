#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include "log/Log.h"
#include "modules/IrqHandler.h"
#include "modules/RefDetect.h"
#include "modules/SdiRx.h"
#include "sim/Board.h"

namespace {

using sim::SignalOf;
using sim::VideoSignal;

class PluggedSignalTest : public testing::Test {
 protected:
  void SetUp() override { board.clock.TakeOver(); }

  std::uint32_t IdAfterPlugging(const VideoSignal& signal) {
    board.Plug(1, signal);
    rx.UpdateVideoFormat();
    return rx.GetVideoFormat().standardId;
  }

  sim::Board& board = sim::Board::Get();
  sim::SdiRxModel& core = board.sdiRx[1];
  IrqHandlerImpl irqs{"irq_handler", 0};
  SdiRxImpl rx{"sdi_rx1", 0x400000, 1, 4};
};

// The id that the receiver gives for each row of the table, plugged with the row's own payload
// identifier. Where it isn't the row itself, the wire doesn't tell them apart.
int SeenAs(int id) {
  struct Range {
    int first, last, seen, step;  // `step` ids of the range share one seen id
  };
  static constexpr std::array kRanges{
      Range{1, 4, 0, 4},      // rasters that no receiver knows
      Range{45, 50, 51, 1},   // level B by its other row
      Range{74, 85, 51, 4},   // level B links have a payload byte of level A: no links
      Range{86, 105, 34, 4},  // square division: each link is a picture of its own
      Range{106, 117, 18, 4}, Range{118, 125, 24, 4}, Range{126, 137, 39, 4},
      Range{153, 164, 54, 4}, Range{165, 176, 42, 4},
  };
  for (const Range& range : kRanges) {
    if (id >= range.first && id <= range.last) {
      return range.seen + (id - range.first) / range.step;
    }
  }
  return id;
}

TEST_F(PluggedSignalTest, EveryStandardIsSeen) {
  SetLogLevel(kLogError);
  rx.Init();
  for (const VideoStandardRow& row : kVideoStandards) {
    ASSERT_EQ(IdAfterPlugging(SignalOf(row.id)), static_cast<std::uint32_t>(SeenAs(row.id)))
        << row.standard.GetLinkName();
  }
  EXPECT_EQ(core.StrayAccesses(), 0U);
}

TEST_F(PluggedSignalTest, PacketDecidesWhatTheTransportLeavesOpen) {
  rx.Init();
  EXPECT_EQ(IdAfterPlugging({.standardId = 36}), 15U);
  EXPECT_EQ(IdAfterPlugging({.standardId = 64}), 39U);
  EXPECT_EQ(IdAfterPlugging({.standardId = 83, .st352 = 0x2180CB98}), 83U);
  EXPECT_EQ(core.Get("st352Packet"), 0x2180CB98U);
  EXPECT_EQ(IdAfterPlugging({.standardId = 33}), 0U);
  EXPECT_THROW(board.Plug(4, SignalOf(5)), std::out_of_range);
}

TEST_F(PluggedSignalTest, ChangeReachesItsHandlerOnce) {
  int handled = 0;
  std::vector<std::uint32_t> heard;
  irqs.RegisterHandler(rx.GetIrqNumber(), [&] {
    ++handled;
    rx.HandleIrq();
  });
  rx.RegisterVideoFormatCallback(
      [&](std::uint32_t, const VideoFormat& format) { heard.push_back(format.standardId); });
  irqs.UnmaskIrq(4);
  rx.Init();
  board.Plug(1, SignalOf(16));
  irqs.PollIrq();
  EXPECT_EQ(handled, 0);  // the core's sources are masked
  rx.EnableIrq();
  const auto poll = [&] {
    irqs.PollIrq();
    irqs.PollIrq();  // what was served is quiet
  };
  poll();
  board.Plug(1, SignalOf(140));
  poll();
  board.Plug(1, SignalOf(140));  // no news: the interrupt comes, no listener hears of it
  poll();
  board.Plug(1, {});
  poll();
  EXPECT_EQ(handled, 4);
  EXPECT_EQ(heard, (std::vector<std::uint32_t>{16, 140, 0}));
  EXPECT_EQ(core.Get("irqStatus"), 0U);
  EXPECT_EQ(board.irqAggregator.Get("irqOutputStatus"), 0U);

  rx.DisableIrq();
  board.Plug(1, SignalOf(16));
  irqs.PollIrq();
  EXPECT_EQ(handled, 4);
  EXPECT_NE(core.Get("irqStatus"), 0U);  // pending all the same
}

TEST_F(PluggedSignalTest, CoreLocksOnlyWhereItMay) {
  board.Plug(1, SignalOf(138));
  EXPECT_FALSE(rx.IsRxLocked());  // in reset since power-up
  rx.Init();
  EXPECT_TRUE(rx.IsRxLocked() && rx.IsTransportLocked());
  rx.SetForcedMode(2);
  EXPECT_FALSE(rx.IsRxLocked());
  rx.SetForcedMode(5);
  EXPECT_TRUE(rx.IsRxLocked());
  rx.SetModeEnable(0x0F);
  EXPECT_FALSE(rx.IsRxLocked());
  rx.Init();
  EXPECT_TRUE(rx.IsRxLocked());
  rx.HoldInReset();
  EXPECT_EQ(rx.GetStatusText(), "No TRS lock");
  rx.Init();
  board.Plug(1, SignalOf(2));
  EXPECT_EQ(rx.GetStatusText(), "TRS Lock, No Transport Detect Lock");
}

TEST_F(PluggedSignalTest, UnlockCapturesHoldUntilTheyAreArmed) {
  board.Plug(1, SignalOf(39));
  rx.Init();
  EXPECT_FALSE(rx.IsRxUnlockCaptured() || rx.IsFrameUnlockCaptured());
  board.Plug(1, SignalOf(39));
  EXPECT_TRUE(rx.IsRxUnlockCaptured() && rx.IsFrameUnlockCaptured());
  rx.ArmUnlockCapture();
  EXPECT_FALSE(rx.IsRxUnlockCaptured() || rx.IsFrameUnlockCaptured());
}

TEST_F(PluggedSignalTest, CrcErrorsAreCountedByTheClock) {
  using std::chrono::seconds;
  VideoSignal damaged = SignalOf(39);
  damaged.crcErrorsPerSecond = 100;
  board.Plug(1, damaged);
  board.clock.Advance(seconds(5));
  rx.Init();
  EXPECT_EQ(rx.GetCrcErrorCount(false), 0U);
  board.clock.Advance(std::chrono::milliseconds(2500));
  EXPECT_EQ(rx.GetCrcErrorCount(true), 250U);
  EXPECT_EQ(rx.GetCrcErrorCount(false), 0U);
  board.clock.Advance(seconds(1));
  board.Plug(1, SignalOf(39));
  board.clock.Advance(seconds(1));
  EXPECT_EQ(rx.GetCrcErrorCount(false), 100U);
  rx.WriteBitfield("clrErrCnt", 1);
  board.Plug(1, damaged);
  board.clock.Advance(seconds(1));
  rx.WriteBitfield("clrErrCnt", 0);
  EXPECT_EQ(rx.GetCrcErrorCount(false), 0U);
  damaged.crcErrorsPerSecond = 0xFFFFFFFF;
  board.Plug(1, damaged);
  board.clock.Advance(seconds(2));
  EXPECT_EQ(rx.GetCrcErrorCount(false), 0xFFFFFFFFU);
}

TEST_F(PluggedSignalTest, ReconfigurationWordsStickAtOnce) {
  rx.ReleaseWithReconfigRestore();
  EXPECT_EQ(board.clock.SleptMicroseconds(), 1000U);
  EXPECT_EQ(core.ReconfigWord(352), 9U);
  EXPECT_EQ(core.ReconfigWord(358), 132U);
  rx.ConfigureTransceiver(false, 3, 0x123, 4);
  EXPECT_EQ(core.ReconfigWord(352), 9U);  // bits 3..1 are replaced by the same
  EXPECT_EQ(core.ReconfigWord(284), 1U);
}

TEST(ParseSignalTest, WhatAPersonWrites) {
  EXPECT_EQ(sim::ParseSignal("none"), VideoSignal{});
  EXPECT_EQ(sim::ParseSignal("40"), SignalOf(40));
  EXPECT_EQ(sim::ParseSignal("1920X1080P 59.94 a"), SignalOf(40));
  EXPECT_EQ(sim::ParseSignal("1920x1080p 50 B").standardId, 45);
  EXPECT_EQ(sim::ParseSignal("3840x2160p 60 QL A 2SI").standardId, 70);
  EXPECT_EQ(sim::ParseSignal("4096x2160p 50 QL B 2SI link 4").standardId, 156);
  EXPECT_EQ(sim::ParseSignal("41, st352 none , crc 0x10"),
            (VideoSignal{.standardId = 41, .crcErrorsPerSecond = 16}));
  EXPECT_EQ(sim::ParseSignal("41,st352 0xFFFFFFFF"),
            (VideoSignal{.standardId = 41, .st352 = 0xFFFFFFFF}));
  for (const char* text : {"", "33", "0", "-1", "1080p", "41,", "41, st352",
                           "41, st352 0x100000000", "41, crc -1", "41, crc 1x", "41, noise 3"}) {
    EXPECT_THROW(sim::ParseSignal(text), std::invalid_argument) << text;
  }
}

class SignalFileTest : public PluggedSignalTest {
 protected:
  void SetUp() override {
    PluggedSignalTest::SetUp();
    std::string pattern = std::filesystem::temp_directory_path() / "signals-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder = pattern;
    board.UseFolder(folder);
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  std::string File() const { return folder + "/signals.conf"; }
  void Write(const std::string& text) const { std::ofstream(File()) << text; }
  std::string StatusText() {
    board.clock.Advance(std::chrono::milliseconds(100));
    return rx.GetStatusText();
  }

  std::string folder;
};

constexpr auto k1080i50 = "Locked 1.5G 1920x1080 2 Streams 25 FPS Frac:0 Prog:0";
constexpr auto k720p60 = "Locked 1.5G 1280x720 2 Streams 60 FPS Frac:0 Prog:1";

TEST_F(SignalFileTest, NewBoardHasSignalsAndFollowsTheFile) {
  rx.Init();
  EXPECT_EQ(rx.GetStatusText(), k1080i50);
  Write("sdi1 = 1280x720p 60  # by hand\nsdi0 = none\n");
  board.clock.Advance(std::chrono::milliseconds(99));
  EXPECT_EQ(rx.GetStatusText(), k1080i50);
  EXPECT_EQ(StatusText(), k720p60);
  EXPECT_EQ(board.sdiRx[0].Plugged(), VideoSignal{});
  EXPECT_EQ(board.sdiRx[2].Plugged(), SignalOf(138));  // no line, no change

  // Another line's change doesn't disturb this one, and neither do lines that say nothing.
  rx.ArmUnlockCapture();
  board.log.Clear();
  Write("sdi1 = 14\nsdi0 = 5\nsdi1 = tartan\nsdi4 = 5\nsdi2\n");
  EXPECT_EQ(StatusText(), k720p60);
  EXPECT_FALSE(rx.IsRxUnlockCaptured());
  EXPECT_EQ(board.sdiRx[0].Plugged(), SignalOf(5));
  EXPECT_EQ(board.log.All(),
            (std::vector<sim::LogRecord>{{4, File() + ":3: 'sdi1 = tartan': no such standard"},
                                         {4, File() + ":4: 'sdi4 = 5': no such input"},
                                         {4, File() + ":5: 'sdi2': no '='"}}));
  std::filesystem::remove(File());
  EXPECT_EQ(StatusText(), k720p60);
}

TEST_F(SignalFileTest, ReferencesFollowTheFile) {
  RefDetect detect("ref_detect", 0x3800000);
  detect.Reset();
  const auto formats = [&] {
    board.clock.Advance(std::chrono::milliseconds(100));
    (void)rx.GetStatusText();  // any load looks at the file
    return std::pair(detect.GetReferenceFormat(false), detect.GetReferenceFormat(true));
  };
  EXPECT_EQ(formats(), std::pair(15, 0));
  Write("ref1 = none\nref2 = 525i 59.94\nref2 = 525i 59.94, crc 1\n");
  EXPECT_EQ(formats(), std::pair(0, 5));
  EXPECT_EQ(board.log.Messages(4).back(),
            File() + ":3: 'ref2 = 525i 59.94, crc 1': no such standard");
}

// The names in the file that a new board gets are the ones that it understands.
TEST_F(SignalFileTest, ListOfStandardsCanBeTypedBack) {
  std::ifstream file(File());
  std::set<int> ids;
  for (std::string line; std::getline(file, line);) {
    if (line.size() < 55 || line.compare(0, 2, "# ") != 0 || line.compare(45, 2, "0x") != 0) {
      continue;
    }
    const int id = std::stoi(line.substr(2, 3));
    const std::string name = line.substr(6, line.find_last_not_of(' ', 44) - 5);
    ids.insert(id);
    EXPECT_EQ(sim::ParseSignal(name).Standard().GetLinkName(), GetVideoStandard(id).GetLinkName());
  }
  EXPECT_EQ(ids.size(), 171U);
}

}  // namespace
