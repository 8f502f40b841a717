#include <cstdio>

#include "sim/Board.h"
#include "support/Ratio.h"
#include "top/TopFpga.h"

// What bringing the FPGA up costs on the simulated board.
int main() {
  sim::Board& board = sim::Board::CreateInMemory();
  board.clock.TakeOver();  // the sleeps that the cores need are counted, not slept
  const auto start = std::chrono::steady_clock::now();
  const TopFpgaImpl fpga(4);
  const std::chrono::duration<double, std::milli> taken = std::chrono::steady_clock::now() - start;
  std::printf("bring-up: %llu loads, %llu stores, %llu us of sleeps\n",
              static_cast<unsigned long long>(board.registers.LoadCount()),
              static_cast<unsigned long long>(board.registers.StoreCount()),
              static_cast<unsigned long long>(board.clock.SleptMicroseconds()));
  bench::Report("bring-up apart from its sleeps", taken.count(), "ms", 10);
  return 0;
}
