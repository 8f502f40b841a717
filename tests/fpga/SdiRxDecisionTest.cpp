#include "modules/SdiRxDecision.h"

#include <gtest/gtest.h>

#include <map>
#include <tuple>

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

// Standard ids without an ST 352 packet, by rate code: what isn't listed is unknown.
struct PlainIds {
  std::uint32_t raster, streams;
  bool progressive;
  std::map<std::uint32_t, std::uint32_t> idOfRate;
};

const std::vector<PlainIds> kPlainIds{
    {0, 1, false, {{2, 34}, {3, 35}, {5, 15}, {6, 16}, {7, 17}}},
    {0, 1, true, {{2, 18}, {3, 19}, {5, 20}, {6, 24}, {7, 25}, {9, 39}, {10, 40}, {11, 41}}},
    {0, 2, false, {{5, 51}, {6, 52}, {7, 53}}},
    {2, 1, true, {{2, 21}, {3, 22}, {5, 23}, {9, 42}, {10, 43}, {11, 44}}},
    {2, 2, false, {{5, 54}, {6, 55}, {7, 56}}},
};
const std::map<std::uint32_t, std::uint32_t> k720pIds{{2, 7},  {3, 8},  {5, 9},   {6, 10},
                                                      {7, 11}, {9, 12}, {10, 13}, {11, 14}};
const std::map<std::uint32_t, std::uint32_t> kWideIds{{2, 57}, {3, 58},  {5, 59},   {6, 60},
                                                      {7, 61}, {9, 138}, {10, 139}, {11, 140}};
const std::map<std::uint32_t, std::uint32_t> kWide4096Ids{{2, 57}, {3, 57},  {5, 57},   {6, 60},
                                                          {7, 61}, {9, 177}, {10, 178}, {11, 179}};

std::uint32_t IdAt(const std::map<std::uint32_t, std::uint32_t>& ids, std::uint32_t rate) {
  const auto id = ids.find(rate);
  return id != ids.end() ? id->second : 0;
}

std::uint32_t PlainId(const Report& report) {
  switch (report.raster) {
    case 1:
      return IdAt(k720pIds, report.rate);
    case 4:
      return 5;
    case 5:
      return 6;
    default:
      break;
  }
  if (report.streams == 3 && (report.raster == 0 || report.raster == 2)) {
    return IdAt(report.raster == 0 ? kWideIds : kWide4096Ids, report.rate);
  }
  for (const PlainIds& row : kPlainIds) {
    if (std::tie(row.raster, row.streams, row.progressive) ==
        std::tie(report.raster, report.streams, report.progressive)) {
      return IdAt(row.idOfRate, report.rate);
    }
  }
  return 0;
}

TEST(SdiRxDecision, EveryReportWithoutPacket) {
  for (std::uint32_t code = 0; code < 8U * 8U * 2U * 16U; ++code) {
    const Report report =
        ReportOf(code % 8, code / 8 % 8, code / 64 % 2 != 0, code / 128);  // every combination
    const VideoFormat format = sdi_rx::DecideVideoFormat(report);
    VideoFormat expected;
    expected.standardId = PlainId(report);
    if (expected.standardId == 5 || expected.standardId == 6) {
      expected.colorimetry = kBt601;
    } else if (expected.standardId != 0 && report.streams == 3 && report.raster != 1) {
      expected.colorimetry = kBt2020;
    }
    EXPECT_EQ(format, expected) << "raster " << report.raster << " streams " << report.streams
                                << " progressive " << report.progressive << " rate " << report.rate
                                << ": " << format.standardId;
  }
}

TEST(SdiRxDecision, CodesBeyondTheirFieldsAreUnknown) {
  EXPECT_EQ(sdi_rx::DecideVideoFormat(ReportOf(0xFFFFFFFF, 1, true, 9)), VideoFormat{});
  EXPECT_EQ(sdi_rx::DecideVideoFormat(ReportOf(0, 0xFFFFFFFF, true, 9)), VideoFormat{});
  EXPECT_EQ(sdi_rx::DecideVideoFormat(ReportOf(0, 1, true, 0xFFFFFFFF)), VideoFormat{});
}

