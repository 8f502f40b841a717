#include "modules/SdiTx.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>

#include "sim/models/SdiTxModel.h"
#include "support/CoreTest.h"
#include "top/TopFpga.h"

namespace {

class SdiTxTest : public CoreTest<sim::SdiTxModel> {
 protected:
  SdiTxTest() : CoreTest("sdi_tx3") { FillWithGarbage(); }

  SdiTxImpl tx{name, base, 3};
  const Accesses picxoPulse{W("resetPicxo", 1), W("resetPicxo", 0)};
};

TEST_F(SdiTxTest, InitResetsThenLoadsBothClockLoops) {
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(tx.Init(), 0); }),
            (Accesses{W("reset", 1),          W("resetFifo", 1),
                      W("resetPicxo", 1),     W("resetPhy", 0),
                      W("resetPicxo", 0),     W("reset", 0),
                      W("resetFifo", 0),      W("picxoCeDspRate", 4095),
                      W("picxoG1", 0),        W("picxoG2", 6),
                      W("picxoAccStep", 1),   W("picxoDither", 0),
                      W("picxoOffsetEn", 0),  W("picxoOffset", 0),
                      W("picxoR", 0),         W("picxoV", 2),
                      W("picxoN", 5),         W("picxoP", 4),
                      W("picxoC", 89),        W("ncoV", 958),
                      W("ncoR", 0),           W("ncoAccStep", 1),
                      W("ncoCeDspRate", 511), W("ncoG1", 6),
                      W("ncoG2", 10),         W("picxoRefSelect", 4)}));
}

TEST_F(SdiTxTest, ResetsHoldWhatIsAskedForAndReleaseAll) {
  EXPECT_EQ(AccessesOf([&] { tx.HoldInReset(true, false, false); }),
            (Accesses{W("reset", 1), W("resetPhy", 1)}));
  EXPECT_EQ(AccessesOf([&] { tx.Reset(true, true, true); }),
            (Accesses{W("reset", 1), W("resetPhy", 1), W("resetFifo", 1), W("resetPicxo", 1),
                      W("resetPhy", 0), W("resetPicxo", 0), W("reset", 0), W("resetFifo", 0)}));
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
      {0, kKept, kKept, 0, 89},  {139, 5, 3, 1, 90},  // anew after none
      {26, kKept, kKept, 0, 89}, {0xFFFFFFFF, kKept, kKept, 0, 89},
  };
  for (const auto& c : cases) {
    Accesses expected;
    if (c.std != kKept) {
      expected = {W("std", c.std), W("muxPattern", c.mux)};
    }
    const Accesses clockAndReset{W("pllSelect", c.pllSelect), W("picxoC", c.picxoC), W("reset", 1),
                                 W("reset", 0)};
    expected.insert(expected.end(), clockAndReset.begin(), clockAndReset.end());
    EXPECT_EQ(AccessesOf([&] { tx.SetOutVideoFormat(c.id); }), expected) << c.id;
    const int logged = static_cast<int>(c.id);
    EXPECT_EQ(board.log.Messages(7),
              std::vector{FormatMessage("Setting SDI TX to output video format %d", logged)});
    // The same once more: the rate stands.
    EXPECT_EQ(AccessesOf([&] { tx.SetOutVideoFormat(c.id); }), clockAndReset) << c.id;
  }
}

TEST(SdiTxDecisions, MultiplexingFollowsTheStreams) {
  const struct {
    unsigned streams;
    std::uint32_t atLevelB, otherwise;
  } cases[] = {{0, 0, 0}, {1, 1, 0}, {2, 1, 0}, {4, 2, 2}, {8, 3, 3}, {16, 4, 4}, {32, 0, 0}};
  for (const auto& c : cases) {
    EXPECT_EQ(sdi_tx::MuxPattern(c.streams, SdiRate::k3GLevelB), c.atLevelB) << c.streams;
    EXPECT_EQ(sdi_tx::MuxPattern(c.streams, SdiRate::k3GLevelA), c.otherwise) << c.streams;
  }
}

