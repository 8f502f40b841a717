#include "modules/FramesyncAlignment.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <limits>

#include "video/Video.h"
#include "video/VideoStandardTable.h"

namespace framesync {
namespace {

// Ids by their rates.
constexpr int k24p = 19;
constexpr int k2398p = 18;
constexpr int k25p = 20;
constexpr int k2997p = 24;
constexpr int k30p = 25;
constexpr int k50p = 39;
constexpr int k5994p = 40;
constexpr int k60p = 41;
constexpr int k525i = 5;
constexpr int k625i = 6;
constexpr int k1080i50 = 15;
constexpr int k1080i5994 = 16;

TEST(FramesyncAlignment, SkipValues) {
  struct Case {
    int format, lock;
    FrameSkip skip;  // compatible, video, ref, factor
  };
  const std::array cases{
      Case{k5994p, k5994p, {true, 0, 0, 1}},
      Case{k2398p, k2997p, {true, 3, 4, 4}},
      Case{k24p, k30p, {true, 3, 4, 4}},
      Case{k2398p, k5994p, {true, 1, 4, 2}},
      Case{k25p, k50p, {true, 0, 1, 1}},
      Case{k2997p, k2398p, {true, 4, 3, 5}},
      Case{k30p, k60p, {true, 0, 1, 1}},
      Case{k50p, k25p, {true, 1, 0, 2}},
      Case{k60p, k24p, {true, 4, 1, 5}},
      Case{k5994p, k2997p, {true, 1, 0, 2}},
      Case{k24p, k25p, {true, 0, 0, 1}},  // not of one family, but let through
      Case{k24p, k50p, {true, 0, 0, 1}},
      Case{k50p, k24p, {true, 0, 0, 1}},
      Case{k25p, k30p, {false, 0, 0, 1}},
      Case{k25p, k60p, {false, 0, 0, 1}},
      Case{k50p, k60p, {false, 0, 0, 1}},
      Case{k60p, k25p, {false, 0, 0, 1}},
      Case{k30p, k50p, {false, 0, 0, 1}},
      Case{k2398p, k24p, {false, 0, 0, 1}},  // fractional against whole
      Case{k60p, k2997p, {false, 1, 0, 2}},
      Case{k50p, k5994p, {false, 0, 0, 1}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(FrameSkipFor(GetVideoStandard(c.format), GetVideoStandard(c.lock)), c.skip)
        << c.format << " against " << c.lock;
  }
}

TEST(FramesyncAlignment, ClockRatios) {
  struct Case {
    int lock, format;
    double whole, fractional;
  };
  const std::array cases{
      Case{0, 0, 1.0, 1.0},
      Case{0, 1, 2.75, 2.7472222222222222},
      Case{0, 4, 2.75, 2.7472222222222222},
      Case{0, 2, 5.5, 5.4944444444444445},
      Case{0, 5, 5.5, 5.4944444444444445},
      Case{0, 3, 1.0, 1.0},
      Case{1, 0, 0.36363636363636365, 0.3640040444893832},
      Case{4, 0, 0.36363636363636365, 0.3640040444893832},
      Case{1, 4, 1.0, 1.0},
      Case{4, 2, 2.0, 2.0},
      Case{1, 5, 2.0, 2.0},
      Case{1, 3, 1.0, 1.0},
      Case{2, 0, 0.18181818181818182, 0.1820020222446916},
      Case{5, 0, 0.18181818181818182, 0.1820020222446916},
      Case{5, 1, 0.5, 0.5},
      Case{2, 4, 0.5, 0.5},
      Case{2, 5, 1.0, 1.0},
      Case{2, 3, 1.0, 1.0},
      Case{3, 0, 1.0, 1.0},
      Case{3, 2, 1.0, 1.0},
      Case{6, 1, 1.0, 1.0},
      Case{0, -1, 1.0, 1.0},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(ClockRatio(c.format, false, c.lock), c.whole) << c.lock << " " << c.format;
    EXPECT_EQ(ClockRatio(c.format, true, c.lock), c.fractional) << c.lock << " " << c.format;
  }
}

TEST(FramesyncAlignment, OffsetsOfSyncAndStart) {
  struct Case {
    int id;
    std::int32_t start, reference, input;
  };
  const std::array cases{
      Case{k525i, 10784, -752, 0},           // 2 x 244 + (10 - 4) x 1716
      Case{k625i, 9168, -744, 0},            // 2 x 264 + (6 - 1) x 1728
      Case{k1080i50, 16032, -1320, -16032},  // half a line
      Case{37, 13392, -1100, -13392},        // segmented: like interlaced
      Case{k50p, 16032, -2640, -16032},      // a whole line
      Case{13, 10160, -1650, -10160},
  };
  for (const Case& c : cases) {
    const VideoStandard& row = GetVideoStandard(c.id);
    EXPECT_EQ(StartOffset(row), c.start) << c.id;
    EXPECT_EQ(ReferenceSyncOffset(row), c.reference) << c.id;
    EXPECT_EQ(InputSyncOffset(row), c.input) << c.id;
  }
  // 752 x 2.7472 is 2065.9: towards zero.
  EXPECT_EQ(ToOutputClock(-752, GetVideoStandard(k1080i5994), GetVideoStandard(k525i)), -2065);
  EXPECT_EQ(ToOutputClock(2147483647, GetVideoStandard(k60p), GetVideoStandard(k525i)), 2147483647);
}

TEST(FramesyncAlignment, OffsetsOfTheOperator) {
  const float infinity = std::numeric_limits<float>::infinity();
  struct Case {
    int id;
    std::int16_t lines;
    float microseconds;
    std::int64_t samples;
  };
  const std::array cases{
      Case{k1080i50, 0, 100.0F, 7425},
      Case{k1080i50, 2, -100.0F, -2145},
      Case{k1080i50, -32768, 0.0F, -86507520},
      Case{k525i, 0, 10.0F, 134},
      // Single precision, in its order: a wider type or another order gives one sample less.
      Case{k1080i5994, 0, 165.0F, 12239},
      Case{k5994p, 0, 82.5F, 12239},
      Case{k1080i50, 0, 3812.875F, 283106},
      Case{k1080i50, 0, infinity, 2147483647},
      Case{k1080i50, 1, -infinity, -2147481008},
      Case{k1080i50, 32767, 1e30F, 2233988527},
      Case{k1080i50, 1, std::nanf(""), 2640},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(OffsetToSamples(GetVideoStandard(c.id), c.lines, c.microseconds), c.samples)
        << c.id << " " << c.microseconds;
  }
}

TEST(FramesyncAlignment, WrapKeepsTheSpanItself) {
  EXPECT_EQ(WrapToSpan(0, 1000), 0U);
  EXPECT_EQ(WrapToSpan(1000, 1000), 1000U);
  EXPECT_EQ(WrapToSpan(1001, 1000), 1U);
  EXPECT_EQ(WrapToSpan(3000, 1000), 1000U);
  EXPECT_EQ(WrapToSpan(-1, 1000), 999U);
  EXPECT_EQ(WrapToSpan(-1000, 1000), 0U);
  EXPECT_EQ(WrapToSpan(-2001, 1000), 999U);
  EXPECT_EQ(WrapToSpan(std::numeric_limits<std::int32_t>::min(), 3), 1U);
  EXPECT_EQ(AlignmentSpan(GetVideoStandard(k1080i50)), 2970000U);
  EXPECT_EQ(AlignmentSpan(GetVideoStandard(k525i)), 900900U);  // two frames
}

TEST(FramesyncAlignment, WindowOfFifteenSamplesAroundTheFrame) {
  struct Case {
    std::uint32_t alignment;
    std::vector<std::uint32_t> in, out;
  };
  const std::vector<Case> cases{
      {500, {485, 500, 515}, {484, 516, 0, 1000}},
      {16, {1, 31}, {0, 32, 1000}},
      {15, {0, 30, 1000}, {31, 999}},
      {0, {0, 15, 985, 1000}, {16, 984}},
      {984, {969, 999}, {968, 1000, 0}},
      {985, {970, 1000, 0}, {969, 1}},
      {1000, {985, 1000, 0, 15}, {984, 16}},
      {1500, {1485, 515, 0}, {1484, 516}},  // 270 Mbps: the second of the span's frames
  };
  for (const Case& c : cases) {
    for (const std::uint32_t reported : c.in) {
      EXPECT_TRUE(IsAlignmentOk(reported, c.alignment, 1000)) << c.alignment << " " << reported;
    }
    for (const std::uint32_t reported : c.out) {
      EXPECT_FALSE(IsAlignmentOk(reported, c.alignment, 1000)) << c.alignment << " " << reported;
    }
  }
}

// Every pair of standards and any offset give an alignment that its 24-bit field holds.
TEST(FramesyncAlignment, FitsItsFieldForEveryPair) {
  for (const VideoStandardRow& format : kVideoStandards) {
    const std::uint32_t span = AlignmentSpan(format.standard);
    EXPECT_LT(span, 1U << 24) << format.id;
    for (const VideoStandardRow& lock : kVideoStandards) {
      for (const float microseconds : {-1e30F, -20000.0F, 0.0F, 33000.5F, 1e30F}) {
        const std::int64_t samples =
            ToOutputClock(ReferenceSyncOffset(lock.standard), format.standard, lock.standard) +
            StartOffset(format.standard) + OffsetToSamples(format.standard, -32768, microseconds);
        EXPECT_LE(WrapToSpan(samples, span), span) << format.id << " " << lock.id;
      }
    }
  }
}

}  // namespace
}  // namespace framesync
