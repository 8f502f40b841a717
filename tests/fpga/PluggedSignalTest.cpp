#include <gtest/gtest.h>

#include <stdexcept>

#include "controls/AudioPeakMeterControl.h"
#include "log/Log.h"
#include "modules/IrqHandler.h"
#include "modules/SdiRx.h"
#include "sim/Board.h"
#include "sim/models/AudioDeembedderModel.h"
#include "sim/models/EqualiserChainModel.h"
#include "sim/models/IrqAggregatorModel.h"
#include "sim/models/SdiRxModel.h"

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
  sim::SdiRxModel& core = board.Core<sim::SdiRxModel>("sdi_rx1");
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
  EXPECT_EQ(board.Core<sim::IrqAggregatorModel>("irq_handler").Get("irqOutputStatus"), 0U);

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

// One signal of each rate, and what an equaliser's status says of it.
TEST_F(PluggedSignalTest, EqualiserSeesTheRate) {
  const struct {
    int id;
    unsigned status;
  } cases[] = {{0, 1}, {5, 2}, {14, 4}, {41, 6}, {45, 6}, {57, 8}, {138, 10}, {33, 1}};
  for (const auto& c : cases) {
    board.Plug(3, SignalOf(c.id));
    EXPECT_EQ(board.equaliserChain.Register(3, sim::EqualiserChainModel::kStatusReg), c.status)
        << c.id;
  }
  EXPECT_EQ(board.equaliserChain.Register(2, sim::EqualiserChainModel::kStatusReg), 1);
}

TEST_F(PluggedSignalTest, AudioReachesDeembedderAndMeters) {
  AudioPeakMeterControl meters("in_peak_meters", 0x2C00000, 1, 44, 1);
  meters.ResetAndRelease();
  sim::AudioDeembedderModel& deembedder = board.Core<sim::AudioDeembedderModel>("in_aud_1_deemb");
  deembedder.Set("reset", 0);
  deembedder.Set("deembed_en", 1);
  std::vector<std::uint32_t> peaks(16);
  const auto measure = [&] {
    meters.SwitchBank();  // ends a measurement in which the signal changed
    meters.SwitchBank();
    meters.ReadPeaks(peaks);
  };

  VideoSignal signal = SignalOf(41);
  signal.audio[0] = {.present = false};
  signal.audio[7] = {.burstType = 28, .line = 13};
  board.Plug(1, signal);
  measure();
  EXPECT_EQ(deembedder.Get("audioStatus"), 0xFFFCU);
  EXPECT_EQ(deembedder.Get("nonpcm_channel_pair_7_line"), 13U);
  EXPECT_EQ(deembedder.Get("nonpcm_channel_pair_7_type"), 28U);
  EXPECT_EQ(deembedder.Get("nonpcm_channel_pair_6_line"), 0U);
  constexpr std::uint32_t kTone = 1056063;  // -18 dB of 8388607
  std::vector<std::uint32_t> expected{0, 0};
  expected.resize(14, kTone);
  expected.resize(16, 8000000);
  EXPECT_EQ(peaks, expected);
  EXPECT_EQ(board.Core<sim::AudioDeembedderModel>("in_aud_0_deemb").Get("audioStatus"), 0U);

  signal.standardId = 0;  // audio needs a signal that carries it
  board.Plug(1, signal);
  measure();
  EXPECT_EQ(deembedder.Get("audioStatus"), 0U);
  EXPECT_EQ(peaks, std::vector<std::uint32_t>(16, 0));
}

}  // namespace
