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

TEST(AudioDelaySamples, TheRingHoldsWholeChunks) {
  EXPECT_EQ(ChunksIn(0x1000000), 5461U);
  EXPECT_EQ(LastPosition(5461), 262127U);
  EXPECT_EQ(LastPosition(0), 0xFFFFFFFFU);
}

// In and around the ring, where a delay is one sample short; no ring; outside of it.
TEST(AudioDelaySamples, PointersInAnyRelationGiveADistance) {
  const struct {
    std::uint32_t read, write, last, samples;
    int toHundred;  // what is missing to 100 samples
  } cases[] = {{1000, 1096, 262127, 96, 4},
               {1000, 1000, 262127, 0, 100},
               {262080, 48, 262127, 95, 5},
               {1, 0, 0, 0xFFFFFFFF, INT32_MIN},
               {0x3FFFFFF, 0, 262127, 0xFC03FFF0, INT32_MIN},
               {0, 2147483748, 262127, 2147483748, INT32_MIN},
               {0, 2147483747, 262127, 2147483747, INT32_MIN + 1}};
  for (const auto& c : cases) {
    const std::uint32_t samples = SamplesBetween(c.read, c.write, c.last);
    EXPECT_EQ(samples, c.samples) << c.read << " " << c.write;
    EXPECT_EQ(SampleDelta(100, samples), c.toHundred) << samples;
  }
  EXPECT_EQ(SampleDelta(0xFFFFFFFF, 0), 2147483647);
}

}  // namespace
}  // namespace audio_delay
