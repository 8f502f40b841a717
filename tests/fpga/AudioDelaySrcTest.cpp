#include "modules/AudioDelaySrc.h"

#include "modules/AudioDelay.h"
#include "sim/models/AudioDelaySrcModel.h"
#include "support/CoreTest.h"

namespace {

using std::chrono::microseconds;
using std::chrono::seconds;

class AudioDelaySrcTest : public CoreTest<sim::AudioDelaySrcModel> {
 protected:
  AudioDelaySrcTest() : CoreTest("in_aud_2_audio_delay_src") { board.clock.TakeOver(); }

  AudioDelaySrc converter{name, base, 2, 34};
};

TEST_F(AudioDelaySrcTest, SetupSetsTheTickInReset) {
  FillWithGarbage();
  EXPECT_EQ(AccessesOf([&] { converter.Setup(); }),
            (Accesses{W("logic_reset", 1), W("irq_sample_num", 48000), W("logic_reset", 0)}));
  EXPECT_EQ(board.log.Messages(6), (Texts{"Hold In Reset", "Release From Reset"}));
  EXPECT_FALSE(converter.IsHeldInReset());
}

// The delay moves with the adjustment, but not that of a pair which bypasses the converter.
TEST_F(AudioDelaySrcTest, AnAdjustmentMovesTheDelayLittleByLittle) {
  AudioDelay delay{"in_aud_2_audio_delay", facts::ModuleOf("in_aud_2_audio_delay").base, 2};
  delay._InitializeDramAndCsr(0, 0x1000000);
  delay.SetChannelDelay(0, 2.0F);
  delay.SetChannelDelay(2, 2.0F);
  delay.Setup();
  delay.SetPairViaNonSrc(1, true);
  converter.Setup();
  const auto lengths = [&] {
    return std::pair(-delay.GetSampleDelta(0, 2.0F), -delay.GetSampleDelta(2, 2.0F));
  };
  EXPECT_EQ(AccessesOf([&] { converter.ApplyAdjustment(1, 20 * 1065); }),
            (Accesses{R("apply_adjustment", 0), W("grow_else_shrink_delay", 1),
                      W("application_samples", 21300), W("new_adjustment", 1)}));
  EXPECT_EQ(board.log.Messages(7),
            Texts{"Audio Delay Src 2 Applying a grow_nshrink 1, of 21300 samples"});
  board.clock.Advance(microseconds(221'875));  // half of the samples
  EXPECT_EQ(lengths(), std::pair(10, 0));
  EXPECT_EQ(AccessesOf([&] { converter.ApplyAdjustment(0, 1); }),
            Accesses{R("apply_adjustment", 1)});
  EXPECT_TRUE(board.log.All().empty());
  board.clock.Advance(microseconds(221'875));
  EXPECT_FALSE(converter.IsAdjusting());
  EXPECT_EQ(lengths(), std::pair(20, 0));
  converter.ApplyAdjustment(0, 90 * 1019);
  board.clock.Advance(microseconds(955'313));
  converter.ResetAndRelease();  // ends it where it is
  board.clock.Advance(seconds(9));
  EXPECT_EQ(lengths(), std::pair(-25, 0));
}

TEST_F(AudioDelaySrcTest, TicksOnceASecond) {
  converter.Setup();
  board.clock.Advance(microseconds(999'999));
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(converter.HandleIrq()); }), Accesses{R("irq_status", 0)});
  for (int tick = 0; tick < 2; ++tick) {
    board.clock.Advance(seconds(1));
    EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(converter.HandleIrq()); }),
              (Accesses{R("irq_status", 1), W("irq_clr", 1), W("irq_clr", 0)}));
    EXPECT_FALSE(converter.HandleIrq());
  }
  board.clock.Advance(seconds(1));
  EXPECT_FALSE(LineIsRaised(34));
  EXPECT_EQ(AccessesOf([&] { converter.UnmaskIrq(); }), Accesses{W("irq_mask", 0)});
  EXPECT_TRUE(LineIsRaised(converter.GetIrqNumber()));
  EXPECT_EQ(AccessesOf([&] { converter.MaskIrq(); }), Accesses{W("irq_mask", 1)});
}

}  // namespace
