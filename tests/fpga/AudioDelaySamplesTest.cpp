#include "modules/AudioDelaySamples.h"

#include <gtest/gtest.h>

#include <cmath>

namespace audio_delay {
namespace {

TEST(AudioDelaySamples, MillisecondsAreCutToSamplesAboveTheFloor) {
  const std::pair<float, std::uint32_t> cases[] = {
      {0.0F, 64},    {-1e30F, 64}, {NAN, 64},         {1.34F, 64},       {1.3541F, 64},
      {1.3542F, 65}, {16.7F, 801}, {5461.0F, 262128}, {1e9F, 0xFFFFFFFF}};
  for (const auto& [ms, samples] : cases) {
    EXPECT_EQ(ToSamples(ms), samples) << ms;
  }
  EXPECT_EQ(ToMs(64), 0x1.555556p+0F);
  EXPECT_EQ(ToMs(50331651), 0x1.000002p+20F);  // rounded to a float before it is divided
  EXPECT_EQ(ToMs(0xFFFFFFFF), 0x1.555556p+26F);
}

TEST(AudioDelaySamples, PointersInAnyRelationGiveADistance) {
  EXPECT_EQ(SamplesBetween(1000, 1096, 262127), 96U);
  EXPECT_EQ(SamplesBetween(1000, 1000, 262127), 0U);
  EXPECT_EQ(SamplesBetween(262080, 48, 262127), 95U);  // around the ring: one sample short
  EXPECT_EQ(SamplesBetween(1, 0, 0), 0xFFFFFFFFU);     // no ring
  EXPECT_EQ(SamplesBetween(0x3FFFFFF, 0, 262127), 0xFC03FFF0U);  // outside of it
  EXPECT_EQ(SampleDelta(100, 96), 4);
  EXPECT_EQ(SampleDelta(100, 101), -1);
  EXPECT_EQ(SampleDelta(100, 2147483747), INT32_MIN + 1);
  EXPECT_EQ(SampleDelta(100, 2147483749), INT32_MIN);
  EXPECT_EQ(SampleDelta(0xFFFFFFFF, 0), INT32_MAX);
}

}  // namespace
}  // namespace audio_delay
