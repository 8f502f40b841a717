#include "modules/AvSyncPattern.h"

#include <gtest/gtest.h>

#include <tuple>

namespace {

// Channel 16 by the 30 values from 16 on, channel 15 by the next 30, and so on.
TEST(AvSyncPatternTest, ValuesMarkTheirChannels) {
  for (std::uint32_t value = 0; value < 1024; ++value) {
    const std::uint32_t channel = value > 15 && value <= 495 ? 17 - (value + 14) / 30 : 0;
    EXPECT_EQ(av_sync::ChannelOf(value).value_or(0), channel) << value;
  }
}

// Cut to 16 bits, and never undefined.
TEST(AvSyncPatternTest, CycleIsTwoPeriodsAndTenFrames) {
  const std::tuple<std::uint16_t, float, std::uint32_t> cases[] = {
      {3000, 25.0F, 160}, {3000, 23.98F, 153}, {3000, 59.94F, 369},
      {19, 25.0F, 10},    {20, 25.0F, 11},     {65535, 60.0F, 7874},
      {0, 60.0F, 10},     {65535, 1000.0F, 8}, {65535, 1e30F, 0xFFFF}};
  for (const auto& [periodMs, rate, frames] : cases) {
    EXPECT_EQ(av_sync::CycleFrames(periodMs, rate), frames) << periodMs << " " << rate;
  }
}

TEST(AvSyncPatternTest, DelayCountsFromLine30OfFrame3) {
  const std::tuple<av_sync::Arrival, std::uint32_t, float, float> cases[] = {
      {{30, 3, 0}, 1125, 25.0F, 0.0F},
      {{31, 3, 0}, 1125, 25.0F, 0.035555556F},
      {{29, 2, 0}, 1125, 25.0F, -40.035557F},
      {{0, 0, 0}, 525, 29.97F, -102.00677F},
      {{4095, 1023, 0}, 2250, 60.0F, 17030.11F}};
  for (const auto& [arrival, totalLines, rate, ms] : cases) {
    EXPECT_FLOAT_EQ(av_sync::DelayMs(arrival, totalLines, rate), ms);
  }
}

}  // namespace
