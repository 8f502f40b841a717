#include "video/Video.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "sim/Board.h"

namespace {

// A standard with the given picture; what else it says doesn't matter.
VideoStandard Standard(SdiRate rate, ScanType scan, LinkMode links, std::uint16_t lines,
                       FrameRate frames = FrameRate::k25) {
  return {
      "Test", "T", rate,   scan, 0, 0,      1920,  2640, 1125, 1, lines, 0, 0,
      0,      0,   frames, 0,    1, 1,      7,     7,    42,   2, 0,     0, PictureDivision::kNone,
      links,  1,   0,      10,   0, 960.0F, 192.0F};
}

TEST(VideoStandard, PictureSizeAndStreamsOfAllLinks) {
  const struct {
    int id;
    unsigned width, height, streams;
  } cases[] = {
      {1, 240, 200, 2},     {2, 240, 200, 2},     {3, 480, 400, 8},     {4, 480, 400, 8},
      {5, 720, 480, 1},     {6, 720, 576, 1},     {14, 1280, 720, 2},   {17, 1920, 1080, 2},
      {38, 1920, 1080, 2},  {47, 1920, 1080, 2},  {57, 3840, 2160, 8},  {62, 3840, 2160, 8},
      {86, 3840, 2160, 8},  {106, 3840, 2160, 8}, {138, 3840, 2160, 8}, {141, 4096, 2160, 8},
      {153, 4096, 2160, 8}, {176, 4096, 2160, 8}, {179, 4096, 2160, 8}};
  for (const auto& c : cases) {
    const VideoStandard& standard = GetVideoStandard(c.id);
    EXPECT_EQ(standard.GetFrameWidth(), c.width) << c.id;
    EXPECT_EQ(standard.GetFrameHeight(), c.height) << c.id;
    EXPECT_EQ(standard.GetNumStreams(), c.streams) << c.id;
  }
  // What no row has. 16 bits hold a height.
  const auto scan = ScanType::kInterlaced;
  EXPECT_EQ(Standard(SdiRate::k1500M, scan, LinkMode::kQuad, 0x4001).GetFrameHeight(), 4U);
  EXPECT_EQ(Standard(SdiRate::k1500M, scan, LinkMode::kDual, 1).GetNumStreams(), 4U);
  EXPECT_EQ(Standard(SdiRate::k12G, scan, LinkMode::kQuad, 1).GetNumStreams(), 32U);
  EXPECT_EQ(Standard(SdiRate{6}, scan, LinkMode::kSingle, 1).GetNumStreams(), 2U);
}

TEST(VideoStandard, RatesAreTheDecimalNumbersBitByBit) {
  const struct {
    std::uint32_t rate, framesPerSecond;  // the second as a 32-bit float
    int whole;
    std::uint32_t periodMs;  // as a 32-bit float
  } cases[] = {
      {0, 0x41BFD70A, 23, 0x4226CE40}, {1, 0x41C00000, 24, 0x4226AAAB},
      {2, 0x41C80000, 25, 0x42200000}, {3, 0x41EFC28F, 29, 0x42057780},
      {4, 0x41F00000, 30, 0x42055555}, {5, 0x42480000, 50, 0x41A00000},
      {6, 0x426FC28F, 59, 0x41857780}, {7, 0x42700000, 60, 0x41855555},
      {8, 0x42700000, 60, 0x41855555}, {0xFFFFFFFF, 0x42700000, 60, 0x41855555},
  };
  for (const auto& c : cases) {
    const VideoStandard standard = Standard(SdiRate::k1500M, ScanType::kProgressive,
                                            LinkMode::kSingle, 1080, FrameRate{c.rate});
    EXPECT_EQ(std::bit_cast<std::uint32_t>(standard.GetFrameRate()), c.framesPerSecond) << c.rate;
    EXPECT_EQ(standard.GetFrameRateInteger(), c.whole) << c.rate;
    EXPECT_EQ(std::bit_cast<std::uint32_t>(standard.GetFramePeriodMs()), c.periodMs) << c.rate;
  }
}

TEST(VideoStandard, LinkNameCountsInCopiesOnly) {
  EXPECT_EQ(GetVideoStandard(15).GetLinkName(), "1920x1080i 50");
  EXPECT_EQ(GetVideoStandard(64).GetLinkName(), "3840x2160p 50 QL A 2SI Link 3");
  VideoStandard copy = GetVideoStandard(64);
  copy.SetLinkNumber(255);
  EXPECT_EQ(copy.GetLinkName(), "3840x2160p 50 QL A 2SI Link 255");
  EXPECT_EQ(GetVideoStandard(64).linkNumber, 3);
  EXPECT_EQ(Standard(SdiRate::k1500M, ScanType::kProgressive, LinkMode::kDual, 1).GetLinkName(),
            "Test Link 1");
}

TEST(Video, TwoStreamEquivalentIsTheRowOfTheSameRate) {
  sim::Board& board = sim::Board::Get();
  const struct {
    int id, equivalent;
  } cases[] = {
      {0, 0},    {5, 5},    {20, 20},  {33, 33},  {-1, -1},  {180, 180}, {47, 47},  // own id
      {57, 18},  {58, 19},  {59, 20},  {60, 24},  {61, 25},                         // 6G
      {86, 34},  {93, 35},  {94, 36},  {101, 37}, {102, 38},                        // PsF
      {106, 18}, {113, 19}, {114, 20}, {121, 24}, {125, 25},                        // SDM
      {62, 39},  {82, 41},  {133, 40}, {138, 39}, {140, 41},                        // to 60
      {141, 39}, {160, 40}, {176, 41}, {177, 39}, {178, 40}, {179, 41},             // 4096
  };
  for (const auto& c : cases) {
    EXPECT_EQ(GetTwoStreamEquivalent(c.id), c.equivalent) << c.id;
  }
  EXPECT_TRUE(board.log.All().empty());
  EXPECT_EQ(GetTwoStreamEquivalent(3) | GetTwoStreamEquivalent(4), 0);
  const std::string text = "Unable to determine two-stream equiv for Fake Sim ";
  EXPECT_EQ(board.log.Messages(3), (std::vector<std::string>{text + "2SI", text + "SDM"}));
}

TEST(Video, DetectsStandardsByTheirTiming) {
  const struct {
    float line, frame;  // ticks
    int interlaced, progressive;
  } cases[] = {
      {1716.0F, 900900.0F, 5, 0},    {1728.0F, 1080000.0F, 6, 0}, {960.0F, 1080000.0F, 15, 20},
      {800.8F, 900900.0F, 16, 24},   {800.0F, 900000.0F, 17, 25}, {1001.0F, 1126125.0F, 34, 18},
      {1000.0F, 1125000.0F, 35, 19}, {1501.5F, 1126125.0F, 0, 7}, {1500.0F, 1125000.0F, 0, 8},
      {600.6F, 450450.0F, 0, 13},    {480.0F, 540000.0F, 0, 39},  {400.4F, 450450.0F, 0, 40},
      {400.0F, 450000.0F, 0, 41},    {800.0F, 176000.0F, 1, 0},   {400.0F, 80000.0F, 0, 2},
      {480.0F, 96000.0F, 0, 4}};
  for (const auto& c : cases) {
    EXPECT_EQ(DetectVideoStandard(c.line, c.frame / 2, c.frame / 2, 0.0F), c.interlaced) << c.line;
    EXPECT_EQ(DetectVideoStandard(c.line, 7.0F, 0.0F, c.frame), c.progressive) << c.line;
  }
  // Both field periods count, and the frame period then doesn't.
  EXPECT_EQ(DetectVideoStandard(1728.0F, 540864.0F, 539136.0F, 900900.0F), 6);
}

TEST(Video, DetectionEndsAtItsLimits) {
  const auto detect = [](float line, float frame) {
    return DetectVideoStandard(line, frame, 0.0F, frame);
  };
  const struct {
    float line, frame;
    int id;
  } cases[] = {{720.0F, 541000.0F, 12},  {720.0F, 539000.0F, 12},  {720.0F, 541001.0F, 0},
               {720.0F, 538999.0F, 0},   {770.0F, 540000.0F, 12},  {670.0F, 540000.0F, 12},
               {770.125F, 540000.0F, 0}, {669.875F, 540000.0F, 0}, {0.0F, 0.0F, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(detect(c.line, c.frame), c.id) << c.line << " " << c.frame;
  }
  // 1125562.5 lies midway between 24 and 23.98 frames. Parts of a tick don't count, and of equally
  // near rows the first one wins.
  EXPECT_EQ(detect(1500.0F, 1125563.0F), 7);
  EXPECT_EQ(detect(1500.0F, 1125562.25F), 7);
  EXPECT_EQ(detect(1500.0F, 1125562.0F), 8);
  const float nan = std::numeric_limits<float>::quiet_NaN();  // what no counter gives
  for (const float strange : {nan, INFINITY, -INFINITY, FLT_MAX, -FLT_MAX}) {
    EXPECT_EQ(detect(strange, strange), 0);
    EXPECT_EQ(detect(720.0F, strange), 0);
    EXPECT_EQ(DetectVideoStandard(960.0F, strange, strange, 0.0F), 0);
    EXPECT_EQ(detect(strange, 540000.0F), 0);
  }
}

TEST(Video, TextsOfSignals) {
  const auto all = [](auto name) {
    std::string texts;
    for (const std::uint32_t value : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 0xFFFFFFFFU}) {
      texts += (value == 0 ? "" : ", ") + std::string(name(value));
    }
    return texts;
  };
  EXPECT_EQ(all(GetBitRateName),
            "270 Mbps, 1.5 Gbps, 3.0 Gbps Level A, 3.0 Gbps Level B, 6.0 Gbps, 12.0 Gbps, UNKNOWN, "
            "UNKNOWN");
  EXPECT_EQ(all(GetRangeName),
            "Legal Range, Full Range, Expanded Range, Legal Range, Legal Range, Legal Range, Legal "
            "Range, Legal Range");
  EXPECT_EQ(all(GetTransferName), "SDR, PQ, HLG, SLOG3, HDR Gamma, SDR, SDR, SDR");
  EXPECT_EQ(all(GetSamplingName),
            "YCbCr 4:2:2, YCbCr 4:4:4, YCbCr 4:2:0, RGB 4:4:4, YCbCr 4:2:2, YCbCr 4:2:2, YCbCr "
            "4:2:2, YCbCr 4:2:2");
  EXPECT_EQ(all(GetColorimetryName),
            "BT.601, BT.709, BT.2020, BT.2020 ICpCt, BT.709, BT.709, BT.709, BT.709");
}

TEST(Video, FormatInWords) {
  EXPECT_EQ(GetFormatDescription(VideoFormat{}, true, true, true),
            "Unknown BT.709 YCbCr 4:2:2 SDR");
  const VideoFormat format{.standardId = 73, .sampling = 3, .colorimetry = 2, .transfer = 2};
  EXPECT_EQ(GetFormatDescription(format, true, false, true),
            "3840x2160p 60 QL A 2SI Link 4 BT.2020 HLG");
  EXPECT_EQ(GetFormatDescription(format, false, true, false),
            "3840x2160p 60 QL A 2SI BT.2020 RGB 4:4:4");
  EXPECT_EQ(GetFormatDescription({.standardId = 0xFFFFFFFF}, false, false, false),
            "Unknown BT.709");
  EXPECT_EQ(VideoFormat{}.carriedA, 1U);
}

}  // namespace
