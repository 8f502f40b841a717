#include "modules/SdiTx.h"

#include <gtest/gtest.h>

#include <functional>

#include "log/Log.h"
#include "sim/Board.h"
#include "sim/models/SdiTxModel.h"
#include "support/Accesses.h"

namespace {

using sim::Stored;

constexpr std::uint32_t kReset = 0x700000;
constexpr std::uint32_t kControl = 0x700008;
constexpr std::uint32_t kPicxoLoop = 0x700010;
constexpr std::uint32_t kPicxoReference = 0x700014;
constexpr std::uint32_t kPicxoRatio = 0x700018;
constexpr std::uint32_t kPicxoDividers = 0x700020;
constexpr std::uint32_t kNcoLoop = 0x700024;
constexpr std::uint32_t kNcoRatio = 0x70002C;

class SdiTxTest : public testing::Test {
 protected:
  // Every register holds other bits than the driver writes: what it must leave alone shows.
  SdiTxTest() {
    model.SetWord(0x00, 0xFFFFFF78);
    for (const std::uint32_t offset : {0x08U, 0x10U, 0x14U, 0x18U, 0x20U, 0x24U, 0x28U, 0x2CU}) {
      model.SetWord(offset, 0xFFFFFFFF);
    }
  }

  sim::Board& board = sim::Board::Get();
  sim::SdiTxModel& model = board.Core<sim::SdiTxModel>("sdi_tx0");
  SdiTxImpl tx{"sdi_tx0", 0x700000, 0};
};

const std::vector kPicxoPulse{Stored(kReset, 0xFFFFFFF8), Stored(kReset, 0xFFFFFF78)};

TEST_F(SdiTxTest, InitResetsThenLoadsBothClockLoops) {
  const std::vector expected{
      // reset, FIFO, PICXO held; then released with the transceiver, the FIFO last
      Stored(kReset, 0xFFFFFF79), Stored(kReset, 0xFFFFFF7D), Stored(kReset, 0xFFFFFFFD),
      Stored(kReset, 0xFFFFFFFD), Stored(kReset, 0xFFFFFF7D), Stored(kReset, 0xFFFFFF7C),
      Stored(kReset, 0xFFFFFF78),
      // the PICXO loop
      Stored(kPicxoLoop, 0x0FFFFFFF), Stored(kPicxoLoop, 0x0FFF07FF),
      Stored(kPicxoLoop, 0x0FFF01BF), Stored(kPicxoLoop, 0x0FFF0187),
      Stored(kPicxoLoop, 0x0FFF0186), Stored(kPicxoReference, 0xFFBFFFFF),
      Stored(kPicxoReference, 0xFF800000), Stored(kPicxoRatio, 0x0000FFFF),
      Stored(kPicxoRatio, 0x00000002), Stored(kPicxoDividers, 0xF80BFFFF),
      Stored(kPicxoDividers, 0xF80A027F), Stored(kPicxoDividers, 0xF80A0259),
      // the NCO loop and the reference input
      Stored(kNcoRatio, 0xFFFF03BE), Stored(kNcoRatio, 0x000003BE), Stored(kNcoLoop, 0xFFFFFFC7),
      Stored(kNcoLoop, 0x01FFFFC7), Stored(kNcoLoop, 0x01FF37C7), Stored(kNcoLoop, 0x01FF3287),
      Stored(kPicxoReference, 0xFA000000)};
  const std::uint64_t loads = board.registers.LoadCount();
  EXPECT_EQ(StoresOf([&] { EXPECT_EQ(tx.Init(), 0); }), expected);
  EXPECT_EQ(board.registers.LoadCount() - loads, expected.size());
}

TEST_F(SdiTxTest, ResetsHoldWhatIsAskedForAndReleaseAll) {
  EXPECT_EQ(StoresOf([&] { tx.HoldInReset(true, false, false); }),
            (std::vector{Stored(kReset, 0xFFFFFF79), Stored(kReset, 0xFFFFFF7B)}));
  model.SetWord(0x00, 0xFFFFFF38);
  EXPECT_EQ(StoresOf([&] { tx.Reset(true, true, true); }),
            (std::vector{Stored(kReset, 0xFFFFFF39), Stored(kReset, 0xFFFFFF3B),
                         Stored(kReset, 0xFFFFFF3F), Stored(kReset, 0xFFFFFFBF),
                         Stored(kReset, 0xFFFFFFBD), Stored(kReset, 0xFFFFFF3D),
                         Stored(kReset, 0xFFFFFF3C), Stored(kReset, 0xFFFFFF38)}));
}

TEST_F(SdiTxTest, StatusTellsWhatIsDoneAndLocked) {
  const struct {
    std::uint32_t status;
    bool done;
    bool locked;
  } cases[] = {{0x00, false, false}, {0x08, false, false}, {0x40, false, false},
               {0x48, true, false},  {0x4A, true, true},   {0x04, false, true},
               {0x31, false, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.status);
    model.Set("txStatus", c.status);
    EXPECT_EQ(tx.IsChangeDone(), c.done);
    EXPECT_EQ(tx.IsPllLocked(), c.locked);
  }
  EXPECT_TRUE(tx.IsReady());
}

TEST_F(SdiTxTest, FormatChoosesRateMultiplexingAndClock) {
  constexpr std::uint32_t kKept = 7;
  const struct {
    std::uint32_t id;
    std::uint32_t std, mux;
    std::uint32_t pllSelect, picxoC;
  } cases[] = {
      {5, 0, 0, 0, 89},    // 525i 59.94: fractional in the table, but on the integer clock
      {16, 1, 0, 1, 90},   // 1080i 59.94
      {41, 2, 0, 0, 89},   // 3G level A
      {46, 3, 1, 1, 90},   // 3G level B
      {52, 2, 0, 1, 90},   // a level B picture on a level A link
      {60, 4, 3, 1, 90},   // 6G
      {64, 2, 3, 0, 89},   // quad link: the rate of one of them
      {86, 1, 3, 1, 90},   // quad link of HD
      {139, 5, 3, 1, 90},  // 12G
      {0, kKept, kKept, 0, 89},
      {26, kKept, kKept, 0, 89},  // no standard has these
      {180, kKept, kKept, 0, 89},
      {0xFFFFFFFF, kKept, kKept, 0, 89},
      {0x80000000, kKept, kKept, 0, 89},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    model.SetWord(0x08, 0xFFFFFFFF);
    model.SetWord(0x20, 0);
    tx.SetOutVideoFormat(c.id);
    EXPECT_EQ(model.Word(0x08), 0xFFFFFBC0 | c.pllSelect << 10 | c.mux << 3 | c.std);
    EXPECT_EQ(model.Word(0x20), c.picxoC);
  }
}

TEST_F(SdiTxTest, FormatIsWrittenOnceAndResetsEveryTime) {
  SetLogLevel(kLogDebug);
  const std::vector clockAndReset{Stored(kControl, 0xFFFFFFC1), Stored(kPicxoDividers, 0xFFFFFFDA),
                                  Stored(kReset, 0xFFFFFF79), Stored(kReset, 0xFFFFFF78)};
  std::vector first{Stored(kControl, 0xFFFFFFF9), Stored(kControl, 0xFFFFFFC1)};
  first.insert(first.end(), clockAndReset.begin(), clockAndReset.end());
  EXPECT_EQ(StoresOf([&] { tx.SetOutVideoFormat(16); }), first);
  EXPECT_EQ(StoresOf([&] { tx.SetOutVideoFormat(16); }), clockAndReset);
  // "No standard" is remembered too: the same standard is written anew behind it.
  EXPECT_EQ(StoresOf([&] { tx.SetOutVideoFormat(0); }).size(), 4U);
  EXPECT_EQ(board.log.Messages(7),
            (std::vector<std::string>{"Setting SDI TX to output video format 0"}));
  EXPECT_EQ(StoresOf([&] { tx.SetOutVideoFormat(16); }).size(), 6U);
}

TEST(SdiTxDecisions, MultiplexingFollowsTheStreams) {
  EXPECT_EQ(sdi_tx::MuxPattern(1, SdiRate::k3GLevelB), 1U);
  EXPECT_EQ(sdi_tx::MuxPattern(2, SdiRate::k3GLevelB), 1U);
  EXPECT_EQ(sdi_tx::MuxPattern(1, SdiRate::k270M), 0U);
  EXPECT_EQ(sdi_tx::MuxPattern(4, SdiRate::k3GLevelB), 2U);
  EXPECT_EQ(sdi_tx::MuxPattern(8, SdiRate::k3GLevelB), 3U);
  EXPECT_EQ(sdi_tx::MuxPattern(16, SdiRate::k12G), 4U);
  EXPECT_EQ(sdi_tx::MuxPattern(32, SdiRate::k12G), 0U);
  EXPECT_EQ(sdi_tx::MuxPattern(0, SdiRate::k3GLevelB), 0U);
}

TEST_F(SdiTxTest, PicxoReferenceLoadsTheRatioOfItsStandard) {
  const struct {
    std::int32_t id;
    std::uint16_t select;
    std::uint32_t ratio;
  } cases[] = {{5, 5, 0x00000D66},  {10, 5, 0x00031774},  {12, 3, 0x0000059E},
               {18, 3, 0x000007D0}, {140, 0, 0x0000031E}, {0, 15, 0x00000000},
               {12, 2, 0x0000021A}, {999, 2, 0x0000021A}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.id);
    model.SetWord(0x2C, 0xFFFFFFFF);
    const std::uint32_t reference = 0xF87FFFFF | static_cast<std::uint32_t>(c.select) << 23;
    EXPECT_EQ(StoresOf([&] { tx.SetPicxoReference(c.id, c.select); }),
              (std::vector{Stored(kPicxoReference, reference),
                           Stored(kNcoRatio, 0xFFFF0000 | (c.ratio & 0xFFFF)),
                           Stored(kNcoRatio, c.ratio), kPicxoPulse[0], kPicxoPulse[1]}));
  }
}

