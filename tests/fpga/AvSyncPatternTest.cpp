#include "modules/AvSyncPattern.h"

#include <gtest/gtest.h>

namespace {

TEST(AvSyncPatternTest, ValuesMarkTheirChannels) {
  const struct {
    std::uint32_t value, channel;  // channel 0: none
  } cases[] = {{0, 0},   {15, 0},  {16, 16}, {45, 16}, {46, 15}, {255, 9}, {256, 8},
               {435, 3}, {436, 2}, {465, 2}, {466, 1}, {495, 1}, {496, 0}, {1023, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(av_sync::ChannelOf(c.value).value_or(0), c.channel) << c.value;
  }
}

TEST(AvSyncPatternTest, CycleIsTwoPeriodsAndTenFrames) {
  const struct {
    std::uint16_t periodMs;
    float rate;
    std::uint32_t frames;
  } cases[] = {{3000, 25.0F, 160}, {3000, 24.0F, 154}, {3000, 23.98F, 153},  {3000, 59.94F, 369},
               {19, 25.0F, 10},    {20, 25.0F, 11},    {65535, 60.0F, 7874}, {0, 60.0F, 10}};
  for (const auto& c : cases) {
    EXPECT_EQ(av_sync::CycleFrames(c.periodMs, c.rate), c.frames) << c.periodMs << " " << c.rate;
  }
  // As many frames as no standard has: cut to 16 bits, and never undefined.
  EXPECT_EQ(av_sync::CycleFrames(65535, 1000.0F), 131080U - 131072U);
  EXPECT_EQ(av_sync::CycleFrames(65535, 1e30F), 0xFFFFU);
}

TEST(AvSyncPatternTest, DelayCountsFromLine30OfFrame3) {
  const struct {
    std::uint32_t line, frame, totalLines;
    float rate, milliseconds;
  } cases[] = {{30, 3, 1125, 25.0F, 0.0F},       {31, 3, 1125, 25.0F, 0.035555556F},
               {30, 4, 1125, 25.0F, 40.0F},      {29, 2, 1125, 25.0F, -40.035557F},
               {0, 0, 525, 29.97F, -102.00677F}, {4095, 1023, 2250, 60.0F, 17030.11F}};
  for (const auto& c : cases) {
    EXPECT_FLOAT_EQ(av_sync::DelayMs({c.line, c.frame, 0}, c.totalLines, c.rate), c.milliseconds)
        << c.line << " " << c.frame;
  }
}

}  // namespace
