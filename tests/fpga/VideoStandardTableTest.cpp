#include "video/VideoStandardTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <bit>
#include <climits>
#include <string>
#include <vector>

#include "log/Log.h"

namespace {

// All fields in their order.
std::string Text(const VideoStandard& s) {
  return FormatMessage(
             "%s|%s|%u %u %u %u|%u %u %u|%u %u %u %u|%u %u|", s.name.c_str(), s.shortName.c_str(),
             static_cast<unsigned>(s.sdiRate), static_cast<unsigned>(s.scanType), s.fractional,
             s.segmentedOrFilm, s.activeSamples, s.totalSamples, s.totalLines, s.field1FirstLine,
             s.field1Lines, s.field2FirstLine, s.field2Lines, s.fieldMarkLine1, s.fieldMarkLine2) +
         FormatMessage("%u %u|%u %u|%u %u %u|%.6g %.6g|%u %u %u|%u %u %u|%08X %u %u",
                       static_cast<unsigned>(s.frameRate), s.fieldCode, s.refLine, s.refSample,
                       s.switchLine1, s.switchLine2, s.auxLines, static_cast<double>(s.linePeriod),
                       static_cast<double>(s.activeOffset), s.dataStreams, s.framesyncVideoType,
                       s.sdiRxVideoType, static_cast<unsigned>(s.division),
                       static_cast<unsigned>(s.linkMode), s.linkNumber, s.payloadId, s.payloadLine1,
                       s.payloadLine2);
}

TEST(VideoStandardTable, RowsHoldEveryColumn) {
  struct Case {
    int id;
    std::string text;
  };
  const std::vector<Case> cases{
      {0, "Unknown|XXXX|0 0 1 0|1 1 1|1 1 1 1|1 1|7 1|1 1|1 1 1|1 1|1 0 0|0 0 1|00000000 0 0"},
      {5,
       "525i 59.94|5i59|0 1 1 0|720 858 525|23 240 283 240|4 266|3 3|6 350|10 273 13|"
       "1716 244|1 0 0|0 0 1|01000681 13 276"},
      {13,
       "1280x720p 59.94|7p59|1 0 1 0|1280 1650 750|26 720 0 0|746 0|6 0|6 618|7 7 28|"
       "600.6 260|2 8 8|0 0 1|01004A84 10 0"},
      {34,
       "1920x1080psf 23.98|1s23|1 2 1 1|1920 2750 1125|21 540 584 540|1 564|0 3|6 848|"
       "7 569 25|1001 192|2 21 21|0 0 1|01004285 10 572"},
      {131,
       "3840x2160p 59.94 QL A SDM|2p59|2 0 1 0|1920 2200 1125|42 1080 0 0|1122 0|6 0|"
       "6 848|7 7 42|400.4 192|2 19 19|2 2 2|0180CA89 10 0"},
      {178,
       "4096x2160p 59.94 12G|4k2p59|5 0 1 0|2048 2200 1125|42 1080 0 0|1122 0|6 0|6 848|"
       "7 7 42|400.4 192|8 27 17|1 0 1|0140CACE 10 0"},
  };
  for (const Case& row : cases) {
    EXPECT_EQ(Text(FindVideoStandard(row.id)), row.text) << row.id;
  }
}

// Every column of every row at once: the digest is of the hardware's own list of formats, so that
// no cell changes by accident. FNV-1a, 64 bits.
TEST(VideoStandardTable, NoCellDiffersFromTheListOfFormats) {
  std::uint64_t digest = 0xCBF29CE484222325;
  for (const VideoStandardRow& row : kVideoStandards) {
    for (const char c : std::to_string(row.id) + '|' + Text(row.standard) + '\n') {
      digest = (digest ^ static_cast<unsigned char>(c)) * 0x100000001B3;
    }
  }
  EXPECT_EQ(digest, 0x642CC32ACA625E06U);
}

TEST(VideoStandardTable, EachTimingClassHasItsColumns) {
  // One id of each class, with the columns that tell the classes apart.
  struct Case {
    int rows;  // of the whole class
    int id;
    int totalSamples, totalLines;
    int frameRate, fractional, segmentedOrFilm;
    int field1Lines, auxLines, payloadLine2;
    float linePeriod;
  };
  const std::array<Case, 35> classes{{
      {1, 0, 1, 1, 7, 1, 0, 1, 1, 0, 1.0F},
      {1, 1, 300, 220, 4, 0, 0, 100, 42, 572, 800.0F},
      {2, 2, 300, 200, 7, 0, 0, 200, 42, 0, 400.0F},
      {1, 4, 300, 200, 5, 0, 0, 200, 42, 0, 480.0F},
      {1, 5, 858, 525, 3, 1, 0, 240, 13, 276, 1716.0F},
      {1, 6, 864, 625, 2, 0, 0, 288, 11, 322, 1728.0F},
      {1, 7, 4125, 750, 0, 1, 1, 720, 17, 0, 1501.5F},
      {1, 8, 4125, 750, 1, 0, 1, 720, 17, 0, 1500.0F},
      {1, 9, 3960, 750, 2, 0, 0, 720, 13, 0, 1440.0F},
      {1, 10, 3300, 750, 3, 1, 0, 720, 14, 0, 1201.2F},
      {1, 11, 3300, 750, 4, 0, 0, 720, 14, 0, 1200.0F},
      {1, 12, 1980, 750, 5, 0, 0, 720, 25, 0, 720.0F},
      {1, 13, 1650, 750, 6, 1, 0, 720, 28, 0, 600.6F},
      {1, 14, 1650, 750, 7, 0, 0, 720, 28, 0, 600.0F},
      {1, 15, 2640, 1125, 2, 0, 0, 540, 19, 572, 960.0F},
      {1, 16, 2200, 1125, 3, 1, 0, 540, 21, 572, 800.8F},
      {1, 17, 2200, 1125, 4, 0, 0, 540, 21, 572, 800.0F},
      {2, 21, 2750, 1125, 0, 1, 1, 1080, 25, 572, 1001.0F},
      {2, 22, 2750, 1125, 1, 0, 1, 1080, 25, 572, 1000.0F},
      {2, 23, 2640, 1125, 2, 0, 0, 1080, 19, 572, 960.0F},
      {1, 24, 2200, 1125, 3, 1, 0, 1080, 21, 572, 800.8F},
      {1, 25, 2200, 1125, 4, 0, 0, 1080, 21, 572, 800.0F},
      {5, 89, 2750, 1125, 0, 1, 1, 540, 25, 572, 1001.0F},
      {5, 90, 2750, 1125, 1, 0, 1, 540, 25, 572, 1000.0F},
      {5, 97, 2640, 1125, 2, 0, 1, 540, 19, 572, 960.0F},
      {5, 98, 2200, 1125, 3, 1, 1, 540, 21, 572, 800.8F},
      {5, 105, 2200, 1125, 4, 0, 1, 540, 21, 572, 800.0F},
      {32, 177, 2640, 1125, 5, 0, 0, 1080, 37, 0, 480.0F},
      {32, 160, 2200, 1125, 6, 1, 0, 1080, 42, 0, 400.4F},
      {32, 179, 2200, 1125, 7, 0, 0, 1080, 42, 0, 400.0F},
      {5, 109, 2750, 1125, 0, 1, 1, 1080, 25, 0, 1001.0F},
      {5, 110, 2750, 1125, 1, 0, 1, 1080, 25, 0, 1000.0F},
      {5, 59, 2640, 1125, 2, 0, 0, 1080, 19, 0, 960.0F},
      {5, 121, 2200, 1125, 3, 1, 0, 1080, 21, 0, 800.8F},
      {5, 61, 2200, 1125, 4, 0, 0, 1080, 21, 0, 800.0F},
  }};
  const auto has = [](const VideoStandard& s, const Case& c) {
    return s.totalSamples == c.totalSamples && s.totalLines == c.totalLines &&
           static_cast<int>(s.frameRate) == c.frameRate && s.fractional == c.fractional &&
           s.segmentedOrFilm == c.segmentedOrFilm && s.field1Lines == c.field1Lines &&
           s.auxLines == c.auxLines && s.payloadLine2 == c.payloadLine2 &&
           std::bit_cast<std::uint32_t>(s.linePeriod) == std::bit_cast<std::uint32_t>(c.linePeriod);
  };
  for (const Case& timing : classes) {
    EXPECT_TRUE(has(FindVideoStandard(timing.id), timing)) << timing.id;
    EXPECT_EQ(std::ranges::count_if(
                  kVideoStandards,
                  [&](const VideoStandardRow& row) { return has(row.standard, timing); }),
              timing.rows)
        << timing.id;
  }
}

TEST(VideoStandardTable, LookUpIsTotal) {
  ASSERT_EQ(kVideoStandards.size(), 172U);
  const VideoStandard& unknown = FindVideoStandard(0);
  std::size_t row = 0;
  for (int id = -5; id < 300; ++id) {
    const bool assigned = (id >= 0 && id <= 25) || (id >= 34 && id <= 179);
    if (assigned) {
      EXPECT_EQ(kVideoStandards.at(row).id, id);
      EXPECT_EQ(&FindVideoStandard(id), &kVideoStandards.at(row).standard);
      ++row;
    } else {
      EXPECT_EQ(&FindVideoStandard(id), &unknown) << id;
    }
  }
  EXPECT_EQ(&FindVideoStandard(INT_MIN), &unknown);
  EXPECT_EQ(&FindVideoStandard(INT_MAX), &unknown);
}

TEST(VideoStandardTable, LinesOfSeveralRowsExpand) {
  struct Case {
    int id;
    std::string name;
    int linkNumber;
    std::uint32_t payloadId;
  };
  const std::vector<Case> cases{
      {62, "3840x2160p 50 QL A 2SI", 1, 0x0180C997},
      {65, "3840x2160p 50 QL A 2SI", 4, 0x6180C997},
      {80, "3840x2160p 59.94 QL B 2SI", 3, 0x4180CA97},
      {89, "3840x2160psf 23.98 QL SDM", 1, 0x01004285},
      {117, "3840x2160p 25 QL SDM", 4, 0x0120C585},
      {146, "4096x2160p 59.94 QL A 2SI", 2, 0x2140CA97},
      {153, "4096x2160p 50 QL B 2SI", 1, 0x0140C997},
      {155, "4096x2160p 50 QL B 2SI", 3, 0x4140C997},
      {156, "4096x2160p 50 QL b 2SI", 4, 0x6140C997},  // spelled differently
      {176, "4096x2160p 60 QL A SDM", 4, 0x0140CB89},
  };
  for (const Case& row : cases) {
    const VideoStandard& standard = FindVideoStandard(row.id);
    EXPECT_EQ(standard.name, row.name) << row.id;
    EXPECT_EQ(standard.linkNumber, row.linkNumber) << row.id;
    EXPECT_EQ(standard.payloadId, row.payloadId) << row.id;
  }
}

TEST(VideoStandardTable, CodesOfTheTwoCoresDifferOnTenRows) {
  std::string different;
  for (const auto& [id, standard] : kVideoStandards) {
    if (standard.framesyncVideoType != standard.sdiRxVideoType) {
      different +=
          FormatMessage("%d:%u/%u ", id, standard.framesyncVideoType, standard.sdiRxVideoType);
    }
  }
  EXPECT_EQ(different,
            "165:26/27 166:26/27 167:26/27 168:26/27 169:27/26 170:27/26 171:27/26 172:27/26 "
            "177:26/16 178:27/17 ");
}

}  // namespace
