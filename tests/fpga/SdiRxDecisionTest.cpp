#include "modules/SdiRxDecision.h"

#include <gtest/gtest.h>

#include <array>
#include <map>
#include <tuple>
#include <vector>

namespace {

using sdi_rx::Report;

constexpr std::uint32_t kBt601 = 0;
constexpr std::uint32_t kBt709 = 1;
constexpr std::uint32_t kBt2020 = 2;

Report ReportOf(std::uint32_t raster, std::uint32_t streams, bool progressive, std::uint32_t rate) {
  Report report;
  report.raster = raster;
  report.streams = streams;
  report.progressive = progressive;
  report.rate = rate;
  report.mode = 2;
  return report;
}

// What each report without a packet means: the ids of the rate codes 0 to 15, and the colorimetry.
struct Ids {
  std::array<std::uint32_t, 16> byRate;
  std::uint32_t colorimetry = kBt709;
};
// clang-format off
const std::map<char, Ids> kIds{
    {'-', {{}}},
    //     0  1   2   3  4   5   6   7  8    9   10   11 12 13 14 15
    {'7', {{0, 0,  7,  8, 0,  9, 10, 11, 0,  12,  13,  14}}},
    {'i', {{0, 0, 34, 35, 0, 15, 16, 17}}},
    {'p', {{0, 0, 18, 19, 0, 20, 24, 25, 0,  39,  40,  41}}},
    {'b', {{0, 0,  0,  0, 0, 51, 52, 53}}},
    {'w', {{0, 0, 21, 22, 0, 23,  0,  0, 0,  42,  43,  44}}},
    {'v', {{0, 0,  0,  0, 0, 54, 55, 56}}},
    {'8', {{0, 0, 57, 58, 0, 59, 60, 61, 0, 138, 139, 140}, kBt2020}},
    {'9', {{0, 0, 57, 57, 0, 57, 60, 61, 0, 177, 178, 179}, kBt2020}},
    {'5', {{5, 5,  5,  5, 5,  5,  5,  5, 5,   5,   5,   5, 5, 5, 5, 5}, kBt601}},
    {'6', {{6, 6,  6,  6, 6,  6,  6,  6, 6,   6,   6,   6, 6, 6, 6, 6}, kBt601}},
};
// By raster and streams code, an interlaced transport before a progressive one.
constexpr std::array<std::array<const char*, 8>, 8> kReports{{
    {"--", "ip", "b-", "88", "--", "--", "--", "--"},  // 1920x1080
    {"77", "77", "77", "77", "77", "77", "77", "77"},  // 1280x720
    {"--", "-w", "v-", "99", "--", "--", "--", "--"},  // 2048x1080
    {"--", "--", "--", "--", "--", "--", "--", "--"},
    {"55", "55", "55", "55", "55", "55", "55", "55"},  // 720x486
    {"66", "66", "66", "66", "66", "66", "66", "66"},  // 720x576
    {"--", "--", "--", "--", "--", "--", "--", "--"},
    {"--", "--", "--", "--", "--", "--", "--", "--"},
}};
// clang-format on

// Raster, streams, progressive transport, rate code, packet, and the id it tells.
using Told =
    std::tuple<std::uint32_t, std::uint32_t, bool, std::uint32_t, std::uint32_t, std::uint32_t>;
constexpr std::uint32_t kPsf = 1U << 14;  // a progressive picture
const std::vector<Told> kTold{
    {0, 1, false, 5, kPsf, 36}, {0, 1, false, 6, kPsf, 37}, {0, 1, false, 7, kPsf, 38},
    {0, 1, true, 9, 151, 62},   {0, 1, true, 10, 151, 66},  {0, 1, true, 11, 151, 70},
    {0, 2, false, 5, 152, 74},  {0, 2, false, 6, 152, 78},  {0, 2, false, 7, 152, 82},
    {2, 1, true, 9, 151, 141},  {2, 1, true, 10, 151, 145}, {2, 1, true, 11, 151, 149},
    {2, 2, false, 5, 152, 153}, {2, 2, false, 6, 152, 157}, {2, 2, false, 7, 152, 161},
};

// Every report, without a packet and with those that could tell something.
TEST(SdiRxDecision, EveryReport) {
  std::vector<Told> told;
  for (std::uint32_t code = 0; code < 8U * 8U * 2U * 16U; ++code) {
    Report report = ReportOf(code >> 8, code >> 5 & 7, (code >> 4 & 1) != 0, code & 15);
    const Ids& ids = kIds.at(kReports.at(report.raster).at(report.streams)[code >> 4 & 1]);
    VideoFormat expected{.standardId = ids.byRate.at(report.rate)};
    expected.colorimetry = expected.standardId != 0 ? ids.colorimetry : kBt709;
    for (const std::uint32_t packet : {0U, kPsf, 151U, 152U, ~(kPsf | 8U)}) {
      report.st352Packet = packet;  // not valid: it says nothing
      report.st352Valid = false;
      ASSERT_EQ(sdi_rx::DecideVideoFormat(report), expected) << code;
      report.st352Valid = true;
      const std::uint32_t id = sdi_rx::DecideVideoFormat(report).standardId;
      if (id != expected.standardId) {
        told.emplace_back(report.raster, report.streams, report.progressive, report.rate, packet,
                          id);
      }
    }
  }
  EXPECT_EQ(told, kTold);
}

// The link stands in bits 30 and 29; bit 31 is no part of it.
TEST(SdiRxDecision, PacketTellsTheLink) {
  for (const auto& [raster, streams, progressive, rate, packet, id] : kTold) {
    Report report = ReportOf(raster, streams, progressive, rate);
    report.st352Valid = true;
    for (const std::uint32_t top : {0U, 1U, 2U, 3U, 4U, 7U}) {
      report.st352Packet = packet | top << 29 | 0x1F800000;
      EXPECT_EQ(sdi_rx::DecideVideoFormat(report).standardId, packet == kPsf ? id : id + top % 4);
    }
  }
}

TEST(SdiRxDecision, PacketTellsThePicture) {
  const struct {
    std::uint32_t mode, packet, colorimetry, transfer;
  } cases[] = {
      {0, 0xFFFFFFFF, kBt709, 0},  {1, 0x00800000, kBt2020, 0}, {1, 0x00200000, kBt709, 0},
      {1, 0x00001000, kBt709, 2},  {2, 0x00200000, kBt2020, 0}, {2, 0x00300000, kBt709, 0},
      {2, 0x00100000, kBt709, 0},  {2, 0x00800000, kBt709, 0},  {3, 0x00201000, kBt2020, 2},
      {4, 0x00202000, kBt2020, 1}, {5, 0x00003000, kBt709, 0},  {7, 0x00202000, kBt2020, 1},
  };
  for (const auto& c : cases) {
    // A standard that no bit of the packet changes: eight streams, where 709 is no default.
    Report report = ReportOf(0, 3, true, 9);
    report.mode = c.mode;
    report.st352Valid = true;
    report.st352Packet = c.packet;
    EXPECT_EQ(sdi_rx::DecideVideoFormat(report),
              (VideoFormat{138, 0, c.colorimetry, 0, c.transfer, 1, 0}))
        << c.mode << " " << std::hex << c.packet;
    report.raster = 5;  // standard definition is what it is
    EXPECT_EQ(sdi_rx::DecideVideoFormat(report), (VideoFormat{6, 0, kBt601, 0, 0, 1, 0}));
  }
}

TEST(SdiRxDecision, OneStreamIsConclusiveInStandardDefinitionAlone) {
  for (std::uint32_t raster = 0; raster < 8; ++raster) {
    EXPECT_EQ(sdi_rx::IsConclusive(ReportOf(raster, 0, true, 9)), raster == 4 || raster == 5);
    EXPECT_TRUE(sdi_rx::IsConclusive(ReportOf(raster, 4, true, 9)));
  }
}

// Every code of each field, side by side.
TEST(SdiRxDecision, LockedText) {
  constexpr std::array kModes{"Locked 270M",        "Locked 1.5G",       "Locked 3G (A)",
                              "Locked 3G (B)",      "Locked 6G",         "Locked 12G",
                              " Unknown Data Rate", " Unknown Data Rate"};
  constexpr auto kNoRaster = " Unknown Transport";
  constexpr std::array kRasters{" 1920x1080", " 1280x720", " 2048x1080", kNoRaster,
                                " 720x486",   " 720x576",  kNoRaster,    kNoRaster};
  constexpr auto kNoStreams = " Unknown Streams";
  constexpr std::array kStreams{" 1 Stream",   " 2 Streams", " 4 Streams", " 8 Streams",
                                " 16 Streams", kNoStreams,   kNoStreams,   kNoStreams};
  constexpr auto kNo = " Unknown FPS";
  constexpr std::array kRates{kNo,          kNo,       " 23.98 FPS", " 24 FPS",
                              " 47.95 FPS", " 25 FPS", " 29.97 FPS", " 30 FPS",
                              " 48 FPS",    " 50 FPS", " 59.94 FPS", " 60 FPS",
                              kNo,          kNo,       kNo,          kNo};
  for (std::uint32_t code = 0; code < 16; ++code) {
    const std::size_t i = code % 8;
    Report report = ReportOf(code % 8, code % 8, code < 6, code);
    report.mode = code % 8;
    report.fractional = code > 2;
    EXPECT_EQ(sdi_rx::LockedText(report), std::string(kModes[i]) + kRasters[i] + kStreams[i] +
                                              kRates[code] + (code > 2 ? " Frac:1" : " Frac:0") +
                                              (code < 6 ? " Prog:1" : " Prog:0"));
  }
}

}  // namespace
