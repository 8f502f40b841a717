#include "modules/RefDetect.h"

#include <gtest/gtest.h>

#include <functional>
#include <random>

#include "log/Log.h"
#include "sim/Board.h"
#include "sim/models/RefDetectModel.h"
#include "support/Accesses.h"
#include "video/Video.h"

namespace {

using sim::LogRecord;
using sim::Stored;
using Input = sim::RefDetectModel::Input;

constexpr std::uint32_t kReset = 0x3800040;
constexpr std::uint32_t kOffset1 = 0x3800044;
constexpr std::uint32_t kOffset2 = 0x3800048;

class RefDetectTest : public testing::Test {
 protected:
  RefDetectTest() { SetLogLevel(kLogDebug); }

  // Puts words into the counters, from `offset` on and in the order of the map.
  void SetCounters(std::uint32_t offset, const std::array<std::uint32_t, 6>& counters) {
    for (const std::uint32_t counter : counters) {
      model.SetWord(offset, counter);
      offset += 4;
    }
  }

  sim::Board& board = sim::Board::Get();
  sim::RefDetectModel& model = board.Core<sim::RefDetectModel>("ref_detect");
  RefDetect detect{"ref_detect", 0x3800000};
};

TEST_F(RefDetectTest, ReadsLowThenHighOfEachPulse) {
  for (std::uint32_t offset = 0; offset <= 0x34; offset += 4) {
    model.SetWord(offset, 0xFF000000 | offset);  // bits above the counters count for nothing
  }
  const auto offsetsOf = [&](bool secondReference) {
    board.registers.StartTrace();
    detect.GetReferenceFormat(secondReference);
    std::vector<std::uint32_t> offsets;
    for (const sim::RegisterAccess& access : board.registers.TakeTrace()) {
      EXPECT_EQ(access.kind, sim::RegisterAccess::Kind::kLoad);
      offsets.push_back(access.address - 0x3800000);
    }
    return offsets;
  };
  EXPECT_EQ(offsetsOf(false), (std::vector<std::uint32_t>{0, 4, 8, 12, 20, 16}));
  EXPECT_EQ(offsetsOf(true), (std::vector<std::uint32_t>{32, 36, 40, 44, 52, 48}));
}

// 1 count is 0.09 ticks of 27 MHz: a 1080-line at 25 frames has 10667 counts, its frame 12000000.
TEST_F(RefDetectTest, CountersGiveTheStandardOfTheirTiming) {
  const struct {
    std::array<std::uint32_t, 6> counters;  // H low, H high, F low, F high, V high, V low
    int id;
  } cases[] = {
      {{0, 0, 0, 0, 0, 0}, 0},
      {{667, 10000, 6000000, 6000000, 0, 0}, 15},
      {{667, 10000, 6000000, 6000000, 4000000, 4000000}, 15},  // the frame pulse counts for nothing
      {{667, 10000, 0, 0, 5000000, 7000000}, 20},
      {{667, 10000, 6000000, 0, 5000000, 7000000}, 20},  // nor the first field, without a second
      {{10000, 667, 11999999, 1, 0, 0}, 15},
      {{67, 11044, 0, 0, 12000000, 0}, 20},   // 40 ticks of line too many
      {{67, 11222, 0, 0, 12000000, 0}, 0},    // 56 ticks
      {{667, 10000, 0, 0, 12011000, 0}, 20},  // 990 ticks of frame too many
      {{667, 10000, 0, 0, 12011200, 0}, 0},   // 1008 ticks
      {{0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF}, 0},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    SetCounters(0x00, c.counters);
    SetCounters(0x20, {});
    EXPECT_EQ(detect.GetReferenceFormat(false), c.id);
    EXPECT_EQ(detect.GetReferenceFormat(true), 0);
    SetCounters(0x00, {});
    SetCounters(0x20, c.counters);
    EXPECT_EQ(detect.GetReferenceFormat(false), 0);
    EXPECT_EQ(detect.GetReferenceFormat(true), c.id);
  }
}

TEST_F(RefDetectTest, LogsTheNameOfWhatItFound) {
  detect.GetReferenceFormat(false);
  SetCounters(0x20, {667, 10000, 6000000, 6000000, 0, 0});
  detect.GetReferenceFormat(true);
  EXPECT_EQ(board.log.Messages(7),
            (std::vector<std::string>{"Detected reference video: Unknown",
                                      "Detected reference video: 1920x1080i 50"}));
}

// What is found has the timing that was measured, whatever the counters hold.
TEST_F(RefDetectTest, AnyCountersGiveAStandardOfTheirTimingOrNone) {
  constexpr std::uint32_t kSeed = 27;
  std::mt19937 random(kSeed);
  int found = 0;
  for (int round = 0; round < 2000; ++round) {
    for (std::uint32_t offset = 0; offset <= 0x34; offset += 4) {
      model.SetWord(offset, static_cast<std::uint32_t>(random()) >> random() % 32);
    }
    if (round % 4 == 0) {  // the timing of a standard, about; the rest stays random
      model.Set("ref1HLowCnt", 400);
      model.Set("ref1HHighCnt", 8490 + static_cast<std::uint32_t>(random()) % 3600);
      model.Set("ref1FLowCnt", 5000000 + static_cast<std::uint32_t>(random()) % 15000);
      model.Set("ref1FHighCnt", 5000000 + static_cast<std::uint32_t>(random()) % 15000);
    }
    const int id = detect.GetReferenceFormat(round % 2 != 0);
    if (id == 0) {
      continue;
    }
    ++found;
    const VideoStandard& standard = GetVideoStandard(id);
    const std::string ref = round % 2 != 0 ? "ref2" : "ref1";
    const auto ticks = [&](const char* low, const char* high) {
      return 0.09 * (model.Get(ref + low) + model.Get(ref + high));
    };
    const bool progressive = model.Get(ref + "FHighCnt") == 0;
    EXPECT_EQ(standard.scanType == ScanType::kProgressive, progressive) << id;
    EXPECT_NEAR(ticks("HLowCnt", "HHighCnt"), standard.linePeriod, 50.1) << id;
    EXPECT_NEAR(progressive ? ticks("VLowCnt", "VHighCnt") : ticks("FLowCnt", "FHighCnt"),
                static_cast<double>(standard.linePeriod) * standard.totalLines, 1000.2)
        << id;
  }
  EXPECT_GT(found, 0);
}

TEST_F(RefDetectTest, PulseOutputsSwitchBeforeTheirOffset) {
  model.SetWord(0x40, 0xFFFFFFF9);
  model.SetWord(0x44, 0xFF000000);
  model.SetWord(0x48, 0xFF000000);
  EXPECT_EQ(StoresOf([&] { detect.SetPulseOutputEnable(true, false, 27.0F); }),
            (std::vector{Stored(kReset, 0xFFFFFFFB), Stored(kOffset1, 0xFF00012C)}));
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{7, "pulse offset is 27.000000 27 300 150"}}));
  EXPECT_EQ(StoresOf([&] { detect.SetPulseOutputEnable(true, true, 0.1F); }),
            (std::vector{Stored(kReset, 0xFFFFFFFF), Stored(kOffset2, 0xFF000001)}));
  EXPECT_TRUE(board.log.All().empty());
  EXPECT_EQ(StoresOf([&] { detect.SetPulseOutputEnable(false, false, 1509949.0F); }),
            (std::vector{Stored(kReset, 0xFFFFFFFD), Stored(kOffset1, 0xFFFFFFFA)}));
}

