#include <gtest/gtest.h>

#include "sim/Board.h"

int main(int argc, char** argv) {
  ::testing::InitGoogleTest(&argc, argv);
  sim::Board::CreateInMemory();
  return RUN_ALL_TESTS();
}
