#include "modules/AudioDelaySamples.h"

#include <gtest/gtest.h>

#include <cmath>

namespace audio_delay {
namespace {

TEST(AudioDelaySamples, MillisecondsAreCutToSamplesAboveTheFloor) {
  const struct {
    float ms;
    std::uint32_t samples;
  } cases[] = {{0.0F, 64},        {-1e30F, 64},      {NAN, 64},
               {1.0F, 64},        {1.34F, 64},       {1.3541F, 64},  // 64.997
               {1.3542F, 65},     {2.0F, 96},        {16.7F, 801},   // 801.6
               {5461.0F, 262128}, {1e9F, 0xFFFFFFFF}};
  for (const auto& c : cases) {
    EXPECT_EQ(ToSamples(c.ms), c.samples) << c.ms;
  }
  EXPECT_EQ(ToMs(64), 0x1.555556p+0F);
  EXPECT_EQ(ToMs(96), 2.0F);
  EXPECT_EQ(ToMs(50331651), 0x1.000002p+20F);  // rounded to a float before it is divided
  EXPECT_EQ(ToMs(0xFFFFFFFF), 0x1.555556p+26F);
}

TEST(AudioDelaySamples, TheRingHoldsWholeChunks) {
  EXPECT_EQ(ChunksIn(0x1000000), 5461U);
  EXPECT_EQ(LastPosition(5461), 262127U);
  EXPECT_EQ(ChunksIn(3072), 1U);
  EXPECT_EQ(ChunksIn(3071), 0U);
  EXPECT_EQ(LastPosition(0), 0xFFFFFFFFU);
}

TEST(AudioDelaySamples, PointersInAnyRelationGiveADistance) {
  const struct {
    std::uint32_t read, write, last;
    std::uint32_t samples;
    int toHundred;  // what is missing to 100 samples
  } cases[] = {
      {1000, 1096, 262127, 96, 4},
      {1000, 1000, 262127, 0, 100},
      {262080, 48, 262127, 95, 5},                          // around the ring: one sample short
      {1, 0, 0, 0xFFFFFFFF, -2147483647 - 1},               // no ring
      {0x3FFFFFF, 0, 262127, 0xFC03FFF0, -2147483647 - 1},  // outside of it
      {0, 0xFFFFFFFF, 262127, 0xFFFFFFFF, -2147483647 - 1},
      {0, 2147483748, 262127, 2147483748, -2147483647 - 1},
      {0, 2147483747, 262127, 2147483747, -2147483647},
  };
  for (const auto& c : cases) {
    const std::uint32_t samples = SamplesBetween(c.read, c.write, c.last);
    EXPECT_EQ(samples, c.samples) << c.read << " " << c.write;
    EXPECT_EQ(SampleDelta(100, samples), c.toHundred) << samples;
  }
  EXPECT_EQ(SampleDelta(0xFFFFFFFF, 0), 2147483647);
}

}  // namespace
}  // namespace audio_delay