TEST_F(SdiTxTest, PicxoReferenceWithoutRatioStillRestarts) {
  for (const std::int32_t id : {1, 21, 34, 42, 64, 141, 180, -1}) {
    SCOPED_TRACE(id);
    EXPECT_EQ(StoresOf([&] { tx.SetPicxoReference(id, 6); }),
              (std::vector{Stored(kPicxoReference, 0xFB7FFFFF), kPicxoPulse[0], kPicxoPulse[1]}));
  }
}

TEST_F(SdiTxTest, PicxoReferenceThatStandsIsNotWrittenAgain) {
  // Input 4 and no standard stand from the start.
  EXPECT_TRUE(StoresOf([&] { tx.SetPicxoReference(0, 4); }).empty());
  EXPECT_EQ(StoresOf([&] { tx.SetPicxoReference(12, 4); }).size(), 5U);
  EXPECT_TRUE(StoresOf([&] { tx.SetPicxoReference(12, 4); }).empty());
  // At input 8 the standard makes no difference, but it is remembered.
  EXPECT_EQ(StoresOf([&] { tx.SetPicxoReference(12, 8); }).size(), 5U);
  EXPECT_TRUE(StoresOf([&] { tx.SetPicxoReference(39, 8); }).empty());
  EXPECT_EQ(StoresOf([&] { tx.SetPicxoReference(39, 4); }).size(), 5U);
  EXPECT_TRUE(StoresOf([&] { tx.SetPicxoReference(39, 4); }).empty());
}

