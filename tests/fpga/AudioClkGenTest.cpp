#include "modules/AudioInputClkGen.h"
#include "modules/AudioOutputClkGen.h"
#include "modules/DanteCoreInterface.h"
#include "sim/models/AudioInputClkGenModel.h"
#include "sim/models/AudioOutputClkGenModel.h"
#include "support/CoreTest.h"

namespace {

class AudioClkGenTest : public CoreTest<sim::AudioOutputClkGenModel> {
 protected:
  AudioClkGenTest() : CoreTest("out_aud_clk_gen", kLogInfo) {}

  Accesses Checked(std::uint32_t failed, std::uint32_t cycle, std::uint32_t phase) const {
    const Accesses looks{R("clkIsFailed", failed), R("cycleError", cycle), R("phaseError", phase)};
    const Accesses clears{W("clkIsFailed", 1), W("cycleError", 1), W("phaseError", 1)};
    return (failed | cycle | phase) != 0 ? looks + clears : looks;
  }

  sim::AudioInputClkGenModel& inputCore =
      board.Core<sim::AudioInputClkGenModel>("in_aud_3_clk_gen");
  AudioInputClkGen input{"in_aud_3_clk_gen", facts::ModuleOf("in_aud_3_clk_gen").base, 0};
  AudioOutputClkGen output{name, base, 0, 36};
  DanteCoreInterface dante{"out_aud_dante", facts::ModuleOf("out_aud_dante").base};
};

TEST_F(AudioClkGenTest, ResetsAndMasks) {
  FillWithGarbage();
  inputCore.FillWritable(0xA5C3965A);
  EXPECT_EQ(
      AccessesOf([&] {
        input.ResetAndRelease();
        input.UnmaskIrq();
        input.MaskIrq();
        output.ResetAndRelease();
        output.UnmaskIrq();
        output.MaskIrq();
        dante.ResetAndRelease();
      }),
      (Accesses{W("in_aud_3_clk_gen.reset", 1), W("in_aud_3_clk_gen.reset", 0),
                W("in_aud_3_clk_gen.videoTypeOverride", 0), W("in_aud_3_clk_gen.irqMask", 0),
                W("in_aud_3_clk_gen.irqMask", 7), W("reset", 1), W("reset", 0), W("irqMask", 0),
                W("irqMask", 7), W("out_aud_dante.reset", 1), W("out_aud_dante.reset", 0)}));
  EXPECT_EQ(
      board.log.WithoutOrigins(),
      (std::vector<sim::LogRecord>{
          {6, "Resetting out_aud_clk_gen"}, {6, "Hold In Reset"}, {6, "Release From Reset"}}));
}

TEST_F(AudioClkGenTest, InputClearsWhatIsPending) {
  inputCore.RaiseIrq(5);
  EXPECT_EQ(AccessesOf([&] {
              input.HandleIrq();
              input.HandleIrq();
            }),
            (Accesses{R("in_aud_3_clk_gen.irqStatus", 5), W("in_aud_3_clk_gen.irqClr", 5),
                      R("in_aud_3_clk_gen.irqStatus", 0)}));
}

TEST_F(AudioClkGenTest, ErrorsAreToldAndAllFlagsCleared) {
  output.ReleaseFromReset();
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(output.CheckErrors()); }), Checked(0, 0, 0));
  core.SetErrors(sim::AudioOutputClkGenModel::kPhaseError);
  core.SetErrors(0);
  EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(output.CheckErrors()); }), Checked(0, 0, 1));
  EXPECT_EQ(board.log.Messages(6), Texts{"Clock phase error"});
  core.SetErrors(7);
  EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(output.CheckErrors()); }), Checked(1, 1, 1));
  EXPECT_EQ(board.log.Messages(6),
            (Texts{"Clock failure", "Clock cycle error", "Clock phase error"}));
  EXPECT_TRUE(output.CheckErrors());  // they last
}

TEST_F(AudioClkGenTest, OutputInterruptIsClearedBeforeTheErrors) {
  output.ReleaseFromReset();
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(output.HandleIrq()); }), Accesses{R("irqStatus", 0)});
  core.SetErrors(sim::AudioOutputClkGenModel::kClockFailed);
  core.SetErrors(0);
  EXPECT_FALSE(LineIsRaised(36));
  output.UnmaskIrq();
  EXPECT_TRUE(LineIsRaised(output.GetIrqNumber()));
  EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(output.HandleIrq()); }),
            (Accesses{R("irqStatus", 4), W("irqClr", 4), W("irqClr", 0)}) + Checked(1, 0, 0));
  EXPECT_FALSE(output.HandleIrq());
  core.SetErrors(sim::AudioOutputClkGenModel::kCycleError);
  EXPECT_TRUE(output.HandleIrq());  // a later one is seen again
}

}  // namespace
