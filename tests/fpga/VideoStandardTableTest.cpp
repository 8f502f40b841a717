#include "video/VideoStandardTable.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <string>
#include <vector>

#include "log/Log.h"
#include "video/Video.h"

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
    EXPECT_EQ(IsKnownStandard(id), assigned && id != 0) << id;
  }
  EXPECT_EQ(&FindVideoStandard(INT_MIN), &unknown);
  EXPECT_EQ(&FindVideoStandard(INT_MAX), &unknown);
}

}  // namespace
