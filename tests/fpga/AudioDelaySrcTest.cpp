#include "modules/AudioDelaySrc.h"

#include <gtest/gtest.h>

#include <functional>

#include "log/Log.h"
#include "modules/AudioDelay.h"
#include "modules/IrqHandler.h"
#include "sim/Board.h"
#include "sim/models/AudioDelaySrcModel.h"
#include "support/Accesses.h"

namespace {

using sim::Loaded;
using sim::LogRecord;
using sim::Stored;
using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr std::uint32_t kBase = 0x2200000;

class AudioDelaySrcTest : public testing::Test {
 protected:
  AudioDelaySrcTest() {
    SetLogLevel(kLogDebug);
    board.clock.TakeOver();
  }

  sim::Board& board = sim::Board::Get();
  sim::AudioDelaySrcModel& core = board.Core<sim::AudioDelaySrcModel>("in_aud_2_audio_delay_src");
  AudioDelaySrc converter{"audio_delay_src2", kBase, 2, 34};
};

TEST_F(AudioDelaySrcTest, SetupSetsTheTickInReset) {
  core.SetWord(0x00, 0x80000007);
  core.SetWord(0x10, 0xFFFFFFFF);
  EXPECT_EQ(AccessesOf([&] { converter.Setup(); }),
            (std::vector{Loaded(kBase, 0x80000007), Stored(kBase, 0xC0000007),
                         Loaded(kBase + 0x10, 0xFFFFFFFF), Stored(kBase + 0x10, 0xFFF0BB80),
                         Loaded(kBase, 0xC0000007), Stored(kBase, 0x80000007)}));
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{6, "Hold In Reset"}, {6, "Release From Reset"}}));
  EXPECT_FALSE(converter.IsHeldInReset());
}

// The delay moves with the adjustment, but not that of a pair which goes around the converter.
TEST_F(AudioDelaySrcTest, AnAdjustmentMovesTheDelayLittleByLittle) {
  AudioDelay delay{"audio_delay2", 0x1E00000, 2};
  delay._InitializeDramAndCsr(0, 0x1000000);
  for (const std::uint8_t channel : std::array<std::uint8_t, 2>{0, 2}) {
    delay.SetChannelDelay(channel, 2.0F);
  }
  delay.Setup();
  delay.SetPairViaNonSrc(1, true);
  converter.Setup();
  const auto lengths = [&] {
    return std::array{-delay.GetSampleDelta(0, 2.0F), -delay.GetSampleDelta(2, 2.0F)};
  };
  EXPECT_EQ(AccessesOf([&] { converter.ApplyAdjustment(1, 20 * 1065); }),
            (std::vector{Loaded(kBase + 4, 0x40000000), Loaded(kBase, 0), Stored(kBase, 0x20000000),
                         Loaded(kBase, 0x20000000), Stored(kBase, 0x20005334),
                         Loaded(kBase, 0x20005334), Stored(kBase, 0x30005334)}));
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{
                {7, "Audio Delay Src 2 Applying a grow_nshrink 1, of 21300 samples"}}));
  board.clock.Advance(microseconds(221'875));  // half of the samples
  EXPECT_EQ(lengths(), (std::array{10, 0}));
  EXPECT_EQ(AccessesOf([&] { converter.ApplyAdjustment(0, 1); }).size(), 1U);
  EXPECT_TRUE(board.log.All().empty());
  EXPECT_TRUE(converter.IsAdjusting());
  board.clock.Advance(microseconds(221'875));
  EXPECT_FALSE(converter.IsAdjusting());
  EXPECT_EQ(lengths(), (std::array{20, 0}));
  converter.ApplyAdjustment(0, 30 * 1019);
  board.clock.Advance(seconds(1));
  EXPECT_EQ(lengths(), (std::array{-10, 0}));
  // A reset ends an adjustment where it is; a restart gives the delay that was set.
  converter.ApplyAdjustment(1, 90 * 1065);
  board.clock.Advance(microseconds(998'438));
  converter.ResetAndRelease();
  board.clock.Advance(seconds(9));
  EXPECT_EQ(lengths(), (std::array{35, 0}));
  delay.RestartChannel(0);
  EXPECT_EQ(lengths(), (std::array{0, 0}));
}

TEST_F(AudioDelaySrcTest, TicksOnceASecondThroughTheAggregator) {
  IrqHandlerImpl irqs{"irq", 0};
  std::vector<bool> handled;
  irqs.RegisterHandler(34, [&] { handled.push_back(converter.HandleIrq()); });
  irqs.UnmaskIrq(34);
  converter.Setup();
  converter.UnmaskIrq();
  for (int half = 0; half < 5; ++half) {
    irqs.PollIrq();
    board.clock.Advance(milliseconds(500));
  }
  EXPECT_EQ(handled, (std::vector{true, true}));

  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(converter.HandleIrq()); }),
            (std::vector{Loaded(kBase + 0x18, 0)}));
  board.clock.Advance(seconds(1));
  EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(converter.HandleIrq()); }),
            (std::vector{Loaded(kBase + 0x18, 1), Loaded(kBase + 0x1C, 0), Stored(kBase + 0x1C, 1),
                         Loaded(kBase + 0x1C, 1), Stored(kBase + 0x1C, 0)}));
  converter.MaskIrq();
  irqs.PollIrq();  // what the aggregator has latched
  board.clock.Advance(seconds(1));
  irqs.PollIrq();
  EXPECT_EQ(handled, (std::vector{true, true, false}));
}

}  // namespace
