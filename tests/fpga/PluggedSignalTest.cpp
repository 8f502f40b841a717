#include <stdexcept>
#include <tuple>

#include "controls/AudioPeakMeterControl.h"
#include "modules/SdiRx.h"
#include "sim/models/EqualiserChainModel.h"
#include "sim/models/IrqAggregatorModel.h"
#include "sim/models/SdiRxModel.h"
#include "support/CoreTest.h"

namespace {

using sim::SignalOf;
using sim::VideoSignal;

class PluggedSignalTest : public CoreTest<sim::SdiRxModel> {
 protected:
  PluggedSignalTest() : CoreTest("sdi_rx1", kLogError) {
    board.clock.TakeOver();
    rx.Init();
  }

  std::uint32_t IdAfterPlugging(const VideoSignal& signal) {
    board.Plug(1, signal);
    rx.UpdateVideoFormat();
    return rx.GetVideoFormat().standardId;
  }

  SdiRxImpl rx{name, base, 1, 4};
};

// The id that the receiver gives for each row of the table, plugged with the row's own payload
// ID. Where it isn't the row itself, the wire doesn't tell them apart.
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
  for (const VideoStandardRow& row : kVideoStandards) {
    const int seen = SeenAs(row.id);
    ASSERT_EQ(IdAfterPlugging(SignalOf(row.id)), static_cast<std::uint32_t>(seen))
        << row.standard.GetLinkName();
    if (seen != 0) {
      ASSERT_EQ(core.Get("videoType"), GetVideoStandard(seen).sdiRxVideoType) << row.id;
    }
  }
  EXPECT_EQ(IdAfterPlugging({.standardId = 64}), 39U);  // no packet tells the link
  EXPECT_EQ(IdAfterPlugging({.standardId = 83, .st352 = 0x2180CB98}), 83U);
  EXPECT_EQ(IdAfterPlugging({.standardId = 33}), 0U);
  EXPECT_THROW(board.Plug(4, SignalOf(5)), std::out_of_range);
}

TEST_F(PluggedSignalTest, ChangeRaisesItsLineUnlessMasked) {
  auto& irqs = board.Core<sim::IrqAggregatorModel>("irq_handler");
  board.Plug(1, SignalOf(16));
  EXPECT_EQ(core.Get("irqStatus"), 7U);  // pending all the same
  EXPECT_EQ(irqs.Get("irq_status_0_31"), 0U);
  rx.EnableIrq();
  EXPECT_EQ(irqs.Get("irq_status_0_31"), 1U << 4);
  rx.HandleIrq();
  EXPECT_EQ(core.Get("irqStatus"), 0U);
  board.Plug(1, SignalOf(16));  // the lock was lost in between
  EXPECT_EQ(core.Get("irqStatus"), 7U);
}

TEST_F(PluggedSignalTest, CoreLocksAndChangesItsRateOnlyWhereItMay) {
  const auto report = [&] {
    return std::tuple{rx.IsRxLocked() && rx.IsTransportLocked(), core.Get("rxChangeDone"),
                      core.Get("rxChangeFail"), core.Get("resetDone")};
  };
  const std::tuple locked{true, 1U, 0U, 1U};
  const std::tuple hunting{false, 0U, 0U, 1U};
  const std::tuple held{false, 0U, 0U, 0U};
  EXPECT_EQ(report(), hunting);
  board.Plug(1, SignalOf(138));
  EXPECT_EQ(report(), locked);
  rx.SetForcedMode(2);
  EXPECT_EQ(report(), std::tuple(false, 1U, 0U, 1U));
  rx.SetForcedMode(6);  // no mode
  EXPECT_EQ(report(), std::tuple(false, 0U, 1U, 1U));
  rx.SetForcedMode(5);
  EXPECT_EQ(report(), locked);
  rx.SetModeEnable(0x0F);
  EXPECT_EQ(report(), hunting);
  rx.SetModeEnable(0x10);
  EXPECT_EQ(report(), locked);
  for (const SdiRxImpl::FieldId reset :
       std::initializer_list<SdiRxImpl::FieldId>{"reset", "gtReset"}) {
    rx.WriteBitfield(reset, 1);
    EXPECT_EQ(report(), held);
    rx.WriteBitfield(reset, 0);
    EXPECT_EQ(report(), locked);
  }
}

