#include "video/VideoStandardTable.h"

#include <gtest/gtest.h>

#include <climits>
#include <string>

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
  std::size_t row = 0;
  for (const int id : {INT_MIN, -5, -1, 0, 1, 25, 26, 33, 34, 179, 180, 300, INT_MAX}) {
    const bool known = (id >= 1 && id <= 25) || (id >= 34 && id <= 179);
    EXPECT_EQ(IsKnownStandard(id), known) << id;
    EXPECT_EQ(&FindVideoStandard(id) == &FindVideoStandard(0), !known) << id;
  }
  for (int id = 0; id < 180; id = id == 25 ? 34 : id + 1) {
    EXPECT_EQ(&FindVideoStandard(id), &kVideoStandards.at(row++).standard) << id;
  }
}

}  // namespace
