#include "interfaces/Spi_Soc.h"

#include <gtest/gtest.h>

#include <functional>

#include "log/Log.h"
#include "sim/Board.h"

namespace {

using Bytes = std::vector<std::uint8_t>;
using Words = std::vector<std::uint16_t>;
using Lines = std::vector<std::string>;
using sim::SpiCall;
using sim::SpiFault;
using Kind = sim::SpiCall::Kind;

constexpr SpiSettings kSettings{0, 0, 0, 8, 1'000'000};

class SpiSocTest : public testing::Test {
 protected:
  SpiSocTest() { EXPECT_EQ(spi.Initialize("/dev/spidev0.0"), 0); }

  std::vector<Bytes> SentBy(const std::function<void()>& operation) {
    board.driverSpi.StartTrace();
    operation();
    return board.driverSpi.TakeSent();
  }

  sim::Board& board = sim::Board::Get();
  Spi_Soc spi;
};

TEST_F(SpiSocTest, SettingsGoAheadOfEachTransfer) {
  board.driverSpi.StartTrace();
  Bytes data{1, 2, 3};
  EXPECT_EQ(spi.Transmit(data, kSettings), 0);
  EXPECT_EQ(spi.Transmit10Bits(0x3A5, {0, 3, 1, 10, 42}), 0);
  EXPECT_EQ(board.driverSpi.TakeTrace(),
            (std::vector<SpiCall>{{Kind::kMode, 0},
                                  {Kind::kLsbFirst, 0},
                                  {Kind::kBitsPerWord, 8},
                                  {Kind::kTransfer, 1'000'000, 8, {1, 2, 3}},
                                  {Kind::kMode, 3},
                                  {Kind::kLsbFirst, 1},
                                  {Kind::kBitsPerWord, 10},
                                  {Kind::kTransfer, 42, 10, {0xA5, 0x03}}}));
  EXPECT_EQ(data, (Bytes{1, 2, 3}));
}

TEST_F(SpiSocTest, WordsGoHighByteFirst) {
  Words words{0x2080, 0x001E, 0x0008};
  EXPECT_EQ(SentBy([&] { EXPECT_EQ(spi.Transmit16(words, kSettings), 0); }),
            (std::vector<Bytes>{{0x20, 0x80, 0x00, 0x1E, 0x00, 0x08}}));
  EXPECT_EQ(words, (Words{0x8020, 0x1E00, 0x0800}));
}

// A cable driver without an address answers on unit 0.
TEST_F(SpiSocTest, ZerosClockTheAnswerOut) {
  board.driverChain.SetRegister(0, 30, 0x0A0B);
  Bytes tx{0xA0, 0x00, 0x00, 0x1E};
  Bytes rx{9, 9, 9, 9, 9, 9, 9, 9};
  EXPECT_EQ(SentBy([&] { EXPECT_EQ(spi.TransmitAndReceive(tx, rx, 2, false, kSettings), 0); }),
            (std::vector<Bytes>{{0xA0, 0x00, 0x00, 0x1E, 0, 0}}));
  EXPECT_EQ(rx, (Bytes{0, 0, 0, 0, 0x0A, 0x0B}));
  EXPECT_EQ(tx.size(), 6U);
  EXPECT_EQ(spi.TransmitAndReceive(tx, rx, 1, true, kSettings), 0);
  EXPECT_EQ(rx, (Bytes{0}));
  EXPECT_EQ(tx.size(), 7U);
  EXPECT_EQ(spi.TransmitAndReceive(tx, rx, 0, true, kSettings), 0);
  EXPECT_EQ(rx, (Bytes{}));

  Words wordsOut{0xA000, 0x001E};
  Words wordsIn;
  EXPECT_EQ(spi.TransmitAndReceive16(wordsOut, wordsIn, 1, true, kSettings), 0);
  EXPECT_EQ(wordsIn, (Words{0x0B0A}));
  EXPECT_EQ(wordsOut, (Words{0x00A0, 0x1E00, 0}));
  wordsOut = {0xA000, 0x001E};
  EXPECT_EQ(spi.TransmitAndReceive16(wordsOut, wordsIn, 1, false, kSettings), 0);
  EXPECT_EQ(wordsIn, (Words{0, 0, 0x0B0A}));
}

TEST_F(SpiSocTest, LengthsAreLimited) {
  Bytes bytes(4096);
  Words words(2048);
  Bytes bytesIn;
  Words wordsIn;
  Bytes none;
  const auto sent = SentBy([&] {
    EXPECT_EQ(spi.Transmit(bytes, kSettings), 0);
    EXPECT_EQ(spi.Transmit16(words, kSettings), 0);
    EXPECT_EQ(spi.TransmitAndReceive(bytes, bytesIn, 0, false, kSettings), 0);
    EXPECT_EQ(spi.TransmitAndReceive16(words, wordsIn, 0, false, kSettings), 0);
    EXPECT_EQ(spi.Transmit(none, kSettings), 0);
  });
  ASSERT_EQ(sent.size(), 5U);
  EXPECT_EQ(sent[3].size(), 4096U);
  EXPECT_EQ(sent[4].size(), 0U);
  EXPECT_EQ(board.log.Messages(3), (Lines{}));

  Bytes longBytes(4097);
  Words longWords(2049, 0x1234);
  Words noWords;
  EXPECT_TRUE(SentBy([&] {
                EXPECT_EQ(spi.Transmit(longBytes, kSettings), -1);
                EXPECT_EQ(spi.Transmit16(longWords, kSettings), -1);
                EXPECT_EQ(spi.TransmitAndReceive(bytes, bytesIn, 1, true, kSettings), -1);
                EXPECT_EQ(spi.TransmitAndReceive16(words, wordsIn, ~0U, true, kSettings), -1);
                EXPECT_EQ(spi.TransmitAndReceive(none, bytesIn, ~0U, true, kSettings), -1);
                EXPECT_EQ(spi.TransmitAndReceive16(noWords, wordsIn, 1, true, kSettings), -1);
              }).empty());
  const std::string tooLong = "SPI transfer length greater than MAX_TRANSFER_SIZE";
  const std::string empty = "Zero length transactions not allowed";
  EXPECT_EQ(board.log.Messages(3), (Lines{tooLong, tooLong, tooLong, tooLong, empty, empty}));
  EXPECT_EQ(words.size(), 2048U);
}

TEST_F(SpiSocTest, EveryFailureHasItsLines) {
  const std::string transmit = "Unable to setup SPI controller for transmit";
  const std::string transmit16 = "Unable to setup SPI controller for 16-bit transmit";
  const std::string both16 = transmit16 + " and receive";
  const std::string message = "SPI_IOC_MESSAGE ioctl failed";
  const std::string error = message + " with errno 5 Input/output error";
  struct Case {
    SpiFault fault;
    std::string setUp;
    Lines transfers;  // of the five operations, where the transfer fails and not the set-up
  };
  const std::vector<Case> cases{
      {SpiFault::kMode, "Unable to set SPI mode to 2", {}},
      {SpiFault::kLsbFirst, "Unable to set SPI LSB order to 1", {}},
      {SpiFault::kBitsPerWord, "Unable to set SPI bits per word to 9", {}},
      {SpiFault::kVanished, "Unable to set SPI mode to 2", {}},
      {SpiFault::kTransfer, "", {error, error + " 4", message, message, error}}};
  const SpiSettings settings{0, 2, 1, 9, 1'000'000};
  for (const Case& one : cases) {
    board.settings.driverSpiFault = one.fault;
    board.log.Clear();
    Bytes bytes{1};
    Words words{1, 2};
    Bytes bytesIn;
    Words wordsIn;
    EXPECT_EQ(spi.Transmit(bytes, settings), -1);
    EXPECT_EQ(spi.Transmit16(words, settings), -1);
    EXPECT_EQ(spi.TransmitAndReceive(bytes, bytesIn, 0, false, settings), -1);
    EXPECT_EQ(spi.TransmitAndReceive16(words, wordsIn, 0, false, settings), -1);
    EXPECT_EQ(spi.Transmit10Bits(1, settings), -1);
    const Lines setUps{one.setUp, transmit,  one.setUp, transmit16, one.setUp,
                       transmit,  one.setUp, both16,    one.setUp,  transmit};
    EXPECT_EQ(board.log.Messages(3), one.setUp.empty() ? one.transfers : setUps);

    board.settings.driverSpiFault = SpiFault::kNone;
    EXPECT_EQ(spi.Transmit(bytes, kSettings), 0);
  }
}

TEST_F(SpiSocTest, BytesThatDontComeAreZero) {
  board.settings.driverSpiFault = SpiFault::kShort;
  board.driverChain.SetRegister(0, 30, 0x0A0B);
  Bytes tx{0xA0, 0x00, 0x00, 0x1E};
  Bytes rx(12, 0xEE);
  EXPECT_EQ(spi.TransmitAndReceive(tx, rx, 8, false, kSettings), 0);
  EXPECT_EQ(rx, (Bytes{0, 0, 0, 0, 0x0A, 0x0B, 0, 0, 0, 0, 0, 0}));
}

TEST_F(SpiSocTest, OpensOnceAndAgainAfterShutdown) {
  SetLogLevel(kLogDebug);
  EXPECT_EQ(spi.Initialize("/dev/spidev1.0"), -1);
  EXPECT_EQ(spi.Shutdown(), 0);
  EXPECT_EQ(spi.Shutdown(), 0);
  Bytes data{1};
  EXPECT_EQ(spi.Transmit(data, kSettings), -1);
  EXPECT_EQ(spi.Initialize("/dev/spidev7.7"), -1);
  {
    Spi_Soc other;
    EXPECT_EQ(other.Initialize("/dev/spidev1.0"), 0);
  }
  board.settings.driverSpiFault = SpiFault::kMissing;
  EXPECT_EQ(spi.Initialize("/dev/spidev0.0"), -1);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<sim::LogRecord>{{4, "Controller already initialized"},
                                         {7, "Closing SPI controller"},
                                         {3, "Unable to set SPI mode to 0"},
                                         {3, "Unable to setup SPI controller for transmit"},
                                         {3, "Unable to open /dev/spidev7.7"},
                                         {7, "Closing SPI controller"},
                                         {3, "Unable to open /dev/spidev0.0"}}));
  board.settings.driverSpiFault = SpiFault::kNone;
  EXPECT_EQ(spi.Initialize("/dev/spidev0.0"), 0);
  EXPECT_EQ(spi.Transmit(data, kSettings), 0);
}

}  // namespace
