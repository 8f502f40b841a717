#include <gtest/gtest.h>

#include <functional>

#include "controls/AudioPeakMeterControl.h"
#include "sim/Board.h"
#include "sim/models/AudioPeakMeterModel.h"
#include "support/Accesses.h"

namespace {

using sim::Loaded;
using sim::LogRecord;
using sim::Stored;

constexpr std::uint32_t kInput = 0x2E00000;
constexpr std::uint32_t kOutput = 0x2F00000;
constexpr std::uint32_t kFullScale = 8388607;

class AudioPeakMeterTest : public testing::Test {
 protected:
  sim::Board& board = sim::Board::Get();
  sim::AudioPeakMeterModel& inputModel =
      board.Core<sim::AudioPeakMeterModel>("in_aud_3_peak_meters");
  sim::AudioPeakMeterModel& outputModel =
      board.Core<sim::AudioPeakMeterModel>("out_aud_peak_meters");
  AudioPeakMeterControl input{"in_peak_meters", kInput, 3, 46, 1};
  AudioPeakMeterControl output{"out_peak_meters", kOutput, 4, 47, 2};
  std::vector<std::uint32_t> peaks{1, 2, 3};
  std::vector<std::int16_t> meters{1, 2, 3};
};

TEST_F(AudioPeakMeterTest, EachReadGivesTheNextPeakOfTheFullBank) {
  output.ResetAndRelease();
  output.ReadNumLinks();
  for (std::uint32_t channel = 0; channel < 64; ++channel) {
    outputModel.SetLevel(channel, channel + 100);
  }
  outputModel.SetLevel(63, 5);
  outputModel.SetWord(4, 0xFFFFFFFF);  // each later peak keeps what lies beside it
  std::vector<std::uint32_t> expected{kFullScale};
  expected.resize(64, 0);  // still being measured
  output.ReadPeaks(peaks);
  EXPECT_EQ(peaks, expected);
  output.SwitchBank();
  for (const std::uint32_t last : {163U, 163U}) {  // a second reading starts anew
    output.ReadPeaks(peaks);
    ASSERT_EQ(peaks.size(), 64U);
    EXPECT_EQ(peaks[0], 100U);
    EXPECT_EQ(peaks[31], 131U);
    EXPECT_EQ(peaks[63], last);
  }
  output.SwitchBank();
  output.ReadPeaks(peaks);
  EXPECT_EQ(peaks[63], 5U);
}

TEST_F(AudioPeakMeterTest, NothingIsReadInReset) {
  EXPECT_EQ(AccessesOf([&] { input.ReadPeaks(peaks); }), (std::vector{Loaded(kInput, 2)}));
  EXPECT_EQ(peaks, std::vector<std::uint32_t>(16, 0));
  inputModel.SetWord(0, 0xFFFFFFFC);
  EXPECT_EQ(AccessesOf([&] {
              input.ResetAndRelease();
              input.SwitchBank();
            }),
            (std::vector{Loaded(kInput, 0xFFFFFFFC), Stored(kInput, 0xFFFFFFFE),
                         Loaded(kInput, 0xFFFFFFFE), Stored(kInput, 0xFFFFFFFC),
                         Loaded(kInput, 0xFFFFFFFC), Stored(kInput, 0xFFFFFFFD)}));
}

TEST_F(AudioPeakMeterTest, LinksAreAsManyAsTheCoreSays) {
  input.ReleaseFromReset();
  inputModel.SetWord(8, 0xFFFFFF00);  // none
  input.ReadNumLinks();
  EXPECT_EQ(AccessesOf([&] { input.ReadPeaks(peaks); }), (std::vector{Loaded(kInput, 0)}));
  EXPECT_TRUE(peaks.empty());
  inputModel.SetWord(8, 0xFFFFFFFF);
  input.ReadNumLinks();
  input.ReadPeaks(peaks);
  EXPECT_EQ(peaks.size(), 255U * 16);
  sim::AudioPeakMeterModel none(board.mutex, 0);
  none.Store(0, 1);
  EXPECT_EQ(none.Load(4), 0U);

  AudioPeakMeter outside("outside", 0x4000000, 0, 3);
  outside.ReadNumLinks();
  EXPECT_EQ(outside.GetNumLinks(), 3U);
}

TEST_F(AudioPeakMeterTest, LevelsMoveMostOfTheWay) {
  const struct {
    std::int32_t level, peak, next;
  } cases[] = {{1000, 2000, 1750},
               {2000, 1000, 1150},
               {1234, 1234, 1234},
               {0, 1, 0},
               {0, 3, 2},
               {1, 0, 1},  // less than one step: it stays
               {10, 0, 2},
               {0, 8388607, 6291455},
               {8388607, 0, 1258291},  // the factor in single precision
               {1000, -1, 150},
               {INT32_MIN, INT32_MAX, 1073741824},
               {INT32_MAX, INT32_MIN, -1503238657}};
  for (const auto& c : cases) {
    EXPECT_EQ(audio_meter::Smooth(c.level, c.peak), c.next) << c.level << " to " << c.peak;
  }
}

TEST_F(AudioPeakMeterTest, ReadingsAreLiftedDecibelsOfFullScale) {
  const struct {
    std::uint32_t level;
    int reading;
  } cases[] = {
      {0, -40},        {66633, -40},   // just below -42 dB
      {66634, -39},                    // just above
      {105606, -36},                   // just below -38
      {105607, -35},   {593868, -20},  // above -23 by less than single precision tells
      {4194304, -4},                   // -6.02
      {6663298, 0},                    // -2.0, and above there is no room
      {kFullScale, 0}, {0xFFFFFFFF, 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(audio_meter::ReadingOf(c.level), c.reading) << c.level;
  }
}

TEST_F(AudioPeakMeterTest, MetersNeedTheirLevels) {
  input.ReleaseFromReset();
  const auto expectRefusal = [&](std::size_t links) {
    meters = {1, 2, 3};
    std::vector<sim::RegisterAccess> expected{Loaded(kInput, 0)};
    expected.resize(1 + links * 16, Loaded(kInput + 4, 0));  // and no bank is switched
    EXPECT_EQ(AccessesOf([&] { input.UpdateMeters(meters); }), expected);
    EXPECT_TRUE(meters.empty());
    EXPECT_EQ(board.log.WithoutOrigins(),
              (std::vector<LogRecord>{
                  {4, "Audio peak meter vector sizes differ. This should not occur!"}}));
  };
  expectRefusal(1);  // there are none yet
  input.Initialize();
  for (const std::uint32_t links : {2U, 0U}) {  // the core says something else now
    inputModel.SetWord(8, links);
    input.ReadNumLinks();
    expectRefusal(links);
  }
  input.Initialize();
  input.UpdateMeters(meters);
  EXPECT_TRUE(meters.empty());

  // As many as the core says, whatever the object was built with.
  output.ReleaseFromReset();
  output.Initialize();
  EXPECT_EQ(output.GetNumLinks(), 4U);
  const std::vector<sim::RegisterAccess> accesses =
      AccessesOf([&] { output.UpdateMeters(meters); });
  EXPECT_EQ(accesses.size(), 1U + 64 + 2);
  EXPECT_EQ(accesses.back(), Stored(kOutput, 1));
  EXPECT_EQ(meters, std::vector<std::int16_t>(64, -40));
  EXPECT_TRUE(board.log.All().empty());
}

TEST_F(AudioPeakMeterTest, MetersFollowThePeaksBetweenUpdates) {
  input.ReleaseFromReset();
  input.Initialize();
  inputModel.SetLevel(0, kFullScale);
  inputModel.SetLevel(15, kFullScale);
  inputModel.SetLevel(15, 0);  // a moment only
  input.UpdateMeters(meters);
  EXPECT_EQ(meters, std::vector<std::int16_t>(16, -40));

  std::vector<sim::RegisterAccess> expected{Loaded(kInput, 0), Loaded(kInput + 4, kFullScale)};
  expected.resize(16, Loaded(kInput + 4, 0));
  expected.insert(expected.end(),
                  {Loaded(kInput + 4, kFullScale), Loaded(kInput, 0), Stored(kInput, 1)});
  EXPECT_EQ(AccessesOf([&] { input.UpdateMeters(meters); }), expected);
  ASSERT_EQ(meters.size(), 16U);
  EXPECT_EQ(meters[0], 0);  // 75 %: -2.5 dB
  EXPECT_EQ(meters[1], -40);
  EXPECT_EQ(meters[15], 0);
  input.UpdateMeters(meters);
  EXPECT_EQ(meters[0], 0);
  EXPECT_EQ(meters[15], -16);  // 15 % of 75 %: -18.98 dB
  input.Initialize();
  input.UpdateMeters(meters);
  EXPECT_EQ(meters[15], -40);
}

}  // namespace
