// The frame synchroniser's arithmetic: frames in memory, alignments, the delay.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <tuple>
#include <vector>

#include "modules/FramesyncAlignment.h"
#include "modules/FramesyncDelay.h"
#include "modules/FramesyncGeometry.h"

namespace framesync {
namespace {

TEST(FramesyncGeometry, OfFormats) {
  const std::pair<int, FrameGeometry> cases[] = {
      {5, {446910, 17877, {70, 213, 17920}}},      {6, {536060, 21443, {84, 195, 21504}}},
      {15, {2957160, 118287, {463, 15, 118528}}},  {36, {2957160, 118287, {463, 15, 118528}}},
      {39, {2959080, 118364, {463, 92, 118528}}},  {57, {3082830, 513805, {2008, 13, 514048}}},
      {62, {2959080, 493180, {1927, 124, 493312}}}};
  for (const auto& [id, geometry] : cases) {
    EXPECT_EQ(GeometryOf(GetVideoStandard(id)), geometry) << id;
  }
  VideoStandard unusual = GetVideoStandard(39);
  unusual.linkMode = LinkMode::kDual;
  EXPECT_EQ(GeometryOf(unusual).words, 246590U);  // four streams: 12 samples to a word
  EXPECT_EQ(PackModeOf(4), 1U);
  unusual.sdiRate = SdiRate::k12G;
  EXPECT_EQ(GeometryOf(unusual).words, 1U);  // sixteen streams
  EXPECT_EQ(PackModeOf(16), std::nullopt);
}

TEST(FramesyncGeometry, ShortRestJoinsTheBurstBeforeIt) {
  EXPECT_EQ(LayOutBursts(1024), (BurstLayout{4, 256, 1024}));
  EXPECT_EQ(LayOutBursts(1025), (BurstLayout{4, 257, 1280}));
  EXPECT_EQ(LayOutBursts(1026), (BurstLayout{4, 258, 1280}));
  EXPECT_EQ(LayOutBursts(1027), (BurstLayout{5, 3, 1280}));
  EXPECT_EQ(LayOutBursts(1279), (BurstLayout{5, 255, 1280}));
}

// From lock to output, by the clocks of 27, 74.25 and 148.5 MHz, which are 0 to 2 here.
TEST(FramesyncAlignment, ClockRatios) {
  const std::map<std::pair<int, int>, std::pair<double, double>> ratios{
      {{0, 1}, {2.75, 2.7472222222222222}},
      {{0, 2}, {5.5, 5.4944444444444445}},
      {{1, 0}, {0.36363636363636365, 0.3640040444893832}},
      {{1, 2}, {2, 2}},
      {{2, 0}, {0.18181818181818182, 0.1820020222446916}},
      {{2, 1}, {0.5, 0.5}}};
  for (int lock = -1; lock < 7; ++lock) {
    for (int format = -1; format < 7; ++format) {
      const auto clock = [](int rate) { return rate == 4 || rate == 5 ? rate - 3 : rate; };
      const auto found = ratios.find({clock(lock), clock(format)});
      EXPECT_EQ(std::pair(ClockRatio(format, false, lock), ClockRatio(format, true, lock)),
                found != ratios.end() ? found->second : std::pair(1.0, 1.0))
          << lock << " " << format;
    }
  }
  EXPECT_EQ(ToOutputClock(2147483647, GetVideoStandard(41), GetVideoStandard(5)), 2147483647);
}

TEST(FramesyncAlignment, OffsetsOfTheOperator) {
  const float infinity = std::numeric_limits<float>::infinity();
  // Single precision, in its order: a wider type or another one gives a sample less in three cases.
  const std::tuple<int, std::int16_t, float, std::int64_t> cases[] = {
      {15, 0, 100.0F, 7425},       {15, 2, -100.0F, -2145},         {15, -32768, 0.0F, -86507520},
      {5, 0, 10.0F, 134},          {16, 0, 165.0F, 12239},          {40, 0, 82.5F, 12239},
      {15, 0, 3812.875F, 283106},  {15, 1, -infinity, -2147481008}, {15, 32767, 1e30F, 2233988527},
      {15, 1, std::nanf(""), 2640}};
  for (const auto& [id, lines, microseconds, samples] : cases) {
    EXPECT_EQ(OffsetToSamples(GetVideoStandard(id), lines, microseconds), samples)
        << id << " " << microseconds;
  }
}

TEST(FramesyncAlignment, WrapKeepsTheSpanItself) {
  const std::pair<std::int64_t, std::uint32_t> cases[] = {
      {0, 0},    {1000, 1000}, {1001, 1},    {3000, 1000},
      {-1, 999}, {-1000, 0},   {-2001, 999}, {std::numeric_limits<std::int32_t>::min(), 352}};
  for (const auto& [samples, wrapped] : cases) {
    EXPECT_EQ(WrapToSpan(samples, 1000), wrapped) << samples;
  }
  EXPECT_EQ(AlignmentSpan(GetVideoStandard(15)), 2970000U);
  EXPECT_EQ(AlignmentSpan(GetVideoStandard(5)), 900900U);  // two frames
}

TEST(FramesyncAlignment, WindowOfFifteenSamplesAroundTheFrame) {
  using Pairs = std::vector<std::pair<std::uint32_t, std::uint32_t>>;  // set and reported
  const Pairs in{{500, 485}, {500, 515}, {16, 1},      {16, 31},     {15, 0},     {15, 30},
                 {15, 1000}, {0, 0},     {0, 15},      {0, 985},     {0, 1000},   {984, 969},
                 {984, 999}, {985, 970}, {985, 1000},  {985, 0},     {1000, 985}, {1000, 1000},
                 {1000, 0},  {1000, 15}, {1500, 1485}, {1500, 1999}, {1500, 515}, {1500, 0}};
  const Pairs out{{500, 484},  {500, 516},  {500, 0},     {16, 0},    {16, 32},
                  {16, 1000},  {15, 31},    {15, 999},    {0, 16},    {0, 984},
                  {984, 968},  {984, 1000}, {984, 0},     {985, 969}, {985, 1},
                  {1000, 984}, {1000, 16},  {1500, 1484}, {1500, 516}};
  for (const bool ok : {true, false}) {
    for (const auto& [set, reported] : ok ? in : out) {
      EXPECT_EQ(IsAlignmentOk(reported, set, 1000), ok) << set << " " << reported;
    }
  }
}

// The buffer being read and written, the flag, the line being written; then frames, lines and ms in
// single precision, compared bit by bit. A frame of id 39 takes 20 ms, and id 7 shows one rounding.
TEST(FramesyncDelay, FromTheBufferWord) {
  using U = std::uint32_t;
  const std::tuple<int, U, U, U, U, int, int, float> cases[] = {
      {39, 3, 5, 0, 100, 2, 93, 0x1.4d3a06p+5F},
      {39, 3, 5, 1, 100, 2, 93, 0x1.4d3a06p+5F},
      {39, 3, 5, 0, 7, 2, 0, 40.0F},
      {39, 3, 5, 1, 7, 3, 0, 60.0F},
      {39, 5, 5, 1, 6, 0, 1124, 0x1.3fb73p+4F},
      {39, 19, 1, 0, 7, 2, 0, 40.0F},
      {39, 511, 0, 0, 7, -491, 0, -9820.0F},
      {39, 0, 511, 1, 8191, 511, 8184, 0x1.43ebf2p+13},
      {7, 0, 3, 0, 8, 3, 1, 0x1.f4a3b2p+6F}};
  for (const auto& [id, reads, writes, flag, line, frames, lines, ms] : cases) {
    const U word = reads << 23 | writes << 14 | flag << 13 | line;
    const StoreDelay delay = MeasureStoreDelay(word, GetVideoStandard(id), 20);
    EXPECT_EQ(std::tuple(delay.frames, delay.lines, delay.milliseconds),
              std::tuple(frames, lines, ms))
        << id << std::hex << " " << word;
  }
}

}  // namespace
}  // namespace framesync
