// Resets, frame memory and the set-up for a format.

#include <utility>

#include "FramesyncFixture.h"

namespace {

using sim::LogRecord;

using FramesyncTest = FramesyncFixture;

TEST_F(FramesyncTest, ResetsAndBypassAreSingleWrites) {
  const auto reset = Writes({{"reset", 1}, {"reset", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.Reset(); }), reset);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{7, "Hold In Reset"}, {7, "Release From Reset"}}));
  const auto bypass = Writes({{"bypassFramesync", 1}, {"bypassFramesync", 0}});
  EXPECT_EQ(AccessesOf([&] {
              framesync.SetBypass(true);
              framesync.SetBypass(false);
            }),
            bypass);
}

TEST_F(FramesyncTest, SetupLoadsTheWholeImageInOrder) {
  EXPECT_TRUE(AccessesOf([&] { framesync.SetMemoryRegion(0x20000000, 0x20000000); }).empty());
  const auto image = Writes({{"reset", 1},
                             {"loadRegs", 0},
                             {"validLineNumber", 7},
                             {"feSofResetSample", 800},
                             {"beSofResetSample", 50},
                             {"numBufs", 20},
                             {"baseAddr", 0x800000},
                             {"imgSize", 118528},
                             {"maxPending", 1},
                             {"readBurstNum", 463},
                             {"writeBurstNum", 463},
                             {"readBurstSize", 256},
                             {"writeBurstSize", 256},
                             {"readThreshold", 260},
                             {"writeThreshold", 255},
                             {"totalReadBurstNum", 463},
                             {"totalWriteBurstNum", 463},
                             {"readLastBurstSize", 15},
                             {"writeLastBurstSize", 15},
                             {"readStart", 0},
                             {"writeStart", 1},
                             {"frameDelay", 1},
                             {"readEnable", 1},
                             {"writeEnable", 1},
                             {"packMode", 0},
                             {"loadRegs", 1},
                             {"videoType", 10},
                             {"patternVideoType", 10},
                             {"reset", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetupFormat(15); }), image);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{
                {6, "Setting up framesync1 for input video 1920x1080i 50"},
                {7,
                 "Total samples is 2957160, memory_line_size is 118287, memory burst num is 463, "
                 "memory leftover burst size is 15"},
                {7, "Set numBufs to 20"},
                {7, "FPGA Video type set to 10"}}));
  // The words that result, worked out from the hardware's map.
  const std::map<std::uint32_t, std::uint32_t> words{
      {0, 0x8073CC82},  {4, 0xADC3965A},  {8, 0x83C3965A},  {12, 0xC003965A}, {16, 0xA50001CF},
      {20, 0xA5C001CF}, {24, 0xA5C001CF}, {28, kGarbage},   {32, kGarbage},   {36, 0xA5C0A65A},
      {40, 0x04800000}, {44, 0xA501CF00}, {48, 0x841FE104}, {52, 0xA0001007}, {56, kGarbage},
      {60, 0xA03F0A52}, {136, 0xA5C39032}};
  for (const auto& [offset, word] : words) {
    EXPECT_EQ(core.Word(offset), word) << "offset " << offset;
  }
}

TEST_F(FramesyncTest, SetupIgnoresWhatIsUpAlreadyAndWhatIsNoStandard) {
  framesync.SetupFormat(39);
  EXPECT_TRUE(AccessesOf([&] {
                for (const std::uint32_t id : {39U, 0U, 26U, 33U, 180U, 0x80000027U, 0xFFFFFFFFU}) {
                  framesync.SetupFormat(id);
                }
                framesync.SetupFormat(39);
              }).empty());
  EXPECT_TRUE(board.log.All().empty());
}

TEST_F(FramesyncTest, SetupFollowsTheStreams) {
  struct Case {
    std::uint32_t id, packMode, videoType, bursts, lastBurst;
  };
  for (const Case c : {Case{5, 0, 0, 70, 213}, Case{39, 0, 18, 463, 92}, Case{62, 2, 18, 1927, 124},
                       Case{140, 2, 20, 1605, 56}, Case{177, 2, 26, 1927, 103}}) {
    framesync.SetupFormat(c.id);
    EXPECT_EQ(core.Get("packMode"), c.packMode) << c.id;
    EXPECT_EQ(core.Get("videoType"), c.videoType) << c.id;
    EXPECT_EQ(core.Get("patternVideoType"), c.videoType) << c.id;
    EXPECT_EQ(core.Get("totalWriteBurstNum"), c.bursts) << c.id;
    EXPECT_EQ(core.Get("readLastBurstSize"), c.lastBurst) << c.id;
  }
}

TEST_F(FramesyncTest, MemoryBaseIsRoundedUpTo16KiB) {
  std::uint32_t id = 5;
  for (const auto& [bytes, units] :
       std::vector<std::pair<std::uint32_t, std::uint32_t>>{{0x4000, 256},
                                                            {0x4040, 512},
                                                            {0x2000, 256},
                                                            {0x3F, 0},
                                                            {0x603F, 512},
                                                            {0xC03F, 0x300},
                                                            {0x60000000, 0x1800000},
                                                            {0xFFFFBFC0, 0x3FFFF00}}) {
    framesync.SetMemoryRegion(bytes, 0x20000000);
    framesync.SetupFormat(id++);
    EXPECT_EQ(core.Get("baseAddr"), units) << std::hex << bytes;
  }
}

TEST_F(FramesyncTest, DelayStaysInsideTheRing) {
  auto writes = Writes({{"frameDelay", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetFrameDelay(1); }), writes);  // one buffer before a set-up
  framesync.SetFrameDelay(3);
  framesync.SetupFormat(15);
  EXPECT_EQ(core.Get("frameDelay"), 3U);
  writes = Writes({{"frameDelay", 19}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetFrameDelay(100); }), writes);
  framesync.SetFrameDelay(0);
  EXPECT_EQ(core.Get("frameDelay"), 0U);
}

}  // namespace
