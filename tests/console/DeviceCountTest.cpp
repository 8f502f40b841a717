#include "DeviceCount.h"

#include <gtest/gtest.h>

namespace {

TEST(DeviceCount, FollowsBothStrapsAndNothingElse) {
  const struct {
    int psMio2;
    int psMio3;
    std::optional<unsigned> count;
  } cases[] = {
      {0, 1, 2},
      {1, 0, 3},
      {1, 1, 5},
      {0, 0, std::nullopt},
      {-1, 1, std::nullopt},
      {1, -1, std::nullopt},
      {-1, -1, std::nullopt},
      {2, 1, std::nullopt},
  };
  for (const auto& [psMio2, psMio3, count] : cases) {
    EXPECT_EQ(DeviceCountFromStraps(psMio2, psMio3), count) << psMio2 << ' ' << psMio3;
  }
}

}  // namespace
