#include <gtest/gtest.h>

#include <functional>

#include "modules/AudioInputClkGen.h"
#include "modules/AudioOutputClkGen.h"
#include "modules/DanteCoreInterface.h"
#include "sim/Board.h"
#include "sim/models/AudioInputClkGenModel.h"
#include "sim/models/AudioOutputClkGenModel.h"
#include "sim/models/IrqAggregatorModel.h"
#include "support/Accesses.h"

namespace {

using sim::Loaded;
using sim::LogRecord;
using sim::Stored;

constexpr std::uint32_t kInput = 0x1300000;
constexpr std::uint32_t kOutput = 0x2400000;
constexpr std::uint32_t kDante = 0x2800000;

class AudioClkGenTest : public testing::Test {
 protected:
  bool LineIsRaised() {
    board.Core<sim::IrqAggregatorModel>("irq_handler")
        .Store(0x44, 1U << 4);  // line 36: the latched bit goes, a raised line stays
    return (board.Core<sim::IrqAggregatorModel>("irq_handler").Get("irq_status_32_63") & 1U << 4) !=
           0;
  }

  sim::Board& board = sim::Board::Get();
  sim::AudioInputClkGenModel& inputModel =
      board.Core<sim::AudioInputClkGenModel>("in_aud_3_clk_gen");
  sim::AudioOutputClkGenModel& outputModel =
      board.Core<sim::AudioOutputClkGenModel>("out_aud_clk_gen");
  AudioInputClkGen input{"in_clk_gen", kInput, 0};
  AudioOutputClkGen output{"out_clk_gen", kOutput, 0, 36};
};

TEST_F(AudioClkGenTest, InputReleaseSwitchesTheOverrideOff) {
  inputModel.SetWord(0, 0xFFFFBFFF);
  EXPECT_EQ(AccessesOf([&] { input.ResetAndRelease(); }),
            (std::vector{Loaded(kInput, 0xFFFFBFFF), Stored(kInput, 0xFFFFFFFF),
                         Loaded(kInput, 0xFFFFFFFF), Stored(kInput, 0xFFFFBFFF),
                         Loaded(kInput, 0xFFFFBFFF), Stored(kInput, 0xFFFFBFBF)}));
}

TEST_F(AudioClkGenTest, InputClearsWhatIsPending) {
  inputModel.SetWord(28, 0xFFFFFFF8);
  inputModel.SetWord(32, 0xFFFFFFF8);
  EXPECT_EQ(AccessesOf([&] { input.HandleIrq(); }), (std::vector{Loaded(kInput + 32, 0xFFFFFFF8)}));
  inputModel.RaiseIrq(5);
  EXPECT_EQ(AccessesOf([&] { input.HandleIrq(); }),
            (std::vector{Loaded(kInput + 32, 0xFFFFFFFD), Loaded(kInput + 28, 0xFFFFFFF8),
                         Stored(kInput + 28, 0xFFFFFFFD)}));
  EXPECT_EQ(inputModel.Get("irqStatus"), 0U);
}

TEST_F(AudioClkGenTest, MasksAreThreeBitsWide) {
  EXPECT_EQ(AccessesOf([&] {
              input.UnmaskIrq();
              input.MaskIrq();
              output.UnmaskIrq();
              output.MaskIrq();
            }),
            (std::vector{Loaded(kInput + 24, 7), Stored(kInput + 24, 0), Loaded(kInput + 24, 0),
                         Stored(kInput + 24, 7), Loaded(kOutput + 4, 7), Stored(kOutput + 4, 0),
                         Loaded(kOutput + 4, 0), Stored(kOutput + 4, 7)}));
}

TEST_F(AudioClkGenTest, ErrorsAreToldAndAllFlagsCleared) {
  output.ReleaseFromReset();
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(output.CheckErrors()); }),
            (std::vector(3, Loaded(kOutput, 0))));
  EXPECT_TRUE(board.log.All().empty());

  outputModel.SetErrors(sim::AudioOutputClkGenModel::kPhaseError);
  outputModel.SetErrors(0);
  EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(output.CheckErrors()); }),
            (std::vector{Loaded(kOutput, 1), Loaded(kOutput, 1), Loaded(kOutput, 1),
                         // the first write carries the flag that was read along, and clears it
                         Loaded(kOutput, 1), Stored(kOutput, 5), Loaded(kOutput, 0),
                         Stored(kOutput, 2), Loaded(kOutput, 0), Stored(kOutput, 1)}));
  EXPECT_EQ(board.log.WithoutOrigins(), (std::vector<LogRecord>{{6, "Clock phase error"}}));

  outputModel.SetErrors(7);
  AccessesOf([&] { EXPECT_TRUE(output.CheckErrors()); });
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{
                {6, "Clock failure"}, {6, "Clock cycle error"}, {6, "Clock phase error"}}));
  EXPECT_TRUE(output.CheckErrors());  // they last
}

TEST_F(AudioClkGenTest, OutputInterruptIsClearedBeforeTheErrors) {
  output.ReleaseFromReset();
  output.UnmaskIrq();
  outputModel.SetWord(8, 0xFFFFFFF8);
  outputModel.SetWord(12, 0xFFFFFFF8);
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(output.HandleIrq()); }),
            (std::vector{Loaded(kOutput + 12, 0xFFFFFFF8)}));

  outputModel.SetErrors(sim::AudioOutputClkGenModel::kClockFailed);
  outputModel.SetErrors(0);
  EXPECT_TRUE(LineIsRaised());
  EXPECT_EQ(
      AccessesOf([&] { EXPECT_TRUE(output.HandleIrq()); }),
      (std::vector{Loaded(kOutput + 12, 0xFFFFFFFC), Loaded(kOutput + 8, 0xFFFFFFF8),
                   Stored(kOutput + 8, 0xFFFFFFFC), Loaded(kOutput + 8, 0xFFFFFFFC),
                   Stored(kOutput + 8, 0xFFFFFFF8), Loaded(kOutput, 4), Loaded(kOutput, 4),
                   Loaded(kOutput, 4), Loaded(kOutput, 4), Stored(kOutput, 4), Loaded(kOutput, 0),
                   Stored(kOutput, 2), Loaded(kOutput, 0), Stored(kOutput, 1)}));
  EXPECT_FALSE(LineIsRaised());
  outputModel.SetErrors(sim::AudioOutputClkGenModel::kCycleError);
  EXPECT_TRUE(output.HandleIrq());  // a later one is seen again
}

TEST_F(AudioClkGenTest, ResetsAreLogged) {
  outputModel.SetWord(0, 0xFFFFFFF0);
  EXPECT_EQ(AccessesOf([&] { output.ResetAndRelease(); }),
            (std::vector{Loaded(kOutput, 0xFFFFFFF0), Stored(kOutput, 0xFFFFFFF8),
                         Loaded(kOutput, 0xFFFFFFF8), Stored(kOutput, 0xFFFFFFF0)}));
  EXPECT_EQ(board.log.WithoutOrigins(), (std::vector<LogRecord>{{6, "Resetting out_clk_gen"}}));

  DanteCoreInterface dante("dante", kDante);
  EXPECT_EQ(
      AccessesOf([&] { dante.ResetAndRelease(); }),
      (std::vector{Loaded(kDante, 1), Stored(kDante, 1), Loaded(kDante, 1), Stored(kDante, 0)}));
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{6, "Hold In Reset"}, {6, "Release From Reset"}}));
}

}  // namespace