TEST_F(SdiTxTest, ThirdNcoErrorInARowRestartsThePicxoLoop) {
  const auto stores = [&](std::uint32_t error) {
    model.Set("ncoError", error);
    return StoresOf([&] { tx.CheckNcoError(); });
  };
  constexpr std::uint32_t kMinus4000 = 0xFFFFF060;
  for (const std::uint32_t inRange : {4000U, kMinus4000, 0U, 0xFFFFFFFFU}) {
    SCOPED_TRACE(inRange);
    EXPECT_TRUE(stores(4001).empty());
    EXPECT_TRUE(stores(kMinus4000 - 1).empty());
    EXPECT_TRUE(stores(inRange).empty());
  }
  for (int round = 0; round < 2; ++round) {
    EXPECT_TRUE(stores(4001).empty());
    EXPECT_TRUE(stores(0x80000000).empty());
    EXPECT_EQ(stores(0x7FFFFFFF), kPicxoPulse);
  }
}

TEST_F(SdiTxTest, SettersWriteTheirFieldsInOrder) {
  EXPECT_EQ(StoresOf([&] { tx.SetOutputDrive(1, 2, 3); }),
            (std::vector{Stored(kControl, 0xFFE1FFFF), Stored(kControl, 0xFC41FFFF),
                         Stored(kControl, 0x8C41FFFF)}));
  EXPECT_EQ(StoresOf([&] { tx.SetInsertions(0, 1, 0); }),
            (std::vector{Stored(kControl, 0x8C41FF7F), Stored(kControl, 0x8C41FF7F),
                         Stored(kControl, 0x8C41FE7F)}));
  EXPECT_EQ(StoresOf([&] { tx.SetPicxoRefSelect(9); }),
            (std::vector{Stored(kPicxoReference, 0xFCFFFFFF)}));
  tx.SetPllSelect(false);
  EXPECT_FALSE(tx.GetPllSelect());
  tx.SetPllSelect(true);
  EXPECT_TRUE(tx.GetPllSelect());
}

