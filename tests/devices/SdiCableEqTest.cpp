#include <gtest/gtest.h>

#include <memory>

#include "devices/M23664_Soc.h"
#include "devices/SdiCableEqInterface.h"
#include "interfaces/Spi_Soc.h"
#include "log/Log.h"
#include "sim/Board.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Lines = std::vector<std::string>;
using sim::LogRecord;
using sim::SpiFault;

constexpr SpiSettings kSettings{0, 1, 0, 8, 5'000'000};
// Revision of the chips that get the extra writes, and of others.
constexpr std::uint8_t kRevB = 1;
constexpr std::uint8_t kRevC = 2;

class SdiCableEqTest : public testing::Test {
 protected:
  SdiCableEqTest() {
    board.clock.TakeOver();
    EXPECT_EQ(spi.Initialize("/dev/spidev1.0"), 0);
  }

  // A chain of as many chips, on a board that carries them.
  void Build(std::size_t count) {
    board.settings.straps = {count != 2 ? 1 : 0, count != 3 ? 1 : 0};
    EXPECT_EQ(chain.Initialize(&spi, kSettings), 0);
    for (std::size_t i = 0; i < count; ++i) {
      auto device = std::make_unique<M23664_Soc>();
      EXPECT_EQ(device->Initialize(&spi, kSettings, i, count), 0);
      chain.AddDevice(device.release());
    }
    board.log.Clear();
    board.equaliserSpi.StartTrace();
  }

  sim::Board& board = sim::Board::Get();
  Spi_Soc spi;
  SdiCableEqInterface chain;
};

TEST_F(SdiCableEqTest, WriteReachesOneChip) {
  SetLogLevel(kLogDebug);
  Build(5);
  EXPECT_EQ(chain.GetChainLength(), 5U);
  EXPECT_EQ(chain.SetOutputEnable(0, false), 0);
  EXPECT_EQ(chain.SetOutputEnable(4, false), 0);
  EXPECT_EQ(board.equaliserSpi.TakeSent(),
            (std::vector<Bytes>{{0x7F, 0, 0x7F, 0, 0x7F, 0, 0x7F, 0, 0x04, 0x01},
                                {0x04, 0x01, 0x7F, 0, 0x7F, 0, 0x7F, 0, 0x7F, 0}}));
  EXPECT_EQ(chain.SetOutputEnable(0, true), 0);
  EXPECT_EQ(chain.SetOutputEnable(5, true), -1);
  for (std::size_t chip = 0; chip < 5; ++chip) {
    EXPECT_EQ(board.equaliserChain.Register(chip, 4), chip == 4 ? 1 : 0);
  }
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{7, "Writing device: 1 reg: 0x4 data: 0x1"},
                                    {7, "Writing device: 5 reg: 0x4 data: 0x1"},
                                    {7, "Writing device: 1 reg: 0x4 data: 0x0"},
                                    {3, "Requested EQ does not exist"}}));
}

