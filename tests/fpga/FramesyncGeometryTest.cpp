#include "modules/FramesyncGeometry.h"

#include <gtest/gtest.h>

#include <array>

#include "video/VideoStandardTable.h"

namespace framesync {
namespace {

TEST(FramesyncGeometry, OfFormats) {
  struct Case {
    int id;
    FrameGeometry geometry;
  };
  const std::array cases{
      Case{5, {446910, 17877, {70, 213, 17920}}},        // one stream, 525 lines
      Case{6, {536060, 21443, {84, 195, 21504}}},        // one stream, 625 lines
      Case{15, {2957160, 118287, {463, 15, 118528}}},    // interlaced
      Case{36, {2957160, 118287, {463, 15, 118528}}},    // segmented: like interlaced
      Case{39, {2959080, 118364, {463, 92, 118528}}},    // progressive
      Case{57, {3082830, 513805, {2008, 13, 514048}}},   // eight streams
      Case{62, {2959080, 493180, {1927, 124, 493312}}},  // eight streams over four links
      Case{140, {2464080, 410680, {1605, 56, 410880}}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(GeometryOf(GetVideoStandard(c.id)), c.geometry) << "id " << c.id;
  }
}

TEST(FramesyncGeometry, ShortRestJoinsTheBurstBeforeIt) {
  EXPECT_EQ(LayOutBursts(1024), (BurstLayout{4, 256, 1024}));
  EXPECT_EQ(LayOutBursts(1025), (BurstLayout{4, 257, 1280}));
  EXPECT_EQ(LayOutBursts(1026), (BurstLayout{4, 258, 1280}));
  EXPECT_EQ(LayOutBursts(1027), (BurstLayout{5, 3, 1280}));
  EXPECT_EQ(LayOutBursts(1279), (BurstLayout{5, 255, 1280}));
}

// Whatever the table holds: the last burst is one that the core can handle, the bursts are the
// frame, and the values fit their fields.
TEST(FramesyncGeometry, HoldsForEveryRow) {
  for (const VideoStandardRow& row : kVideoStandards) {
    if (row.id == 0) {
      continue;
    }
    const FrameGeometry geometry = GeometryOf(row.standard);
    const BurstLayout& layout = geometry.layout;
    EXPECT_GE(layout.lastBurst, 3U) << row.id;
    EXPECT_LE(layout.lastBurst, 258U) << row.id;
    EXPECT_EQ((layout.bursts - 1) * 256 + layout.lastBurst, geometry.words) << row.id;
    EXPECT_EQ(layout.imageSize % 256, 0U) << row.id;
    EXPECT_LT(layout.bursts, 1U << 16) << row.id;
    EXPECT_LT(layout.imageSize, 1U << 24) << row.id;
  }
}

TEST(FramesyncGeometry, StreamsThatNoRowHas) {
  VideoStandard fourStreams = GetVideoStandard(39);
  fourStreams.linkMode = LinkMode::kDual;
  EXPECT_EQ(GeometryOf(fourStreams).words, 246590U);  // 12 samples to a word
  EXPECT_EQ(PackModeOf(fourStreams.GetNumStreams()), 1U);

  VideoStandard manyStreams = GetVideoStandard(140);
  manyStreams.linkMode = LinkMode::kQuad;
  EXPECT_EQ(GeometryOf(manyStreams).words, 1U);
  EXPECT_EQ(PackModeOf(manyStreams.GetNumStreams()), std::nullopt);
}

}  // namespace
}  // namespace framesync
