#include "devices/GS12281_Soc.h"

#include <gtest/gtest.h>

#include <functional>

#include "interfaces/Spi_Soc.h"
#include "sim/Board.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;
using Words = std::vector<std::uint16_t>;
using sim::SpiFault;

constexpr SpiSettings kSettings{0, 0, 0, 8, 1'000'000};

// One word written to a chip.
struct UnitWrite {
  int unit;
  int reg;
  int value;

  friend bool operator==(const UnitWrite&, const UnitWrite&) = default;
};

class GS12281SocTest : public testing::Test {
 protected:
  GS12281SocTest() {
    board.clock.TakeOver();
    EXPECT_EQ(spi.Initialize("/dev/spidev0.0"), 0);
  }

  std::vector<Bytes> SentBy(const std::function<void()>& operation) {
    board.driverSpi.StartTrace();
    operation();
    return board.driverSpi.TakeSent();
  }

  std::vector<UnitWrite> WritesOf(const std::function<void()>& operation) {
    std::vector<UnitWrite> writes;
    for (const Bytes& bytes : SentBy(operation)) {
      EXPECT_EQ(bytes.size(), 6U);
      const int command = bytes[0] << 8 | bytes[1];
      EXPECT_EQ(command & 0xF07F, 0x2000);
      writes.push_back({command >> 7 & 0x1F, bytes[2] << 8 | bytes[3], bytes[4] << 8 | bytes[5]});
    }
    return writes;
  }

  sim::Board& board = sim::Board::Get();
  Spi_Soc spi;
  GS12281_Soc chain;
};

TEST_F(GS12281SocTest, GivesOutAddresses) {
  EXPECT_EQ(SentBy([&] { EXPECT_EQ(chain.Initialize(&spi, kSettings, 5), 0); }),
            (std::vector<Bytes>{{0x20, 0, 0, 0, 0x40, 0x00},
                                {0x20, 0, 0, 0, 0x20, 0x01},
                                {0x20, 0, 0, 0, 0x20, 0x02},
                                {0x20, 0, 0, 0, 0x20, 0x03},
                                {0x20, 0, 0, 0, 0x20, 0x04},
                                {0x20, 0, 0, 0, 0x20, 0x05}}));
  EXPECT_EQ(board.clock.SleptMicroseconds(), 6000U);
  for (std::size_t chip = 0; chip < 5; ++chip) {
    EXPECT_EQ(board.driverChain.UnitOf(chip), chip + 1);
  }
  EXPECT_TRUE(SentBy([&] { EXPECT_EQ(chain.Initialize(&spi, kSettings, 2), -1); }).empty());
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<sim::LogRecord>{{6, "Assigning unique addresses to GS12281 instances"},
                                         {3, "Attempt to re-initialize"}}));
}

TEST_F(GS12281SocTest, ReadsAndWritesOneChip) {
  chain.Initialize(&spi, kSettings, 5);
  board.driverChain.SetRegister(4, 30, 0x1234);
  Words data;
  EXPECT_EQ(SentBy([&] {
              EXPECT_EQ(chain.WriteRegister(0, 30, 0xABCD0008), 0);
              EXPECT_EQ(chain.ReadRegister(4, 30, data), 0);
            }),
            (std::vector<Bytes>{{0x20, 0x80, 0x00, 0x1E, 0x00, 0x08},
                                {0xA2, 0x80, 0x00, 0x1E, 0x00, 0x00}}));
  EXPECT_EQ(data, (Words{0x3412}));
  EXPECT_EQ(board.driverChain.Register(0, 30), 8);
  EXPECT_EQ(board.driverChain.Register(4, 30), 0x1234);
  EXPECT_EQ(board.clock.SleptMicroseconds(), 8000U);
  // A number behind the last unit address wraps and never reaches the bits beside it.
  EXPECT_EQ(SentBy([&] { EXPECT_EQ(chain.WriteRegister(255, 0xFFFF, 1), 0); }),
            (std::vector<Bytes>{{0x20, 0x00, 0xFF, 0xFF, 0x00, 0x01}}));
}

TEST_F(GS12281SocTest, FailuresAreLoggedAndDontSleep) {
  board.settings.driverSpiFault = SpiFault::kTransfer;
  EXPECT_EQ(chain.Initialize(&spi, kSettings, 2), 0);
  const Lines write{"SPI_IOC_MESSAGE ioctl failed with errno 5 Input/output error 6",
                    "Unable to write to device"};
  Lines expected;
  for (int i = 0; i < 3; ++i) {
    expected.insert(expected.end(), write.begin(), write.end());
  }
  EXPECT_EQ(board.log.Messages(3), expected);
  board.log.Clear();
  Words data;
  EXPECT_EQ(chain.WriteRegister(0, 1, 2), -1);
  EXPECT_EQ(chain.ReadRegister(0, 1, data), -1);
  EXPECT_EQ(chain.ApplyDefaultRegisters(), 0);
  const Lines errors = board.log.Messages(3);
  ASSERT_EQ(errors.size(), 4U + 2 * 23);
  EXPECT_EQ(errors[2], "SPI_IOC_MESSAGE ioctl failed");
  EXPECT_EQ(errors[3], "Unable to read from device");
  EXPECT_EQ(board.clock.SleptMicroseconds(), 0U);

  GS12281_Soc unset;
  EXPECT_EQ(unset.WriteRegister(0, 1, 2), -1);
  EXPECT_EQ(unset.ReadRegister(0, 1, data), -1);
}