TEST(SdiRxDecision, PacketTellsPsfAndLinks) {
  struct Case {
    std::uint32_t raster, streams;
    bool progressive;
    std::uint32_t rate, packet, id;
  };
  constexpr std::uint32_t kPsf = 1U << 14;
  const std::vector<Case> cases{
      // A progressive picture in an interlaced transport; at 23.98 and 24 there is no other.
      {0, 1, false, 5, kPsf, 36},
      {0, 1, false, 6, kPsf, 37},
      {0, 1, false, 7, kPsf, 38},
      {0, 1, false, 7, ~kPsf, 17},
      {0, 1, false, 2, 0, 34},
      {0, 1, true, 5, kPsf, 20},
      // Links: the payload byte, and the link in bits 30 and 29.
      {0, 1, true, 9, 0x0180C997, 62},
      {0, 1, true, 9, 0x2180C997, 63},
      {0, 1, true, 10, 0x4180CA97, 68},
      {0, 1, true, 11, 0x6180CB97, 73},
      {0, 1, true, 11, 0x8180CB97, 70},  // bit 31 is no part of it
      {2, 1, true, 9, 0x2140C997, 142},
      {2, 1, true, 10, 0x0140CA97, 145},
      {2, 1, true, 11, 0x6140CB97, 152},
      {0, 2, false, 5, 0x00000098, 74},
      {0, 2, false, 6, 0x20000098, 79},
      {0, 2, false, 7, 0x40000098, 84},
      {2, 2, false, 5, 0x60000098, 156},
      {2, 2, false, 6, 0x00000098, 157},
      {2, 2, false, 7, 0x60000098, 164},
      // The payload byte of the other family, of none, or at a rate without links.
      {0, 1, true, 9, 0x2180C998, 39},
      {0, 2, false, 5, 0x2180C997, 51},
      {2, 2, false, 7, 0x6140CB97, 56},
      {0, 1, true, 10, 0x0100CA89, 40},
      {0, 1, true, 7, 0x2180C997, 25},
      {0, 3, true, 9, 0x2180C997, 138},
  };
  for (const Case& c : cases) {
    Report report = ReportOf(c.raster, c.streams, c.progressive, c.rate);
    report.st352Valid = true;
    report.st352Packet = c.packet;
    EXPECT_EQ(sdi_rx::DecideVideoFormat(report).standardId, c.id) << std::hex << c.packet;
    // A word that isn't valid says nothing.
    report.st352Valid = false;
    EXPECT_EQ(sdi_rx::DecideVideoFormat(report).standardId, PlainId(report))
        << std::hex << c.packet;
  }
}

TEST(SdiRxDecision, PacketTellsThePicture) {
  struct Case {
    std::uint32_t mode, packet, colorimetry, transfer;
  };
  const std::vector<Case> cases{
      {0, 0xFFFFFFFF, kBt709, 0},  {1, 0x00800000, kBt2020, 0}, {1, 0x00200000, kBt709, 0},
      {1, 0x00001000, kBt709, 2},  {2, 0x00200000, kBt2020, 0}, {2, 0x00300000, kBt709, 0},
      {2, 0x00100000, kBt709, 0},  {2, 0x00800000, kBt709, 0},  {3, 0x00201000, kBt2020, 2},
      {4, 0x00202000, kBt2020, 1}, {5, 0x00003000, kBt709, 0},  {7, 0x00202000, kBt2020, 1},
  };
  for (const Case& c : cases) {
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

TEST(SdiRxDecision, LockedText) {
  struct Case {
    std::uint32_t mode, raster, streams, rate;
    bool fractional, progressive;
    const char* text;
  };
  const std::vector<Case> cases{
      {0, 4, 0, 6, true, false, "Locked 270M 720x486 1 Stream 29.97 FPS Frac:1 Prog:0"},
      {0, 5, 0, 5, false, false, "Locked 270M 720x576 1 Stream 25 FPS Frac:0 Prog:0"},
      {1, 1, 1, 10, true, true, "Locked 1.5G 1280x720 2 Streams 59.94 FPS Frac:1 Prog:1"},
      {1, 2, 1, 2, true, true, "Locked 1.5G 2048x1080 2 Streams 23.98 FPS Frac:1 Prog:1"},
      {2, 0, 1, 11, false, true, "Locked 3G (A) 1920x1080 2 Streams 60 FPS Frac:0 Prog:1"},
      {3, 0, 2, 7, false, false, "Locked 3G (B) 1920x1080 4 Streams 30 FPS Frac:0 Prog:0"},
      {4, 0, 3, 3, false, true, "Locked 6G 1920x1080 8 Streams 24 FPS Frac:0 Prog:1"},
      {5, 0, 4, 9, false, true, "Locked 12G 1920x1080 16 Streams 50 FPS Frac:0 Prog:1"},
      {1, 0, 1, 4, true, true, "Locked 1.5G 1920x1080 2 Streams 47.95 FPS Frac:1 Prog:1"},
      {1, 0, 1, 8, false, true, "Locked 1.5G 1920x1080 2 Streams 48 FPS Frac:0 Prog:1"},
      {6, 3, 5, 1, false, false,
       " Unknown Data Rate Unknown Transport Unknown Streams Unknown FPS Frac:0 Prog:0"},
      {7, 6, 7, 12, false, true,
       " Unknown Data Rate Unknown Transport Unknown Streams Unknown FPS Frac:0 Prog:1"},
  };
  for (const Case& c : cases) {
    Report report = ReportOf(c.raster, c.streams, c.progressive, c.rate);
    report.mode = c.mode;
    report.fractional = c.fractional;
    EXPECT_EQ(sdi_rx::LockedText(report), c.text);
  }
}

}  // namespace
