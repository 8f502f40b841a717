// The simulated SPI devices and the chips behind them, where the drivers don't reach.
#include <gtest/gtest.h>

#include <cstdio>
#include <fstream>
#include <random>

#include "platform/SpiDevice.h"
#include "sim/Board.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using sim::SpiFault;

class SpiChainsTest : public testing::Test {
 protected:
  void SetUp() override {
    ASSERT_GE(equalisers, 0);
    ASSERT_GE(drivers, 0);
    ASSERT_NE(equalisers, drivers);
  }

  static int Configure(int device, std::uint8_t mode, std::uint8_t lsbFirst, std::uint8_t bits) {
    return platform::SetSpiMode(device, mode) | platform::SetSpiLsbFirst(device, lsbFirst) |
           platform::SetSpiBitsPerWord(device, bits);
  }

  // What comes back from a transfer.
  static Bytes Exchange(int device, const Bytes& sent) {
    Bytes received(sent.size(), 0xEE);
    spi_ioc_transfer transfer{};
    transfer.tx_buf = reinterpret_cast<std::uintptr_t>(sent.data());
    transfer.rx_buf = reinterpret_cast<std::uintptr_t>(received.data());
    transfer.len = static_cast<std::uint32_t>(sent.size());
    EXPECT_EQ(platform::TransferSpi(device, transfer), static_cast<int>(sent.size()));
    return received;
  }

  sim::Board& board = sim::Board::Get();
  const int equalisers = platform::OpenSpi("/dev/spidev1.0");
  const int drivers = platform::OpenSpi("/dev/spidev0.0");
};

// Bytes beyond the chain's length fall out at its end; only what stays in a chip acts on it.
TEST_F(SpiChainsTest, EqualisersAreOneShiftRegister) {
  board.settings.straps = {0, 1};
  ASSERT_EQ(Configure(equalisers, 1, 0, 8), 0);
  EXPECT_EQ(Exchange(equalisers, {0x05, 0x55, 0x06, 0x66, 0x07, 0x77}),
            (Bytes{0, 0, 0, 0, 0x05, 0x55}));
  EXPECT_EQ(board.equaliserChain.Register(1, 6), 0x66);
  EXPECT_EQ(board.equaliserChain.Register(0, 7), 0x77);
  for (std::size_t chip = 0; chip < sim::kMaxCableChips; ++chip) {
    EXPECT_EQ(board.equaliserChain.Register(chip, 5), 0);
  }
  // Revision, status and the register that doesn't exist hold what they held.
  Exchange(equalisers, {0x0F, 0xAA, 0x01, 0xAA});
  Exchange(equalisers, {0x7F, 0xAA, 0x8F, 0x00});
  Exchange(equalisers, {0xFF, 0x00, 0x81, 0x00});
  EXPECT_EQ(Exchange(equalisers, {0xFF, 0xFF, 0xFF, 0xFF}), (Bytes{0xFF, 0x00, 0x81, 0x01}));
  EXPECT_EQ(board.equaliserChain.Register(1, 15), 0x01);
}

TEST_F(SpiChainsTest, DriversTakeAddressesOneByOne) {
  board.settings.straps = {1, 0};
  ASSERT_EQ(Configure(drivers, 0, 0, 8), 0);
  for (const std::uint8_t address : Bytes{7, 9, 7, 11}) {  // the last one finds no chip
    Exchange(drivers, {0x20, 0, 0, 0, 0x20, address});
  }
  EXPECT_EQ(board.driverChain.UnitOf(0), 7);
  EXPECT_EQ(board.driverChain.UnitOf(1), 9);
  EXPECT_EQ(board.driverChain.UnitOf(3), 0);
  // Two words from register 0x0102 on, at unit 9; then they are read back.
  Exchange(drivers, {0x24, 0x80, 0x01, 0x02, 0xCA, 0xFE, 0xBE, 0xEF});
  EXPECT_EQ(Exchange(drivers, {0xA4, 0x80, 0x01, 0x02, 0, 0, 0, 0, 0}),
            (Bytes{0, 0, 0, 0, 0xCA, 0xFE, 0xBE, 0xEF, 0}));
  // Not a command, a flag, an address that doesn't exist, and a unit that nobody has.
  for (const Bytes& command : {Bytes{0x84, 0x80}, Bytes{0xE4, 0x80}, Bytes{0xB4, 0x80},
                               Bytes{0xA4, 0x81}, Bytes{0xA5, 0x80}}) {
    EXPECT_EQ(Exchange(drivers, {command[0], command[1], 0x01, 0x02, 0, 0}), Bytes(6));
  }
  Exchange(drivers, {0x20, 0, 0, 0, 0x40, 0x00});
  EXPECT_EQ(board.driverChain.UnitOf(1), 0);
}

TEST_F(SpiChainsTest, ChipsUnderstandTheirOwnModeAlone) {
  board.driverChain.SetRegister(0, 30, 0x1234);
  const Bytes write{0x20, 0, 0, 30, 0xFF, 0xFF};
  const Bytes read{0xA0, 0, 0, 30, 0, 0};
  ASSERT_EQ(Configure(drivers, 1, 0, 8), 0);
  Exchange(drivers, write);
  ASSERT_EQ(Configure(drivers, 0, 1, 8), 0);
  EXPECT_EQ(Exchange(drivers, read), Bytes(6));
  ASSERT_EQ(Configure(drivers, 0, 0, 16), 0);
  Exchange(drivers, write);
  ASSERT_EQ(Configure(drivers, 0, 0, 0), 0);  // 0 bits stand for 8
  EXPECT_EQ(Exchange(drivers, read), (Bytes{0, 0, 0, 0, 0x12, 0x34}));
}

TEST_F(SpiChainsTest, RandomTransfersAreAnswered) {
  constexpr unsigned kSeed = 20240229;
  std::mt19937 random(kSeed);
  const auto below = [&](unsigned limit) { return static_cast<std::uint8_t>(random() % limit); };
  for (int round = 0; round < 2000; ++round) {
    const int device = below(2) == 0 ? equalisers : drivers;
    board.settings.straps = {below(2), below(2)};
    ASSERT_EQ(Configure(device, below(4), below(8) / 7, static_cast<std::uint8_t>(8 + below(2))),
              0);
    Bytes sent(below(24));
    for (std::uint8_t& byte : sent) {
      byte = below(256);
    }
    Exchange(device, sent);
  }
  EXPECT_EQ(board.equaliserChain.Register(0, 15), 0x01) << kSeed;
}

TEST(SpiSettingsFile, NamesTheFaults) {
  const std::string path = "spi-settings-test.conf";
  EXPECT_EQ(sim::ReadSettings(path).equaliserSpiFault, SpiFault::kNone);
  std::ofstream(path, std::ios::app) << "equaliser_spi_fault = lsb_first\n"
                                     << "driver_spi_fault = vanished\n";
  EXPECT_EQ(sim::ReadSettings(path).equaliserSpiFault, SpiFault::kLsbFirst);
  EXPECT_EQ(sim::ReadSettings(path).driverSpiFault, SpiFault::kVanished);
  std::ofstream(path, std::ios::app) << "driver_spi_fault = gone\n";
  testing::internal::CaptureStderr();
  EXPECT_EQ(sim::ReadSettings(path).driverSpiFault, SpiFault::kVanished);
  EXPECT_NE(testing::internal::GetCapturedStderr().find("no such fault"), std::string::npos);
  EXPECT_EQ(std::remove(path.c_str()), 0);
}

}  // namespace
