#include <gtest/gtest.h>

#include <functional>

#include "modules/MadiRx.h"
#include "modules/MadiTx.h"
#include "sim/Board.h"
#include "sim/models/MadiModel.h"
#include "support/Accesses.h"

namespace {

using enum AudioChannelInfo::AudioType;
using sim::Loaded;
using sim::Stored;

constexpr std::uint32_t kBase = 0x2600000;

class MadiTest : public testing::Test {
 protected:
  struct Status {
    bool ok, rateOk;
    friend bool operator==(const Status&, const Status&) = default;
  };
  Status GetStatus() {
    Status status{true, true};
    rx.GetMadiRxStatus(&status.ok, &status.rateOk);
    return status;
  }

  sim::Board& board = sim::Board::Get();
  sim::MadiModel& model = board.Core<sim::MadiModel>("out_aud_madi_rx");
  MadiRxImpl rx{"madi_rx", kBase, 0};
  MadiTxImpl tx{"madi_tx", kBase, 0};
};

TEST_F(MadiTest, RateIsRightWithinFiveSamples) {
  rx.ReleaseFromReset();
  const struct {
    std::uint32_t count;
    bool rateOk;
  } cases[] = {{6399994, false}, {6399995, true}, {6400000, true},  {6400005, true},
               {6400006, false}, {0, false},      {0xFFFFFF, false}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.count);
    model.Plug(c.count);
    model.Set("rxStatus", 0);
    const std::uint32_t word = c.count << 8 | 5;
    model.SetWord(0, word);  // the transmitter's status counts for nothing
    EXPECT_EQ(AccessesOf([&] {
                EXPECT_EQ(GetStatus(), (Status{true, c.rateOk}));
              }),
              (std::vector{Loaded(kBase, word), Stored(kBase, 0), Loaded(kBase, word)}));
  }
}

TEST_F(MadiTest, ErrorsAreClearedByWritingThemBack) {
  rx.ReleaseFromReset();
  EXPECT_EQ(GetStatus(), (Status{false, false}));  // nothing plugged in
  model.Plug();
  EXPECT_EQ(GetStatus(), (Status{false, false}));  // told of the time before
  EXPECT_EQ(GetStatus(), (Status{true, true}));
  model.SetErrors(0xA);
  model.SetErrors(0);
  EXPECT_EQ(AccessesOf([&] {
              EXPECT_EQ(GetStatus(), (Status{false, false}));
            }),
            (std::vector{Loaded(kBase, 6400000U << 8 | 0xA0), Stored(kBase, 0xA0)}));
  EXPECT_EQ(GetStatus(), (Status{true, true}));
  model.SetErrors(8);  // one that lasts comes back
  EXPECT_EQ(GetStatus(), (Status{false, false}));
  EXPECT_EQ(GetStatus(), (Status{false, false}));
}

TEST_F(MadiTest, ReceiverAndTransmitterShareTheirReset) {
  model.SetWord(4, 0xFFFFFFFE);
  const std::vector expected{Loaded(kBase + 4, 0xFFFFFFFE), Stored(kBase + 4, 0xFFFFFFFF),
                             Loaded(kBase + 4, 0xFFFFFFFF), Stored(kBase + 4, 0xFFFFFFFE)};
  EXPECT_EQ(AccessesOf([&] { rx.ResetAndRelease(); }), expected);
  EXPECT_EQ(AccessesOf([&] { tx.ResetAndRelease(); }), expected);
  tx.HoldInReset();
  std::string report = "old";
  std::uint8_t more = 1;
  rx.DumpStatus(0, 0, report, &more);
  EXPECT_EQ(report, "Reset is set to 1\n");
  EXPECT_EQ(more, 0);
}

TEST_F(MadiTest, TransmitterMarksPairsOfFourLinks) {
  MadiAudioTypeArray ends{};
  ends[3][7] = DolbyE;
  MadiAudioTypeArray mixed{};
  mixed[0][0] = Ac3;
  mixed[0][7] = OtherNonPcm;
  mixed[1][1] = Eac3;
  mixed[2][4] = DolbyE;
  const struct {
    MadiAudioTypeArray types;
    std::uint32_t first, second;
  } cases[] = {{ends, 0, 0xC0000000}, {mixed, 0x000CC003, 0x00000300}, {{}, 0, 0}};
  for (const auto& c : cases) {
    model.SetWord(8, 0x12345678);
    model.SetWord(12, 0x9ABCDEF0);
    EXPECT_EQ(AccessesOf([&] { tx.OnAudioTypeChange(c.types); }),
              (std::vector{Loaded(kBase + 8, 0x12345678), Stored(kBase + 8, c.first),
                           Loaded(kBase + 12, 0x9ABCDEF0), Stored(kBase + 12, c.second)}));
  }
}

TEST_F(MadiTest, TransmitterReportsItsMarks) {
  model.SetWord(8, 0xC003);
  model.SetWord(12, 0xF0000000);
  std::string report = "old";
  std::uint8_t more = 1;
  EXPECT_EQ(AccessesOf([&] { tx.DumpStatus(0, 0, report, &more); }),
            (std::vector{Loaded(kBase + 8, 0xC003), Loaded(kBase + 12, 0xF0000000),
                         Loaded(kBase + 4, 1)}));
  EXPECT_EQ(report,
            "Reset is set to 1\nnonPcmChannels1To32: 0x0000c003d\n"
            "nonPcmChannels33To64: 0xf0000000d\n");
  EXPECT_EQ(more, 0);
}

}  // namespace
