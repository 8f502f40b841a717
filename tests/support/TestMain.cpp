#include <gtest/gtest.h>

#include "sim/Board.h"
#include "support/Accesses.h"

namespace {

bool strayAccessesAreMeant = false;

// No driver touches words without a field, or writes to status.
class CheckAccesses : public testing::EmptyTestEventListener {
  void OnTestEnd(const testing::TestInfo& /*test*/) override {
    for (const std::string& complaint : sim::Board::Get().registers.Complaints()) {
      EXPECT_TRUE(strayAccessesAreMeant) << complaint;
    }
  }
};

}  // namespace

void MeanStrayAccesses() {
  strayAccessesAreMeant = true;
}

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  sim::Board::CreateInMemory();
  ::testing::UnitTest::GetInstance()->listeners().Append(new CheckAccesses);
  return RUN_ALL_TESTS();
}