TEST_F(RefDetectTest, OffsetsOutsideTheCounterAreRefused) {
  model.SetWord(0x48, 0xFF000007);
  for (const float offset : {1509950.0F, 1e30F}) {
    EXPECT_EQ(StoresOf([&] { detect.SetPulseOutputEnable(true, true, offset); }),
              (std::vector{Stored(kReset, 5)}));
    EXPECT_EQ(board.log.Messages(3).size(), 1U);
  }
  EXPECT_EQ(StoresOf([&] { detect.SetPulseOutputEnable(false, true, -5.0F); }),
            (std::vector{Stored(kReset, 1), Stored(kOffset2, 0xFF000000)}));
}

TEST_F(RefDetectTest, ResetTouchesItsBitAlone) {
  model.SetWord(0x40, 0xFFFFFFFE);
  EXPECT_EQ(StoresOf([&] { detect.Reset(); }),
            (std::vector{Stored(kReset, 0xFFFFFFFF), Stored(kReset, 0xFFFFFFFE)}));
}

TEST_F(RefDetectTest, FindsTheReferenceThatIsPluggedIn) {
  const struct {
    int plugged;
    int found;
  } cases[] = {{5, 5},
               {6, 6},
               {13, 13},
               {16, 16},
               {18, 18},
               {24, 24},
               {39, 39},
               {40, 40},
               {36, 15},  // segmented frames have the timing of
                          // interlaced ones
               {23, 20},
               {139, 40},
               {26, 0},
               {0, 0}};
  model.SetReference(Input::kFirst, 5);
  EXPECT_EQ(detect.GetReferenceFormat(false), 0);  // still in reset
  detect.Reset();
  for (const auto& c : cases) {
    SCOPED_TRACE(c.plugged);
    model.SetReference(Input::kSecond, c.plugged);
    EXPECT_EQ(detect.GetReferenceFormat(true), c.found);
    EXPECT_EQ(detect.GetReferenceFormat(false), 5);
  }
}

}  // namespace
