#include "support/Saturate.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>

namespace {

TEST(SaturateCast, TruncatesInsideAndStopsAtTheEnds) {
  EXPECT_EQ(SaturateCast<std::int32_t>(-1.9F), -1);
  EXPECT_EQ(SaturateCast<std::int32_t>(2147483520.0F), 2147483520);
  EXPECT_EQ(SaturateCast<std::int32_t>(2147483648.0F), 2147483647);
  EXPECT_EQ(SaturateCast<std::int32_t>(-2147483648.0F), INT32_MIN);
  EXPECT_EQ(SaturateCast<std::int32_t>(-INFINITY), INT32_MIN);
  EXPECT_EQ(SaturateCast<std::int32_t>(NAN), 0);
  EXPECT_EQ(SaturateCast<std::uint32_t>(-0.5F), 0U);
  EXPECT_EQ(SaturateCast<std::uint32_t>(4294967296.0), UINT32_MAX);
  EXPECT_EQ(SaturateCast<std::uint32_t>(4294967295.0), UINT32_MAX);
  EXPECT_EQ(SaturateCast<std::uint8_t>(255.9F), 255);
  EXPECT_EQ(SaturateCast<std::uint64_t>(1e30F), UINT64_MAX);
}

}  // namespace
