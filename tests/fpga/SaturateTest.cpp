#include "support/Saturate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>

namespace {

TEST(SaturateCast, TruncatesInsideAndStopsAtTheEnds) {
  for (int whole = -33'000; whole <= 66'000; ++whole) {
    const float value = static_cast<float>(whole) + (whole < 0 ? -0.5F : 0.5F);
    ASSERT_EQ(SaturateCast<std::int8_t>(value), std::clamp(whole, -128, 127));
    ASSERT_EQ(SaturateCast<std::uint8_t>(value), std::clamp(whole, 0, 255));
    ASSERT_EQ(SaturateCast<std::int16_t>(value), std::clamp(whole, -32768, 32767));
    ASSERT_EQ(SaturateCast<std::uint16_t>(value), std::clamp(whole, 0, 65535));
  }
  EXPECT_EQ(SaturateCast<std::int32_t>(2147483520.0F), 2147483520);
  EXPECT_EQ(SaturateCast<std::int32_t>(2147483648.0F), 2147483647);
  EXPECT_EQ(SaturateCast<std::int32_t>(-INFINITY), INT32_MIN);
  EXPECT_EQ(SaturateCast<std::int32_t>(NAN), 0);
  EXPECT_EQ(SaturateCast<std::uint32_t>(4294967294.0), 4294967294);
  EXPECT_EQ(SaturateCast<std::uint32_t>(4294967296.0), UINT32_MAX);
  EXPECT_EQ(SaturateCast<std::uint64_t>(1e30F), UINT64_MAX);
}

}  // namespace
