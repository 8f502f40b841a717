#include "modules/FramesyncDelay.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <random>

#include "video/Video.h"
#include "video/VideoStandardTable.h"

namespace framesync {
namespace {

constexpr std::uint32_t BufCheck(std::uint32_t readBuffer, std::uint32_t writeBuffer,
                                 std::uint32_t flag, std::uint32_t writeLine) {
  return readBuffer << 23 | writeBuffer << 14 | flag << 13 | writeLine;
}

// The times are single-precision numbers, compared bit by bit. A frame of id 39 takes 20 ms.
TEST(FramesyncDelay, FromTheBufferWord) {
  struct Case {
    const char* what;
    int id;
    std::uint32_t word;
    std::int32_t frames, lines;
    float milliseconds;
  };
  const std::array cases{
      Case{"writer further down", 39, BufCheck(3, 5, 0, 100), 2, 93, 0x1.4d3a06p+5F},
      Case{"the flag counts on the reader's line alone", 39, BufCheck(3, 5, 1, 100), 2, 93,
           0x1.4d3a06p+5F},
      Case{"same line", 39, BufCheck(3, 5, 0, 7), 2, 0, 40.0F},
      Case{"same line, writer a frame ahead", 39, BufCheck(3, 5, 1, 7), 3, 0, 60.0F},
      Case{"writer further up", 39, BufCheck(5, 5, 1, 6), 0, 1124, 0x1.3fb73p+4F},
      Case{"around the ring", 39, BufCheck(19, 1, 0, 7), 2, 0, 40.0F},
      Case{"reader ahead", 39, BufCheck(511, 0, 0, 7), -491, 0, -9820.0F},
      Case{"one rounding, not two", 7, BufCheck(0, 3, 0, 8), 3, 1, 0x1.f4a3b2p+6F},
      Case{"nothing set up", 0, BufCheck(0, 0, 0, 0), 0, 0, 0.0F},
  };
  for (const Case& c : cases) {
    const StoreDelay delay = MeasureStoreDelay(c.word, GetVideoStandard(c.id), 20);
    EXPECT_EQ(delay.frames, c.frames) << c.what;
    EXPECT_EQ(delay.lines, c.lines) << c.what;
    EXPECT_EQ(delay.milliseconds, c.milliseconds) << c.what;
  }
}

TEST(FramesyncDelay, AnyWordGivesADelayInBounds) {
  std::mt19937 random(20240);
  for (const VideoStandardRow& row : kVideoStandards) {
    for (int i = 0; i < 200; ++i) {
      const auto word = static_cast<std::uint32_t>(random());
      const StoreDelay delay = MeasureStoreDelay(word, row.standard, i % 2 == 0 ? 1 : 20);
      EXPECT_LE(std::abs(delay.frames), 512) << std::hex << word;
      EXPECT_GE(delay.lines, 0) << std::hex << word;
      EXPECT_LE(delay.lines, 8191) << std::hex << word;
    }
  }
}

}  // namespace
}  // namespace framesync
