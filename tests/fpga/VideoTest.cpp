#include "video/Video.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cfloat>
#include <cmath>
#include <limits>
#include <vector>

#include "sim/Board.h"
#include "video/VideoStandardTable.h"

namespace {

// A standard with the given picture; what else it says doesn't matter.
VideoStandard Standard(SdiRate rate, ScanType scan, LinkMode links, std::uint16_t lines,
                       FrameRate frames = FrameRate::k25) {
  return {
      "Test", "T", rate,   scan, 0, 0,      1920,  2640, 1125, 1, lines, 0, 0,
      0,      0,   frames, 0,    1, 1,      7,     7,    42,   2, 0,     0, PictureDivision::kNone,
      links,  1,   0,      10,   0, 960.0F, 192.0F};
}

TEST(VideoStandard, PictureSize) {
  const auto size = [](int id) {
    const VideoStandard& standard = GetVideoStandard(id);
    return std::array{standard.GetFrameWidth(), standard.GetFrameHeight()};
  };
  EXPECT_EQ(size(1), (std::array{240U, 200U}));
  EXPECT_EQ(size(2), (std::array{240U, 200U}));
  EXPECT_EQ(size(3), (std::array{480U, 400U}));
  EXPECT_EQ(size(4), (std::array{480U, 400U}));
  EXPECT_EQ(size(5), (std::array{720U, 480U}));
  EXPECT_EQ(size(14), (std::array{1280U, 720U}));
  EXPECT_EQ(size(17), (std::array{1920U, 1080U}));
  EXPECT_EQ(size(38), (std::array{1920U, 1080U}));
  EXPECT_EQ(size(47), (std::array{1920U, 1080U}));
  for (const auto& [id, standard] : kVideoStandards) {
    if (standard.name.starts_with("3840x2160") || standard.name.starts_with("4096x2160")) {
      EXPECT_EQ(size(id), (std::array{standard.name[0] == '3' ? 3840U : 4096U, 2160U})) << id;
    }
  }
  // 16 bits hold a height.
  const auto quad = Standard(SdiRate::k1500M, ScanType::kInterlaced, LinkMode::kQuad, 0x4001);
  EXPECT_EQ(quad.GetFrameHeight(), 4U);
}

TEST(VideoStandard, StreamsOfAllLinks) {
  EXPECT_EQ(GetVideoStandard(6).GetNumStreams(), 1U);
  EXPECT_EQ(GetVideoStandard(15).GetNumStreams(), 2U);
  EXPECT_EQ(GetVideoStandard(41).GetNumStreams(), 2U);
  EXPECT_EQ(GetVideoStandard(50).GetNumStreams(), 2U);
  EXPECT_EQ(GetVideoStandard(57).GetNumStreams(), 8U);
  EXPECT_EQ(GetVideoStandard(62).GetNumStreams(), 8U);
  EXPECT_EQ(GetVideoStandard(105).GetNumStreams(), 8U);
  EXPECT_EQ(GetVideoStandard(179).GetNumStreams(), 8U);
  const auto progressive = ScanType::kProgressive;
  EXPECT_EQ(Standard(SdiRate::k1500M, progressive, LinkMode::kDual, 1).GetNumStreams(), 4U);
  EXPECT_EQ(Standard(SdiRate::k12G, progressive, LinkMode::kQuad, 1).GetNumStreams(), 32U);
  EXPECT_EQ(Standard(SdiRate{6}, progressive, LinkMode::kSingle, 1).GetNumStreams(), 2U);
}

TEST(VideoStandard, RatesAreTheDecimalNumbersBitByBit) {
  struct Case {
    std::uint32_t rate;
    std::uint32_t framesPerSecond;  // as a 32-bit float
    int whole;
    std::uint32_t periodMs;  // as a 32-bit float
  };
  const std::vector<Case> cases{
      {0, 0x41BFD70A, 23, 0x4226CE40}, {1, 0x41C00000, 24, 0x4226AAAB},
      {2, 0x41C80000, 25, 0x42200000}, {3, 0x41EFC28F, 29, 0x42057780},
      {4, 0x41F00000, 30, 0x42055555}, {5, 0x42480000, 50, 0x41A00000},
      {6, 0x426FC28F, 59, 0x41857780}, {7, 0x42700000, 60, 0x41855555},
      {8, 0x42700000, 60, 0x41855555}, {0xFFFFFFFF, 0x42700000, 60, 0x41855555},
  };
  for (const Case& c : cases) {
    const VideoStandard standard = Standard(SdiRate::k1500M, ScanType::kProgressive,
                                            LinkMode::kSingle, 1080, FrameRate{c.rate});
    EXPECT_EQ(std::bit_cast<std::uint32_t>(standard.GetFrameRate()), c.framesPerSecond) << c.rate;
    EXPECT_EQ(standard.GetFrameRateInteger(), c.whole) << c.rate;
    EXPECT_EQ(std::bit_cast<std::uint32_t>(standard.GetFramePeriodMs()), c.periodMs) << c.rate;
  }
  EXPECT_EQ(GetVideoStandard(0).GetFrameRate(), 60.0F);
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
  struct Case {
    int id, equivalent;
  };
  const std::vector<Case> cases{
      {0, 0},    {5, 5},    {20, 20},  {33, 33},  {-1, -1},  {180, 180}, {47, 47},  // own id
      {57, 18},  {58, 19},  {59, 20},  {60, 24},  {61, 25},                         // 6G
      {86, 34},  {93, 35},  {94, 36},  {101, 37}, {102, 38},                        // PsF
      {106, 18}, {113, 19}, {114, 20}, {121, 24}, {125, 25},                        // SDM
      {62, 39},  {82, 41},  {133, 40}, {138, 39}, {140, 41},                        // to 60
      {141, 39}, {160, 40}, {176, 41}, {177, 39}, {178, 40}, {179, 41},             // 4096
  };
  for (const Case& c : cases) {
    EXPECT_EQ(GetTwoStreamEquivalent(c.id), c.equivalent) << c.id;
  }
  EXPECT_TRUE(board.log.All().empty());
  EXPECT_EQ(GetTwoStreamEquivalent(3), 0);
  EXPECT_EQ(GetTwoStreamEquivalent(4), 0);
  EXPECT_EQ(
      board.log.WithoutOrigins(),
      (std::vector<sim::LogRecord>{{3, "Unable to determine two-stream equiv for Fake Sim 2SI"},
                                   {3, "Unable to determine two-stream equiv for Fake Sim SDM"}}));
}

TEST(Video, DetectsStandardsByTheirTiming) {
  const auto interlaced = [](float line, float frame) {
    return DetectVideoStandard(line, frame / 2, frame / 2, 0.0F);
  };
  const auto progressive = [](float line, float frame) {
    return DetectVideoStandard(line, 7.0F, 0.0F, frame);
  };
  EXPECT_EQ(interlaced(1716.0F, 900900.0F), 5);
  EXPECT_EQ(interlaced(1728.0F, 1080000.0F), 6);
  EXPECT_EQ(interlaced(960.0F, 1080000.0F), 15);
  EXPECT_EQ(interlaced(800.8F, 900900.0F), 16);
  EXPECT_EQ(interlaced(800.0F, 900000.0F), 17);
  EXPECT_EQ(interlaced(1001.0F, 1126125.0F), 34);
  EXPECT_EQ(interlaced(1000.0F, 1125000.0F), 35);
  EXPECT_EQ(progressive(1501.5F, 1126125.0F), 7);
  EXPECT_EQ(progressive(1500.0F, 1125000.0F), 8);
  EXPECT_EQ(progressive(600.6F, 450450.0F), 13);
  EXPECT_EQ(progressive(960.0F, 1080000.0F), 20);
  EXPECT_EQ(progressive(480.0F, 540000.0F), 39);
  EXPECT_EQ(progressive(400.4F, 450450.0F), 40);
  EXPECT_EQ(progressive(400.0F, 450000.0F), 41);
  EXPECT_EQ(interlaced(800.0F, 176000.0F), 1);
  EXPECT_EQ(progressive(400.0F, 80000.0F), 2);
  EXPECT_EQ(progressive(480.0F, 96000.0F), 4);
  // Both field periods count, and the frame period then doesn't.
  EXPECT_EQ(DetectVideoStandard(1728.0F, 540864.0F, 539136.0F, 900900.0F), 6);
  EXPECT_EQ(DetectVideoStandard(1728.0F, 1080000.0F, 0.0F, 0.0F), 0);
}

TEST(Video, DetectionEndsAtItsLimits) {
  const auto detect = [](float line, float frame) {
    return DetectVideoStandard(line, frame, 0.0F, frame);
  };
  EXPECT_EQ(detect(720.0F, 541000.0F), 12);
  EXPECT_EQ(detect(720.0F, 539000.0F), 12);
  EXPECT_EQ(detect(720.0F, 541001.0F), 0);
  EXPECT_EQ(detect(720.0F, 538999.0F), 0);
  EXPECT_EQ(detect(770.0F, 540000.0F), 12);
  EXPECT_EQ(detect(670.0F, 540000.0F), 12);
  EXPECT_EQ(detect(770.125F, 540000.0F), 0);
  EXPECT_EQ(detect(669.875F, 540000.0F), 0);
  // 1125562.5 lies midway between 24 and 23.98 frames. Parts of a tick don't count, and of equally
  // near rows the first one wins.
  EXPECT_EQ(detect(1500.0F, 1125563.0F), 7);
  EXPECT_EQ(detect(1500.0F, 1125562.25F), 7);
  EXPECT_EQ(detect(1500.0F, 1125562.0F), 8);
  // Nothing measured, and what no counter gives.
  const float nan = std::numeric_limits<float>::quiet_NaN();
  EXPECT_EQ(detect(0.0F, 0.0F), 0);
  for (const float strange : {nan, INFINITY, -INFINITY, FLT_MAX, -FLT_MAX}) {
    EXPECT_EQ(detect(strange, strange), 0);
    EXPECT_EQ(detect(720.0F, strange), 0);
    EXPECT_EQ(DetectVideoStandard(960.0F, strange, strange, 0.0F), 0);
    EXPECT_EQ(detect(strange, 540000.0F), 0);
  }
}

TEST(Video, TextsOfSignals) {
  const auto all = [](auto name) {
    std::vector<std::string> texts;
    for (const std::uint32_t value : {0U, 1U, 2U, 3U, 4U, 5U, 6U, 0xFFFFFFFFU}) {
      texts.push_back(name(value));
    }
    return texts;
  };
  using Texts = std::vector<std::string>;
  EXPECT_EQ(all(GetBitRateName),
            (Texts{"270 Mbps", "1.5 Gbps", "3.0 Gbps Level A", "3.0 Gbps Level B", "6.0 Gbps",
                   "12.0 Gbps", "UNKNOWN", "UNKNOWN"}));
  const std::string legal = "Legal Range";
  EXPECT_EQ(all(GetRangeName),
            (Texts{legal, "Full Range", "Expanded Range", legal, legal, legal, legal, legal}));
  EXPECT_EQ(all(GetTransferName),
            (Texts{"SDR", "PQ", "HLG", "SLOG3", "HDR Gamma", "SDR", "SDR", "SDR"}));
  const std::string c422 = "YCbCr 4:2:2";
  EXPECT_EQ(all(GetSamplingName),
            (Texts{c422, "YCbCr 4:4:4", "YCbCr 4:2:0", "RGB 4:4:4", c422, c422, c422, c422}));
  EXPECT_EQ(all(GetColorimetryName), (Texts{"BT.601", "BT.709", "BT.2020", "BT.2020 ICpCt",
                                            "BT.709", "BT.709", "BT.709", "BT.709"}));
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
  EXPECT_FALSE(VideoFormat{} == VideoFormat{.carriedB = 1});
}

}  // namespace