TEST_F(SdiCableEqTest, StatusIsReadTwiceInFourTransfers) {
  Build(3);
  const std::vector<std::uint32_t> rates{4, 6, 1};
  for (std::size_t chip = 0; chip < 3; ++chip) {
    board.equaliserChain.SetSignal(chip, true, rates[chip]);
  }
  board.equaliserChain.SetSignal(1, false, 0);
  std::uint32_t rate = 99;
  EXPECT_EQ(chain.GetRateDetect(0, &rate), 0);
  EXPECT_EQ(rate, 4U);
  const Bytes command{0x8F, 0, 0x8F, 0, 0x8F, 0};
  const Bytes readOut{0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
  EXPECT_EQ(board.equaliserSpi.TakeSent(),
            (std::vector<Bytes>{command, readOut, command, readOut}));
  EXPECT_EQ(board.clock.SleptMicroseconds(), 20U);

  bool present = true;
  EXPECT_EQ(chain.SignalIsPresent(1, &present), 0);
  EXPECT_FALSE(present);
  EXPECT_EQ(chain.SignalIsPresent(2, &present), 0);
  EXPECT_TRUE(present);
  EXPECT_EQ(chain.GetRateDetect(1, &rate), 0);
  EXPECT_EQ(rate, 0U);
  EXPECT_EQ(chain.GetRateDetect(2, &rate), 0);
  EXPECT_EQ(rate, 1U);
  board.equaliserChain.SetSignal(1, true, 6);
  EXPECT_EQ(chain.GetRateDetect(1, &rate), 0);
  EXPECT_EQ(rate, 6U);
  board.equaliserSpi.StartTrace();
  EXPECT_EQ(chain.GetStatus(2), (SdiCableEqStatus{true, 1}));
  EXPECT_EQ(board.equaliserSpi.TakeSent().size(), 4U);
}

TEST_F(SdiCableEqTest, ReadingIsLoggedByteByByte) {
  SetLogLevel(kLogDebug);
  Build(2);
  board.equaliserChain.SetSignal(0, true, 3);
  bool present = false;
  EXPECT_EQ(chain.SignalIsPresent(0, &present), 0);
  const std::vector<LogRecord> reading{{7, "0x00: TX 0xff RX 0x8f"},
                                       {7, "0x01: TX 0xff RX 0x01"},
                                       {7, "0x02: TX 0xff RX 0x8f"},
                                       {7, "0x03: TX 0xff RX 0x04"},
                                       {6, "3"},
                                       {6, "SDI 65 0x0f: 0x04"},
                                       {6, "1"},
                                       {6, "SDI 66 0x0f: 0x01"}};
  std::vector<LogRecord> twice = reading;
  twice.insert(twice.end(), reading.begin(), reading.end());
  EXPECT_EQ(board.log.WithoutOrigins(), twice);
}

TEST_F(SdiCableEqTest, IndexPastTheEndRefreshesAndFails) {
  Build(2);
  board.equaliserChain.SetSignal(1, true, 2);
  std::uint32_t rate = 99;
  bool present = true;
  EXPECT_EQ(chain.GetRateDetect(2, &rate), -1);
  EXPECT_EQ(rate, 0U);
  EXPECT_EQ(board.equaliserSpi.TakeSent().size(), 4U);
  EXPECT_EQ(chain.SignalIsPresent(~std::size_t{0}, &present), -1);
  EXPECT_FALSE(present);
  EXPECT_FALSE(chain.GetStatus(2));
  EXPECT_EQ(board.log.Messages(3), Lines(3, "Requested EQ does not exist"));
}

TEST_F(SdiCableEqTest, FailedRefreshHandsOutWhatWasKnown) {
  Build(2);
  board.equaliserChain.SetSignal(1, true, 3);
  std::uint32_t rate = 0;
  EXPECT_EQ(chain.GetRateDetect(1, &rate), 0);
  board.log.Clear();
  board.settings.equaliserSpiFault = SpiFault::kLsbFirst;
  rate = 99;
  EXPECT_EQ(chain.GetRateDetect(1, &rate), 0);
  EXPECT_EQ(rate, 3U);
  const std::string order = "Unable to set SPI LSB order to 0";
  const std::string setUp = "Unable to setup SPI controller for transmit";
  EXPECT_EQ(board.log.Messages(3),
            (Lines{order, setUp, order, setUp, "Incorrect RX data size on SPI chain read",
                   "Unable to read signal presence status"}));
  board.log.Clear();
  EXPECT_EQ(chain.SetOutputEnable(0, false), -1);
  EXPECT_EQ(board.log.Messages(3), (Lines{order, setUp, "Unable to write to specified device"}));

  // A transfer that fails reads as zeros: a signal of the first rate.
  board.settings.equaliserSpiFault = SpiFault::kTransfer;
  EXPECT_EQ(chain.GetRateDetect(1, &rate), 0);
  EXPECT_EQ(rate, 1U);
  board.settings.equaliserSpiFault = SpiFault::kNone;
  EXPECT_EQ(chain.GetRateDetect(1, &rate), 0);
  EXPECT_EQ(rate, 3U);
}

// A controller of which one transfer brings too few bytes, or fails with as many as it should
// bring.
class BadTransfer : public Spi {
 public:
  explicit BadTransfer(int bad = 0, bool fails = false) : bad_(bad), fails_(fails) {}

  int Transmit(Bytes&, const SpiSettings&) override { return -1; }
  int Transmit16(std::vector<std::uint16_t>&, const SpiSettings&) override { return -1; }
  int TransmitAndReceive(Bytes& tx, Bytes& rx, std::uint32_t, bool, const SpiSettings&) override {
    const bool bad = ++transfers_ == bad_;
    rx.assign(bad && !fails_ ? 3 : tx.size(), 0x06);
    return bad && fails_ ? -1 : 0;
  }
  int TransmitAndReceive16(std::vector<std::uint16_t>&, std::vector<std::uint16_t>&, std::uint32_t,
                           bool, const SpiSettings&) override {
    return -1;
  }
  int Transmit10Bits(std::uint16_t, const SpiSettings&) override { return -1; }
  bool LastTransferWasWhole() const override { return true; }

 private:
  int transfers_ = 0;
  int bad_;  // the number of the transfer, from 1
  bool fails_;
};

TEST_F(SdiCableEqTest, ABadTransferIsNoAnswer) {
  BadTransfer device;
  EXPECT_EQ(chain.Initialize(&device, kSettings), 0);
  chain.AddDevice(new M23664_Soc);
  chain.AddDevice(new M23664_Soc);
  for (const bool fails : {false, true}) {
    for (int bad = 0; bad <= 4; ++bad) {
      device = BadTransfer(bad, fails);
      EXPECT_EQ(chain.GetStatus(1).has_value(), bad == 0) << bad << fails;
    }
  }
  board.log.Clear();
  device = BadTransfer(4);
  bool present = false;
  EXPECT_EQ(chain.SignalIsPresent(1, &present), 0);
  EXPECT_TRUE(present);
  EXPECT_EQ(board.log.Messages(3), (Lines{"Incorrect RX data size on SPI chain read",
                                          "Unable to read rate detect status"}));
}

TEST_F(SdiCableEqTest, NeedsAController) {
  chain.AddDevice(new M23664_Soc);
  bool present = true;
  EXPECT_EQ(chain.SignalIsPresent(0, &present), 0);
  EXPECT_FALSE(present);
  EXPECT_EQ(chain.SetOutputEnable(0, true), -1);
  EXPECT_EQ(chain.Initialize(&spi, kSettings), 0);
  EXPECT_EQ(chain.Initialize(&spi, kSettings), -1);
  M23664_Soc device;
  EXPECT_EQ(device.Initialize(&spi, kSettings, 2, 2), -1);
  EXPECT_EQ(device.Initialize(&spi, kSettings, 1, 2), 0);
  EXPECT_EQ(device.Initialize(&spi, kSettings, 1, 2), -1);
  EXPECT_EQ(board.log.Messages(3),
            (Lines{"No SPI controller assigned", "Unable to read signal presence status",
                   "No SPI controller assigned", "Attempt to re-initialize",
                   "Out of range device index", "Attempt to re-initialize"}));
}

struct ChipWrite {
  std::size_t chip;
  int reg;
  int data;

  friend bool operator==(const ChipWrite&, const ChipWrite&) = default;
};

// The write in each transfer, which must hold exactly one.
std::vector<ChipWrite> WritesIn(const std::vector<Bytes>& sent, std::size_t chips) {
  std::vector<ChipWrite> writes;
  for (const Bytes& frames : sent) {
    EXPECT_EQ(frames.size(), 2 * chips);
    std::size_t found = 0;
    for (std::size_t i = 0; i + 1 < frames.size(); i += 2) {
      if (frames[i] != 0x7F) {
        writes.push_back({chips - 1 - i / 2, frames[i], frames[i + 1]});
        ++found;
      }
    }
    EXPECT_EQ(found, 1U);
  }
  return writes;
}

TEST_F(SdiCableEqTest, SetUpDependsOnRevisionAndPlace) {
  Build(3);
  board.equaliserChain.SetRegister(0, 1, kRevB);
  board.equaliserChain.SetRegister(1, 1, kRevC);
  board.equaliserChain.SetRegister(2, 1, kRevB);
  testing::internal::CaptureStdout();
  chain.DoRequiredSetup();
  EXPECT_EQ(testing::internal::GetCapturedStdout(), "REV B\n");
  auto sent = board.equaliserSpi.TakeSent();
  ASSERT_EQ(sent.size(), 31U);
  EXPECT_EQ(sent[0], (Bytes{0x81, 0, 0x81, 0, 0x81, 0}));
  sent.erase(sent.begin(), sent.begin() + 2);
  EXPECT_EQ(WritesIn(sent, 3),
            (std::vector<ChipWrite>{
                {0, 0x78, 0x62}, {0, 0x79, 0x26}, {0, 0x7A, 0x55}, {0, 0x60, 0x1E}, {0, 0x61, 0xFE},
                {0, 0x62, 0x0E}, {0, 0x50, 0x07}, {0, 0x4E, 0x08}, {0, 0x4F, 0x10}, {0, 0x51, 0x78},
                {0, 0x44, 0x6B}, {0, 0x12, 0x02}, {0, 0x03, 0x09}, {0, 0x05, 0x09}, {0, 0x08, 0x0B},
                {0, 0x07, 0x3F}, {0, 0x02, 0x0A}, {0, 0x02, 0x02}, {1, 0x03, 0x09}, {1, 0x05, 0x09},
                {1, 0x08, 0x0B}, {1, 0x07, 0x3F}, {1, 0x02, 0x0A}, {1, 0x02, 0x02}, {2, 8, 3},
                {2, 7, 63},      {2, 2, 2},       {2, 2, 10},      {2, 2, 2}}));
  const Lines infos = board.log.Messages(6);
  ASSERT_EQ(infos.size(), 36U);
  EXPECT_EQ(infos[6], "Doing special MA23664 Rev B setup");
  EXPECT_EQ(infos[7], "dev: 0 addr: 0x78 data: 0x62");
  EXPECT_EQ(infos[25], "dev: 1 addr: 0x03 data: 0x09");
  EXPECT_EQ(infos[31], "dev: 4 addr: 0x08 data: 0x03");
}

TEST_F(SdiCableEqTest, SetUpWithoutRevisionsOrWithOneChip) {
  Build(2);
  board.settings.equaliserSpiFault = SpiFault::kMode;
  chain.DoRequiredSetup();
  const Lines errors = board.log.Messages(3);
  ASSERT_EQ(errors.size(), 4U + 2 + 5 * 3);
  EXPECT_EQ(errors[5], "Device Revision ID needed before setup can be performed");
  EXPECT_EQ(errors.back(), "Unable to write to specified device");
  board.settings.equaliserSpiFault = SpiFault::kNone;

  SdiCableEqInterface one;
  one.Initialize(&spi, kSettings);
  one.AddDevice(new M23664_Soc);
  board.equaliserSpi.StartTrace();
  one.DoRequiredSetup();
  auto sent = board.equaliserSpi.TakeSent();
  ASSERT_EQ(sent.size(), 7U);
  sent.erase(sent.begin(), sent.begin() + 2);
  EXPECT_EQ(WritesIn(sent, 1),
            (std::vector<ChipWrite>{{0, 8, 3}, {0, 7, 63}, {0, 2, 2}, {0, 2, 10}, {0, 2, 2}}));

  SdiCableEqInterface none;
  none.Initialize(&spi, kSettings);
  none.DoRequiredSetup();
  EXPECT_EQ(none.GetChainLength(), 0U);
}

TEST(M23664Test, DecodesStatus) {
  struct Case {
    std::uint8_t status;
    bool present;
    std::uint32_t rate;
  };
  M23664 chip;
  for (const Case& one : {Case{0x01, false, 0}, Case{0x0B, false, 0}, Case{0x00, true, 1},
                          Case{0x06, true, 4}, Case{0x0A, true, 6}, Case{0x0C, true, 0},
                          Case{0x0E, true, 0}, Case{0xF2, true, 2}, Case{0xFF, false, 0}}) {
    EXPECT_EQ(chip.DecodeSignalPresent(one.status), one.present) << int{one.status};
    EXPECT_EQ(chip.DecodeRate(one.status), one.rate) << int{one.status};
  }
  std::vector<RegPair> pairs{{9, 9}};
  chip.GetDeviceInitRegAddrAndData(pairs, 0);
  EXPECT_EQ(pairs.size(), 7U);
  EXPECT_EQ(pairs[0], (RegPair{9, 9}));
}

class MarkedChip : public M23664 {
 public:
  MarkedChip(std::string& order, char mark) : order_(order), mark_(mark) {}
  ~MarkedChip() override { order_ += mark_; }

 private:
  std::string& order_;
  char mark_;
};

TEST(SdiCableEqOwnership, ChipsGoFirstToLast) {
  std::string order;
  {
    SdiCableEqInterface chain;
    for (const char mark : {'a', 'b', 'c'}) {
      chain.AddDevice(new MarkedChip(order, mark));
    }
  }
  EXPECT_EQ(order, "abc");
}

}  // namespace
