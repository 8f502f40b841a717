#include "controls/AudioPeakMeterControl.h"
#include "sim/models/AudioPeakMeterModel.h"
#include "support/CoreTest.h"

namespace {

constexpr std::uint32_t kFullScale = 8388607;

class AudioPeakMeterTest : public CoreTest<sim::AudioPeakMeterModel> {
 protected:
  AudioPeakMeterTest() : CoreTest("out_aud_peak_meters") { meter.ReleaseFromReset(); }

  Accesses Peaks(std::size_t channels, std::uint32_t peak = 0) const {
    return Accesses(channels, R("peak_data", peak));
  }

  AudioPeakMeterControl meter{name, base, 4, 47, 1};  // one link, until it asks the core
  std::vector<std::uint32_t> peaks{1, 2, 3};
  std::vector<std::int16_t> meters{1, 2, 3};
};

TEST_F(AudioPeakMeterTest, EachReadGivesTheNextPeakOfTheFullBank) {
  meter.ReadNumLinks();
  std::vector<std::uint32_t> levels(64);
  for (std::uint32_t channel = 0; channel < 64; ++channel) {
    core.SetLevel(channel, levels[channel] = channel + 100);
  }
  core.SetLevel(63, 5);
  meter.ReadPeaks(peaks);
  EXPECT_EQ(peaks, std::vector<std::uint32_t>(64, 0));  // still being measured
  EXPECT_EQ(AccessesOf([&] { meter.SwitchBank(); }), Accesses{W("switch_bank", 1)});
  for (int reading = 0; reading < 2; ++reading) {  // the second one starts anew
    meter.ReadPeaks(peaks);
    EXPECT_EQ(peaks, levels);
  }
  meter.SwitchBank();
  meter.ReadPeaks(peaks);
  EXPECT_EQ(peaks[63], 5U);
}

TEST_F(AudioPeakMeterTest, NothingIsReadInResetOrWithoutLinks) {
  EXPECT_EQ(AccessesOf([&] { meter.ResetAndRelease(); }), (Accesses{W("reset", 1), W("reset", 0)}));
  meter.HoldInReset();
  EXPECT_EQ(AccessesOf([&] { meter.ReadPeaks(peaks); }), Accesses{R("reset", 1)});
  EXPECT_EQ(peaks, std::vector<std::uint32_t>(16, 0));
  meter.ReleaseFromReset();
  for (const std::uint32_t links : {255U, 0U}) {
    core.Set("num_audio_links", links);
    meter.ReadNumLinks();
    EXPECT_EQ(AccessesOf([&] { meter.ReadPeaks(peaks); }),
              Accesses{R("reset", 0)} + Peaks(links * 16));
    EXPECT_EQ(peaks.size(), links * 16);
  }
  AudioPeakMeter outside("outside", 0x4000000, 0, 3);
  outside.ReadNumLinks();
  EXPECT_EQ(outside.GetNumLinks(), 3U);
}

TEST_F(AudioPeakMeterTest, LevelsMoveMostOfTheWay) {
  using audio_meter::Smooth;
  EXPECT_EQ(Smooth(1000, 2000), 1750);
  EXPECT_EQ(Smooth(2000, 1000), 1150);
  EXPECT_EQ(Smooth(0, 1), 0);  // less than one step
  EXPECT_EQ(Smooth(0, 3), 2);
  EXPECT_EQ(Smooth(1, 0), 1);
  EXPECT_EQ(Smooth(10, 0), 2);
  EXPECT_EQ(Smooth(8388607, 0), 1258291);  // the factor in single precision
  EXPECT_EQ(Smooth(1000, -1), 150);
  EXPECT_EQ(Smooth(INT32_MIN, INT32_MAX), 1073741824);
  EXPECT_EQ(Smooth(INT32_MAX, INT32_MIN), -1503238657);
}

// Just below and above -42 and -38 dB, and above -23 by less than single precision tells.
TEST_F(AudioPeakMeterTest, ReadingsAreLiftedDecibelsOfFullScale) {
  const std::pair<std::uint32_t, int> cases[] = {
      {0, -40},      {66633, -40},  {66634, -39}, {105606, -36},   {105607, -35},
      {593868, -20}, {4194304, -4}, {6663298, 0}, {kFullScale, 0}, {0xFFFFFFFF, 0}};
  for (const auto& [level, reading] : cases) {
    EXPECT_EQ(audio_meter::ReadingOf(level), reading) << level;
  }
}

TEST_F(AudioPeakMeterTest, MetersFollowThePeaksBetweenUpdates) {
  meter.Initialize();
  core.SetLevel(0, kFullScale);
  core.SetLevel(63, kFullScale);
  core.SetLevel(63, 0);  // a moment only
  meter.UpdateMeters(meters);
  EXPECT_EQ(meters, std::vector<std::int16_t>(64, -40));
  EXPECT_EQ(AccessesOf([&] { meter.UpdateMeters(meters); }),
            Accesses{R("reset", 0)} + Peaks(1, kFullScale) + Peaks(62) + Peaks(1, kFullScale) +
                W("switch_bank", 1));
  std::vector<std::int16_t> expected(64, -40);
  expected[0] = expected[63] = 0;  // 75 %: -2.5 dB
  EXPECT_EQ(meters, expected);
  meter.UpdateMeters(meters);
  expected[63] = -16;  // 15 % of 75 %: -18.98 dB
  EXPECT_EQ(meters, expected);
  meter.Initialize();
  meter.UpdateMeters(meters);
  EXPECT_EQ(meters[63], -40);
  core.Set("num_audio_links", 2);  // the core says something else now
  meter.ReadNumLinks();
  EXPECT_EQ(AccessesOf([&] { meter.UpdateMeters(meters); }),
            Accesses{R("reset", 0)} + Peaks(1, kFullScale) + Peaks(31));
  EXPECT_TRUE(meters.empty());
  EXPECT_EQ(board.log.Messages(4),
            Texts{"Audio peak meter vector sizes differ. This should not occur!"});
}

}  // namespace
