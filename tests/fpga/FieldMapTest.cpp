#include "map/FieldMap.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

constexpr auto kFields =
    JoinFields(std::array{Field{"reset", 0x00, 0, 1}}, RepeatField<8>({"pair_#_type", 0x10, 0, 4}),
               RepeatField<12>({"delay_#", 0x40, 0, 16}, {.firstNumber = 1}));

TEST(FieldMap, NumberedFieldsAreFoundByTheirNumber) {
  constexpr NumberedFieldsIn<kFields> kPairs("pair_#_type");
  constexpr NumberedFieldsIn<kFields> kDelays("delay_#", 1);
  EXPECT_EQ(kPairs.Count(), 8U);
  EXPECT_EQ(kDelays.Count(), 12U);
  EXPECT_EQ(std::string_view(kPairs[7].Get().name), "pair_7_type");
  EXPECT_EQ(std::string_view(kDelays[1].Get().name), "delay_1");
  EXPECT_EQ(std::string_view(kDelays[12].Get().name), "delay_12");
  EXPECT_THROW((void)kPairs[8], std::out_of_range);
  EXPECT_THROW((void)kDelays[0], std::out_of_range);
}

TEST(FieldMap, FaultsInATableAreSeen) {
  EXPECT_FALSE(WellFormed(std::array{Field{"a", 0, 0, 1}, Field{"a", 4, 0, 1}})) << "same name";
  EXPECT_FALSE(WellFormed(std::array{Field{"a", 2, 0, 1}})) << "not aligned";
  EXPECT_FALSE(WellFormed(std::array{Field{"a", 0, 31, 2}})) << "past bit 31";
  EXPECT_FALSE(WellFormed(std::array{Field{"a", 0, 0, 0}})) << "no bit";
  EXPECT_FALSE(WellFormed(std::array{Field{"a", 0, 0, 4}, Field{"b", 0, 3, 1}})) << "shared bit";
  EXPECT_TRUE(WellFormed(
      std::array{Field{"a", 0, 0, 32}, Field{"b", 0, 3, 1, Access::kReadWrite, "", true}}))
      << "shared on purpose";
}

}  // namespace