TEST_F(SdiTxTest, PicxoSettingsAreWrittenInOrder) {
  for (const std::uint32_t offset : {0x10U, 0x14U, 0x18U, 0x20U}) {
    model.SetWord(offset, 0);
  }
  EXPECT_EQ(StoresOf([&] { tx.SetupPicxo(1, 2, 3, 4, 1, 1, 5, 6, 7, 8, 9, 10); }),
            (std::vector{Stored(kPicxoLoop, 0x00010000), Stored(kPicxoLoop, 0x00011000),
                         Stored(kPicxoLoop, 0x000110C0), Stored(kPicxoLoop, 0x000110D0),
                         Stored(kPicxoLoop, 0x000110D1), Stored(kPicxoReference, 0x00400000),
                         Stored(kPicxoReference, 0x00400005), Stored(kPicxoRatio, 0x00060000),
                         Stored(kPicxoRatio, 0x00060007), Stored(kPicxoDividers, 0x00100000),
                         Stored(kPicxoDividers, 0x00100480), Stored(kPicxoDividers, 0x0010048A)}));
  EXPECT_EQ(StoresOf([&] { tx.TunePicxo(0xFFFF, 31, 31, 0, 0x3FFFFF, 0, 0xFFFF); }),
            (std::vector{Stored(kPicxoLoop, 0xFFFF10D1), Stored(kPicxoLoop, 0xFFFFF8D1),
                         Stored(kPicxoLoop, 0xFFFFFFD1), Stored(kPicxoReference, 0x00000005),
                         Stored(kPicxoReference, 0x003FFFFF), Stored(kPicxoRatio, 0x00000007),
                         Stored(kPicxoRatio, 0x0000FFFF)}));
}

TEST(SdiTxOnTheBoard, ComesUpByItsOwnResets) {
  sim::Board& board = sim::Board::Get();
  SdiTxImpl tx("sdi_tx3", 0xA00000, 3);
  EXPECT_FALSE(tx.IsChangeDone());
  EXPECT_EQ(tx.Init(), 0);
  EXPECT_TRUE(tx.IsChangeDone());
  EXPECT_TRUE(tx.IsPllLocked());
  tx.HoldInReset(true, true, true);
  EXPECT_FALSE(tx.IsChangeDone());
  tx.ReleaseFromReset();
  EXPECT_TRUE(tx.IsChangeDone());
  EXPECT_EQ(board.Core<sim::SdiTxModel>("sdi_tx0").Get("txResetDone"), 0U);
}

}  // namespace