TEST_F(GS12281SocTest, SettersReachEveryChip) {
  chain.Initialize(&spi, kSettings, 2);
  EXPECT_EQ(
      WritesOf([&] { chain.SetRegs50And51(1, 2, 0); }),
      (std::vector<UnitWrite>{{1, 50, 0x0240}, {1, 51, 0x0100}, {2, 50, 0x0240}, {2, 51, 0x0100}}));

  // What arrives at the last chip.
  struct Case {
    std::function<void()> set;
    std::vector<UnitWrite> writes;
  };
  const std::vector<Case> cases{
      {[&] { chain.SetRegs50And51(0xFF, 0xFF, 0x40); }, {{2, 50, 0x1F00}, {2, 51, 0x3F00}}},
      {[&] { chain.SetRegs46And47(0x21, 0xE3, 0xC5); }, {{2, 46, 0x0305}, {2, 47, 0x2100}}},
      {[&] { chain.SetReg30(0xFD); }, {{2, 30, 11}}},
      {[&] { chain.SetReg74(1, 2); }, {{2, 74, 0}}},
      {[&] { chain.SetReg74(0, 1); }, {{2, 74, 2}}},
      {[&] { chain.SetReg74(0x80, 0); }, {{2, 74, 8}}},
      {[&] { chain.SetReg74(0, 0); }, {{2, 74, 10}}},
      {[&] { chain.SetRegs10And11(0xE9, 0x1F); }, {{2, 10, 0x0909}, {2, 11, 0x1F1F}}},
      {[&] { chain.SetReg6(0xF3); }, {{2, 6, 6}}},
      {[&] { chain.SetReg73(4, 4); }, {{2, 73, 53}}},
      {[&] { chain.SetReg73(0, 1); }, {{2, 73, 54}}},
      {[&] { chain.SetReg73(1, 0); }, {{2, 73, 57}}},
      {[&] { chain.SetReg73(0, 0); }, {{2, 73, 58}}},
      {[&] { chain.SetReg75(); }, {{2, 75, 1028}}},
      {[&] { chain.SetReg76(); }, {{2, 76, 0}}}};
  for (std::size_t i = 0; i < cases.size(); ++i) {
    auto writes = WritesOf(cases[i].set);
    const auto half = static_cast<std::ptrdiff_t>(writes.size() / 2);
    writes.erase(writes.begin(), writes.begin() + half);
    EXPECT_EQ(writes, cases[i].writes) << i;
  }
}

constexpr int kTheLast = -1;

std::vector<UnitWrite> DefaultsOf(const std::vector<std::pair<int, int>>& unitsAndColumns) {
  const std::vector<std::array<int, 4>> rows{
      {30, 0x0008, 0x0008, 0x0008}, {49, 0x1D40, 0x1E40, 0x1E40}, {51, 0x1D40, 0x1E40, 0x1E40},
      {48, 0x0404, 0x0202, 0x0000}, {50, 0x0404, 0x0202, 0x0000}, {45, 0x1980, 0x1980, 0x1980},
      {47, 0x1980, 0x1980, 0x1980}, {44, 0x0605, 0x0805, 0x0605}, {46, 0x0605, 0x0805, 0x0605},
      {10, 0x0108, 0x0108, 0x0108}, {74, 0x0002, 0x0002, 0x0002}, {16, 0x0100, 0x0100, 0x0100},
      {17, 0x0100, 0x0100, 0x0100}, {18, 0x0100, 0x0100, 0x0100}, {19, 0x0100, 0x0100, 0x0100}};
  const std::vector<std::array<int, 2>> last{{6, 0x3F01},  {30, 0x0008}, {41, 0x17A0},
                                             {43, 0x0880}, {40, 0x0300}, {42, 0x0300},
                                             {10, 0x0108}, {74, 0x0000}};
  std::vector<UnitWrite> writes;
  for (const auto& [unit, column] : unitsAndColumns) {
    if (column == kTheLast) {
      for (const auto& row : last) {
        writes.push_back({unit, row[0], row[1]});
      }
    } else {
      for (const auto& row : rows) {
        writes.push_back({unit, row[0], row[static_cast<std::size_t>(column)]});
      }
    }
  }
  return writes;
}

TEST_F(GS12281SocTest, DefaultsDependOnThePlaceInTheChain) {
  struct Case {
    std::size_t count;
    std::vector<std::pair<int, int>> unitsAndColumns;
    std::uint64_t milliseconds;
  };
  for (const Case& one :
       {Case{2, {{1, 1}, {2, kTheLast}}, 23}, Case{3, {{1, 1}, {2, 2}, {3, kTheLast}}, 38},
        Case{4, {{1, 1}, {2, 2}, {4, kTheLast}}, 38},
        Case{5, {{1, 1}, {2, 2}, {3, 2}, {4, 3}, {5, kTheLast}}, 68}}) {
    GS12281_Soc drivers;
    drivers.Initialize(&spi, kSettings, one.count);
    const std::uint64_t before = board.clock.SleptMicroseconds();
    EXPECT_EQ(WritesOf([&] { EXPECT_EQ(drivers.ApplyDefaultRegisters(), 0); }),
              DefaultsOf(one.unitsAndColumns))
        << one.count;
    EXPECT_EQ(board.clock.SleptMicroseconds() - before, 1000 * one.milliseconds) << one.count;
  }
}

}  // namespace