TEST_F(PluggedSignalTest, UnlockCapturesHoldUntilTheyAreArmed) {
  board.Plug(1, SignalOf(39));
  EXPECT_FALSE(rx.IsRxUnlockCaptured() || rx.IsFrameUnlockCaptured());
  board.Plug(1, SignalOf(39));
  EXPECT_TRUE(rx.IsRxUnlockCaptured() && rx.IsFrameUnlockCaptured());
  rx.ArmUnlockCapture();
  EXPECT_FALSE(rx.IsRxUnlockCaptured() || rx.IsFrameUnlockCaptured());
}

TEST_F(PluggedSignalTest, CrcErrorsAreCountedByTheClock) {
  VideoSignal damaged = SignalOf(39);
  damaged.crcErrorsPerSecond = 100;
  const auto countAfter = [&](int milliseconds) {
    board.clock.Advance(std::chrono::milliseconds(milliseconds));
    return rx.GetCrcErrorCount(milliseconds == 2500);
  };
  rx.HoldInReset();
  board.Plug(1, damaged);
  EXPECT_EQ(countAfter(5000), 0U);
  rx.ReleaseFromReset();
  EXPECT_EQ(countAfter(2500), 250U);
  EXPECT_EQ(countAfter(1000), 100U);
  board.Plug(1, SignalOf(39));
  EXPECT_EQ(countAfter(1000), 100U);
  rx.WriteBitfield("clrErrCnt", 1);
  board.Plug(1, damaged);
  EXPECT_EQ(countAfter(1000), 0U);
  rx.WriteBitfield("clrErrCnt", 0);
  EXPECT_EQ(countAfter(0), 0U);
  damaged.crcErrorsPerSecond = 0xFFFFFFFF;
  board.Plug(1, damaged);
  EXPECT_EQ(countAfter(2000), 0xFFFFFFFFU);
}

TEST_F(PluggedSignalTest, ReconfigurationWordsStickAtOnce) {
  rx.ReleaseWithReconfigRestore();
  EXPECT_EQ(board.clock.SleptMicroseconds(), 1000U);
  EXPECT_EQ(core.ReconfigWord(352), 9U);
  EXPECT_EQ(core.ReconfigWord(358), 132U);
}

// One signal of each rate, and what an equaliser's status says of it.
TEST_F(PluggedSignalTest, EqualiserSeesTheRate) {
  constexpr auto kStatus = sim::EqualiserChainModel::kStatusReg;
  for (const auto& [id, status] :
       {std::pair{0, 1}, {5, 2}, {14, 4}, {41, 6}, {45, 6}, {57, 8}, {138, 10}, {33, 1}}) {
    board.Plug(3, SignalOf(id));
    EXPECT_EQ(board.equaliserChain.Register(3, kStatus), status) << id;
  }
  EXPECT_EQ(board.equaliserChain.Register(2, kStatus), 1);
}

TEST_F(PluggedSignalTest, AudioReachesTheMeters) {
  AudioPeakMeterControl meters("in_peak_meters", facts::ModuleOf("in_aud_1_peak_meters").base, 1,
                               44, 1);
  meters.ResetAndRelease();
  std::vector<std::uint32_t> peaks(16);
  const auto plug = [&](const VideoSignal& signal) {
    board.Plug(1, signal);
    meters.SwitchBank();  // ends a measurement in which the signal changed
    meters.SwitchBank();
    meters.ReadPeaks(peaks);
  };
  VideoSignal signal = SignalOf(41);
  signal.audio[0] = {.present = false};
  signal.audio[7] = {.burstType = 28, .line = 13};
  plug(signal);
  std::vector<std::uint32_t> expected{0, 0};
  expected.resize(14, 1056063);  // a tone of -18 dB of 8388607
  expected.resize(16, 8000000);  // a burst
  EXPECT_EQ(peaks, expected);
  signal.standardId = 0;  // audio needs a signal that carries it
  plug(signal);
  EXPECT_EQ(peaks, std::vector<std::uint32_t>(16, 0));
}

}  // namespace
