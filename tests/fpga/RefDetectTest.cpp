#include "modules/RefDetect.h"

#include <array>

#include "sim/models/RefDetectModel.h"
#include "support/CoreTest.h"

namespace {

using Input = sim::RefDetectModel::Input;
using Texts = std::vector<std::string>;

class RefDetectTest : public CoreTest<sim::RefDetectModel> {
 protected:
  RefDetectTest() : CoreTest("ref_detect") {}

  RefDetect detect{name, base};
};

// 1 count is 0.09 ticks of 27 MHz: a 1080-line at 25 frames has 10667 counts, its frame 12000000.
TEST_F(RefDetectTest, CountersGiveTheStandardOfTheirTiming) {
  const struct {
    std::array<std::uint32_t, 6> counters;  // low and high: of the line, the field, the frame
    const char* found;
    int id;
  } cases[] = {
      {{0, 0, 0, 0, 0, 0}, "Unknown", 0},
      {{667, 10000, 6000000, 6000000, 4, 8}, "1920x1080i 50", 15},  // the frame doesn't count
      {{667, 10000, 0, 0, 5000000, 7000000}, "1920x1080p 25", 20},
      {{667, 10000, 6000000, 0, 5000000, 7000000}, "1920x1080p 25", 20},  // nor one field alone
      {{10000, 667, 11999999, 1, 0, 0}, "1920x1080i 50", 15},
      {{667, 10000, 0, 0, 12011000, 0}, "1920x1080p 25", 20},  // 990 ticks of frame too many
      {{667, 10000, 0, 0, 12011200, 0}, "Unknown", 0},         // 1008 ticks
      {{0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF, 0xFFFFFF}, "Unknown", 0},
  };
  for (const auto& c : cases) {
    for (const bool second : {false, true}) {
      Accesses expected;
      std::size_t i = 0;
      for (const char* counter :
           {"HLowCnt", "HHighCnt", "FLowCnt", "FHighCnt", "VLowCnt", "VHighCnt"}) {
        const std::string field = std::string(second ? "ref2" : "ref1") + counter;
        static_cast<sim::FieldModel&>(core).Set(field, c.counters.at(i));
        expected.push_back(R(field, c.counters.at(i++)));
      }
      EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(detect.GetReferenceFormat(second), c.id); }), expected)
          << &c - cases;
      EXPECT_EQ(board.log.Messages(7), Texts{std::string("Detected reference video: ") + c.found});
    }
  }
}

TEST_F(RefDetectTest, PulseOutputsSwitchBeforeTheirOffset) {
  FillWithGarbage();
  const struct {
    bool enable;
    float offset;  // ticks of 27 MHz
    std::uint32_t counts;
  } cases[] = {
      {true, 27.0F, 300}, {false, 0.1F, 1}, {true, 1509949.0F, 0xFFFFFA}, {false, -5.0F, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(AccessesOf([&] { detect.SetPulseOutputEnable(c.enable, true, c.offset); }),
              (Accesses{W("pulseEnable2", c.enable ? 1 : 0), W("pulseOffset2", c.counts)}));
    EXPECT_TRUE(board.log.All().empty());
    EXPECT_EQ(AccessesOf([&] { detect.SetPulseOutputEnable(c.enable, false, c.offset); }),
              (Accesses{W("pulseEnable1", c.enable ? 1 : 0), W("pulseOffset1", c.counts)}));
    EXPECT_EQ(board.log.Messages(7), Texts{FormatMessage("pulse offset is %f 27 %u 150",
                                                         static_cast<double>(c.offset), c.counts)});
  }
  for (const float tooGreat : {1509950.0F, 1e30F}) {
    EXPECT_EQ(AccessesOf([&] { detect.SetPulseOutputEnable(true, true, tooGreat); }),
              (Accesses{W("pulseEnable2", 1), R("pulseOffset2")}));
    EXPECT_EQ(board.log.Messages(3).size(), 1U);
  }
  EXPECT_EQ(AccessesOf([&] { detect.Reset(); }), (Accesses{W("reset", 1), W("reset", 0)}));
}

// Segmented frames have the timing of interlaced ones.
TEST_F(RefDetectTest, FindsTheReferenceThatIsPluggedIn) {
  core.SetReference(Input::kFirst, 5);
  EXPECT_EQ(detect.GetReferenceFormat(false), 0);  // still in reset
  detect.Reset();
  for (const auto& [plugged, found] : {std::pair{5, 5},
                                       {6, 6},
                                       {13, 13},
                                       {16, 16},
                                       {18, 18},
                                       {24, 24},
                                       {39, 39},
                                       {40, 40},
                                       {36, 15},
                                       {23, 20},
                                       {139, 40},
                                       {26, 0},
                                       {0, 0}}) {
    core.SetReference(Input::kSecond, plugged);
    EXPECT_EQ(detect.GetReferenceFormat(true), found) << plugged;
    EXPECT_EQ(detect.GetReferenceFormat(false), 5) << plugged;
  }
}

}  // namespace