// ncoV and ncoR of the standards that have a ratio.
using Ratio = std::pair<std::uint32_t, std::uint32_t>;
const std::map<std::int32_t, Ratio> kRatios{
    {0, {0, 0}},     {5, {3430, 0}},  {6, {3454, 0}},  {7, {3001, 0}},   {8, {2998, 0}},
    {9, {2878, 0}},  {10, {6004, 3}}, {11, {2398, 0}}, {12, {1438, 0}},  {13, {3001, 3}},
    {14, {1198, 0}}, {15, {1918, 0}}, {16, {4002, 3}}, {17, {1598, 0}},  {18, {2000, 0}},
    {19, {1998, 0}}, {20, {1918, 0}}, {24, {4002, 3}}, {25, {1598, 0}},  {39, {958, 0}},
    {40, {2000, 3}}, {41, {798, 0}},  {57, {2000, 0}}, {58, {1998, 0}},  {59, {1918, 0}},
    {60, {4002, 3}}, {61, {1598, 0}}, {138, {958, 0}}, {139, {2000, 3}}, {140, {798, 0}},
};

TEST_F(SdiTxTest, PicxoReferenceLoadsTheRatioOfItsStandard) {
  tx.SetPicxoReference(0, 15);
  for (std::int32_t id = -1; id <= 180; ++id) {
    Accesses expected{W("picxoRefSelect", 5)};
    if (const auto ratio = kRatios.find(id); ratio != kRatios.end()) {
      expected.push_back(W("ncoV", ratio->second.first));
      expected.push_back(W("ncoR", ratio->second.second));
    }
    expected.insert(expected.end(), picxoPulse.begin(), picxoPulse.end());
    EXPECT_EQ(AccessesOf([&] { tx.SetPicxoReference(id, 5); }), expected) << id;
  }
  EXPECT_EQ(AccessesOf([&] { tx.SetPicxoReference(12, 2); }),  // the same for any standard
            (Accesses{W("picxoRefSelect", 2), W("ncoV", 538), W("ncoR", 0), W("resetPicxo", 1),
                      W("resetPicxo", 0)}));
}

TEST_F(SdiTxTest, PicxoReferenceThatStandsIsNotWrittenAgain) {
  const struct {
    std::int32_t id;
    std::uint16_t select;
    bool written;
  } calls[] = {{0, 4, false},  // as from the start
               {12, 4, true}, {12, 4, false},
               {12, 8, true}, {39, 8, false},  // no difference there, but it is remembered
               {39, 4, true}, {39, 4, false}};
  for (const auto& c : calls) {
    EXPECT_EQ(AccessesOf([&] { tx.SetPicxoReference(c.id, c.select); }).empty(), !c.written)
        << &c - calls;
  }
}

TEST_F(SdiTxTest, ThirdNcoErrorInARowRestartsThePicxoLoop) {
  const auto check = [&](std::int32_t error) {
    core.Set("ncoError", static_cast<std::uint32_t>(error));
    return AccessesOf([&] { tx.CheckNcoError(); });
  };
  const Accesses reading{R("ncoError")};
  for (const std::int32_t inRange : {4000, -4000, 0, -1}) {
    for (const std::int32_t error : {4001, -4001, inRange}) {
      EXPECT_EQ(check(error), reading) << inRange << " " << error;
    }
  }
  for (int round = 0; round < 2; ++round) {
    EXPECT_EQ(check(4001), reading);
    EXPECT_EQ(check(INT32_MIN), reading);
    EXPECT_EQ(check(INT32_MAX), (Accesses{R("ncoError"), W("resetPicxo", 1), W("resetPicxo", 0)}));
  }
}

TEST_F(SdiTxTest, SettersWriteTheirFieldsInOrder) {
  EXPECT_EQ(AccessesOf([&] { tx.SetOutputDrive(1, 2, 3); }),
            (Accesses{W("swingControl", 1), W("preCursor", 2), W("postCursor", 3)}));
  EXPECT_EQ(AccessesOf([&] { tx.SetInsertions(0, 1, 0); }),
            (Accesses{W("insertLn", 0), W("insertCrc", 1), W("insertSyncBit", 0)}));
  EXPECT_EQ(AccessesOf([&] { tx.SetInsertions(1, 0, 1); }),
            (Accesses{W("insertLn", 1), W("insertCrc", 0), W("insertSyncBit", 1)}));
  EXPECT_EQ(AccessesOf([&] { tx.SetPicxoRefSelect(9); }), Accesses{W("picxoRefSelect", 9)});
  for (const bool fractional : {false, true}) {
    EXPECT_EQ(AccessesOf([&] { tx.SetPllSelect(fractional); }),
              Accesses{W("pllSelect", fractional ? 1 : 0)});
    EXPECT_EQ(tx.GetPllSelect(), fractional);
  }
  EXPECT_EQ(
      AccessesOf([&] { tx.SetupPicxo(1, 2, 3, 4, 1, 1, 5, 6, 7, 8, 9, 10); }),
      (Accesses{W("picxoCeDspRate", 1), W("picxoG1", 2), W("picxoG2", 3), W("picxoAccStep", 4),
                W("picxoDither", 1), W("picxoOffsetEn", 1), W("picxoOffset", 5), W("picxoR", 6),
                W("picxoV", 7), W("picxoN", 8), W("picxoP", 9), W("picxoC", 10)}));
  EXPECT_EQ(AccessesOf([&] { tx.TunePicxo(0xFFFF, 31, 30, 0, 0x3FFFFF, 0, 0xFFFE); }),
            (Accesses{W("picxoCeDspRate", 0xFFFF), W("picxoG1", 31), W("picxoG2", 30),
                      W("picxoOffsetEn", 0), W("picxoOffset", 0x3FFFFF), W("picxoR", 0),
                      W("picxoV", 0xFFFE)}));
}

