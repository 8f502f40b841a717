#include "map/FieldMap.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace {

// clang-format off
constexpr std::array kSingle{
    Field{"reset",  0x00, 0, 1},
    Field{"status", 0x04, 0, 32, Access::kReadOnly},
};
// clang-format on
constexpr auto kFields =
    JoinFields(kSingle, RepeatField<8>({"pair_#_type", 0x10, 4, 4}, {.perWord = 4, .bitStride = 8}),
               RepeatField<12>({"delay_#", 0x20, 0, 16}, {.wordStride = 8, .firstNumber = 1}));
static_assert(WellFormed(kFields));

std::string NameOf(const Field& field) {
  return std::string(std::string_view(field.name));
}

TEST(FieldMap, RepeatedFieldsLieWhereThePatternSays) {
  ASSERT_EQ(kFields.size(), 22U);
  const Field& sixthPair = kFields[7];
  EXPECT_EQ(NameOf(sixthPair), "pair_5_type");
  EXPECT_EQ(sixthPair.byteOffset, 0x14U);
  EXPECT_EQ(sixthPair.lsb, 12);
  const Field& lastDelay = kFields[21];
  EXPECT_EQ(NameOf(lastDelay), "delay_12");
  EXPECT_EQ(lastDelay.byteOffset, 0x20U + 11 * 8);
}

TEST(FieldMap, NumberedFieldsAreFoundByTheirNumber) {
  constexpr NumberedFieldsIn<kFields> kPairs("pair_#_type");
  constexpr NumberedFieldsIn<kFields> kDelays("delay_#", 1);
  EXPECT_EQ(kPairs.Count(), 8U);
  EXPECT_EQ(kDelays.Count(), 12U);
  EXPECT_EQ(NameOf(kPairs[7].Get()), "pair_7_type");
  EXPECT_EQ(NameOf(kDelays[1].Get()), "delay_1");
  EXPECT_EQ(NameOf(kDelays[12].Get()), "delay_12");
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