// The locks follow the rate, the clock and its divider.
TEST(SdiTxOnTheBoard, ComesUpAndLocksToWhatItCanSend) {
  auto& core = sim::Board::Get().Core<sim::SdiTxModel>("sdi_tx0");
  SdiTxImpl tx("sdi_tx0", facts::ModuleOf("sdi_tx0").base, 0);
  EXPECT_FALSE(tx.IsChangeDone());
  tx.Init();
  EXPECT_TRUE(tx.IsChangeDone());
  core.Set("txResetDone", 0);
  EXPECT_FALSE(tx.IsChangeDone());
  for (const std::uint32_t id : {5U, 16U, 46U, 139U, 0U}) {
    tx.SetOutVideoFormat(id);
    EXPECT_TRUE(tx.IsChangeDone()) << id;
    EXPECT_EQ(core.Get("pllLocked"), 3U);
  }
  tx.SetPllSelect(true);  // without its divider
  EXPECT_FALSE(tx.IsChangeDone());
  EXPECT_EQ(core.Get("pllLocked"), 1U);
  EXPECT_TRUE(tx.IsPllLocked() && tx.IsReady());
  tx.SetOutVideoFormat(41);
  tx.SetStdAndMux(6, 0);  // no such rate
  EXPECT_FALSE(tx.IsChangeDone());
  EXPECT_EQ(core.Get("pllLocked"), 2U);
  EXPECT_TRUE(tx.IsPllLocked());
  tx.SetOutVideoFormat(40);
  tx.HoldInReset(true, true, true);
  EXPECT_FALSE(tx.IsChangeDone());
  tx.WriteBitfield("resetCpll", 1);
  EXPECT_FALSE(tx.IsPllLocked());
  tx.WriteBitfield("resetCpll", 0);
  tx.ReleaseFromReset();
  EXPECT_TRUE(tx.IsChangeDone());
}

// Each transmitter is set up; the active ones are reset with all they have, the others held so.
TEST(SdiTxOnTheBoard, TopLevelSetsUpAllAndReleasesTheActiveOnes) {
  sim::Board& board = sim::Board::Get();
  std::unique_ptr<TopFpgaImpl> fpga;
  const Trace trace = AccessesOf([&] { fpga = std::make_unique<TopFpgaImpl>(2); });
  for (const char* name : {"sdi_tx0", "sdi_tx1", "sdi_tx2", "sdi_tx3"}) {
    Trace resets;
    std::copy_if(trace.begin(), trace.end(), std::back_inserter(resets), [&](const auto& access) {
      return access.address == facts::PlaceOf(name, "reset").address;
    });
    const auto w = [name](const char* field, std::uint32_t value) {
      return Expected(Expected::Kind::kWrite, name, field, value);
    };
    Accesses expected{w("reset", 1),      w("resetFifo", 1), w("resetPicxo", 1), w("resetPhy", 0),
                      w("resetPicxo", 0), w("reset", 0),     w("resetFifo", 0),  w("reset", 1),
                      w("resetPhy", 1),   w("resetFifo", 1), w("resetPicxo", 1)};
    if (name[6] < '2') {
      expected.insert(expected.end(),
                      {w("resetPhy", 0), w("resetPicxo", 0), w("reset", 0), w("resetFifo", 0)});
    }
    EXPECT_EQ(resets, expected) << name;
    EXPECT_EQ(board.Core<sim::SdiTxModel>(name).Get("ncoG2"), 10U) << name;
  }
}

}  // namespace
