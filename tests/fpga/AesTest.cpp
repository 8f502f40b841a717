#include <gtest/gtest.h>

#include <chrono>
#include <functional>

#include "controls/AesRxDriverControl.h"
#include "log/Log.h"
#include "modules/AesTx.h"
#include "sim/Board.h"
#include "sim/FieldModel.h"
#include "sim/models/AesRxModel.h"
#include "support/Accesses.h"

namespace {

using enum AudioChannelInfo::AudioType;
using sim::Loaded;
using sim::LogRecord;
using sim::Stored;
using namespace std::chrono_literals;

constexpr std::uint32_t kRxBase = 0x2900000;
constexpr std::uint32_t kTxBase = 0x2A00000;
constexpr sim::AudioPair kPcm{};
constexpr sim::AudioPair kDolbyE{.burstType = 28, .line = 1};
constexpr sim::AudioPair kNothing{.present = false};

class AesTest : public testing::Test {
 protected:
  AesTest() {
    SetLogLevel(kLogDebug);
    board.clock.TakeOver();
  }

  bool LineIsRaised() {
    return (board.registers.Load(0x24) & 1U << 9) != 0;  // line 41, latched
  }

  sim::Board& board = sim::Board::Get();
  sim::AesRxModel& rxModel = board.Core<sim::AesRxModel>("out_aud_aes_rx");
  AesRxDriverControl rx{"aes_rx", kRxBase, 0, 41};
  AesTx tx{"aes_tx", kTxBase, 0};
};

TEST_F(AesTest, ReceiverResetsAndMasksTouchTheirFieldsAlone) {
  rxModel.SetWord(64, 0xFABCDE5A);
  EXPECT_EQ(AccessesOf([&] { rx.ResetAndRelease(); }),
            (std::vector{Loaded(kRxBase + 64, 0xFABCDE5A), Stored(kRxBase + 64, 0xFABCDF5A),
                         Loaded(kRxBase + 64, 0xFABCDF5A), Stored(kRxBase + 64, 0xFAB14F5A),
                         Loaded(kRxBase + 64, 0xFAB14F5A), Stored(kRxBase + 64, 0xF0814F5A),
                         Loaded(kRxBase + 64, 0xF0814F5A), Stored(kRxBase + 64, 0xF0814E5A)}));
  rxModel.SetWord(68, 2);
  EXPECT_EQ(AccessesOf([&] {
              rx.UnmaskIrq();
              rx.MaskIrq();
            }),
            (std::vector{Loaded(kRxBase + 68, 2), Stored(kRxBase + 68, 0), Loaded(kRxBase + 68, 0),
                         Stored(kRxBase + 68, 3)}));
}

TEST_F(AesTest, InterruptIsServedOnceInTwoSeconds) {
  AesRx& driver = rx;
  rx.ReleaseFromReset();
  rx.UnmaskIrq();
  rxModel.Plug(7, kPcm);
  EXPECT_TRUE(LineIsRaised());

  std::vector<sim::RegisterAccess> served{Loaded(kRxBase + 72, 1)};
  for (std::uint32_t pair = 0; pair < 8; ++pair) {
    served.push_back(Loaded(kRxBase + 8 * pair, pair == 7 ? 1 : 0));
  }
  for (const auto& access : {Loaded(kRxBase + 76, 0), Stored(kRxBase + 76, 1),
                             Loaded(kRxBase + 76, 1), Stored(kRxBase + 76, 0)}) {
    served.push_back(access);
  }
  EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(driver.HandleIrq()); }), served);
  EXPECT_EQ(board.log.WithoutOrigins(), (std::vector<LogRecord>{{7, "Got IRQ with status 1"}}));

  rxModel.Plug(7, kDolbyE);  // latched: the first one's clearing has ended
  board.clock.Advance(1999999us);
  EXPECT_TRUE(AccessesOf([&] { EXPECT_FALSE(driver.HandleIrq()); }).empty());
  board.clock.Advance(1us);
  EXPECT_TRUE(driver.HandleIrq());
  board.clock.Advance(2s);
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(driver.HandleIrq()); }),
            (std::vector{Loaded(kRxBase + 72, 0)}));
  EXPECT_TRUE(board.log.All().empty());
  rxModel.Plug(0, kPcm);
  board.clock.Advance(1s);  // a look without a result counts, too
  EXPECT_TRUE(AccessesOf([&] { EXPECT_FALSE(driver.HandleIrq()); }).empty());
  board.clock.Advance(1s);
  EXPECT_TRUE(driver.HandleIrq());
}

TEST_F(AesTest, PairTypeFollowsBurstAndLock) {
  const struct {
    std::uint8_t pair;
    std::uint32_t burst, lock;
    AudioChannelInfo::AudioType type;
    const char* log;
  } cases[] = {
      {0, 0x9C, 1, DolbyE, "Aes RX IRQ reported pair 0 as NON-PCM, dolby type 28 "},
      {1, 0x81, 1, Ac3, "Aes RX IRQ reported pair 1 as NON-PCM, dolby type 1 "},
      {2, 0x90, 1, Eac3, "Aes RX IRQ reported pair 2 as NON-PCM, dolby type 16 "},
      {3, 0x82, 1, OtherNonPcm, "Aes RX IRQ reported pair 3 as NON-PCM, dolby type 2 "},
      {4, 0x1C, 1, Pcm, "Aes RX IRQ reported pair 4 as PCM, dolby type 28 "},
      {5, 0x9C, 0, Pcm, "Aes RX IRQ reported pair 5 as NON-PCM, dolby type 28 "},
      {6, 0xFFFFFFFF, 0xFFFFFFFF, OtherNonPcm,
       "Aes RX IRQ reported pair 6 as NON-PCM, dolby type 31 "},
      {7, 0x9C, 1, DolbyE, "Aes RX IRQ reported pair 7 as NON-PCM, dolby type 28 "},
      {8, 0x9C, 1, DolbyE, "Aes RX IRQ reported pair 7 as NON-PCM, dolby type 28 "},
      {255, 0x81, 1, Ac3, "Aes RX IRQ reported pair 7 as NON-PCM, dolby type 1 "},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(int{c.pair});
    const std::uint32_t offset = 8 * (c.pair < 7 ? c.pair : 7U);
    rxModel.SetWord(offset, c.lock);
    rxModel.SetWord(offset + 4, c.burst);
    EXPECT_EQ(
        AccessesOf([&] { EXPECT_EQ(rx.GetPairType(c.pair), c.type); }),
        (std::vector{Loaded(kRxBase + offset + 4, c.burst), Loaded(kRxBase + offset + 4, c.burst),
                     Loaded(kRxBase + offset, c.lock)}));
    EXPECT_EQ(board.log.WithoutOrigins(), (std::vector<LogRecord>{{7, c.log}}));
    EXPECT_EQ(rx.IsPairPcm(c.pair), c.type == Pcm);
  }
}

TEST_F(AesTest, LostLocksAreToldOnce) {
  rx.ReleaseFromReset();
  for (const std::uint32_t line : {2U, 5U, 6U}) {
    rxModel.Plug(line, kDolbyE);
  }
  rxModel.Plug(2, kNothing);
  rxModel.Plug(5, kNothing);
  EXPECT_TRUE(rx.IsPairPcm(2));  // its last burst report is still there
  std::uint8_t saved = 0xFF;
  EXPECT_EQ(AccessesOf([&] { rx.GetUnlockSaved(saved); }),
            (std::vector{Loaded(kRxBase + 80, 0x24), Loaded(kRxBase + 80, 0x24),
                         Stored(kRxBase + 80, 0xFF)}));
  EXPECT_EQ(saved, 0x24);
  rx.GetUnlockSaved(saved);
  EXPECT_EQ(saved, 0);
}

TEST_F(AesTest, ChannelsThatAreEnabledFollowTheReceiver) {
  rx.ReleaseFromReset();
  std::array<ChInfoPtr, 16> info;
  using Change = std::pair<int, AudioChannelInfo::AudioType>;
  std::vector<Change> changes;  // in order
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    info[channel] = std::make_shared<AudioChannelInfo>(Pcm);
    info[channel]->AddCallback(
        [&, channel] { changes.emplace_back(channel, info[channel]->GetAudioType()); }, nullptr);
    if (channel != 5 && channel != 8) {  // their pairs stay incomplete
      rx.SetDestChInfo(channel, info[channel]);
    }
    rx.SetUpdateEnable(channel, channel == 13 || channel == 14 ? 0 : 1);
  }
  board.log.Clear();
  rx.SetUpdateEnable(16, 0);
  EXPECT_TRUE(board.log.All().empty());
  rx.SetDestChInfo(16, nullptr);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{4, "Channel index is out of range"}}));

  for (const std::uint32_t line : {0U, 2U, 4U, 6U, 7U}) {
    rxModel.Plug(line, kDolbyE);
  }
  rx.HandleIrq();
  std::vector<Change> expected{{0, DolbyE}, {1, DolbyE}, {12, DolbyE}, {15, DolbyE}};
  EXPECT_EQ(changes, expected);

  rxModel.Plug(0, kNothing);
  rx.HandleIrq();  // too soon
  EXPECT_EQ(changes, expected);
  board.clock.Advance(2s);
  rx.HandleIrq();
  expected.insert(expected.end(), {{0, Pcm}, {1, Pcm}});
  EXPECT_EQ(changes, expected);
}

TEST_F(AesTest, UpdateWithoutNewsOnlyReads) {
  std::vector<sim::RegisterAccess> expected;
  for (std::uint32_t pair = 0; pair < 8; ++pair) {
    expected.insert(expected.end(), 2, Loaded(kRxBase + 8 * pair + 4, pair == 3 ? 0x9C : 0));
    expected.push_back(Loaded(kRxBase + 8 * pair, pair == 3 ? 1 : 0));
  }
  rx.ReleaseFromReset();
  rxModel.Plug(3, kDolbyE);
  EXPECT_EQ(AccessesOf([&] { rx.UpdatePairTypes(); }), expected);  // no node to tell
  int changes = 0;
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    const auto info = std::make_shared<AudioChannelInfo>(channel / 2 == 3 ? DolbyE : Pcm);
    info->AddCallback([&] { ++changes; }, nullptr);
    rx.SetDestChInfo(channel, info);
    rx.SetUpdateEnable(channel, 1);
  }
  EXPECT_EQ(AccessesOf([&] { rx.UpdatePairTypes(); }), expected);
  EXPECT_EQ(changes, 0);
}

TEST_F(AesTest, TransmitterMarksBothChannelsOfAPair) {
  const struct {
    AudioTypeArray types;
    std::uint32_t marks;
    const char* log;
  } cases[] = {
      {{Pcm, Pcm, Pcm, DolbyE}, 0x00C0, "nonPcmSelectArray is c0"},
      {{Ac3, Pcm, Pcm, Pcm, Pcm, Pcm, Pcm, OtherNonPcm}, 0xC003, "nonPcmSelectArray is c003"},
      {{}, 0, "nonPcmSelectArray is 0"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.log);
    board.Core<sim::FieldModel>("out_aud_aes_tx").SetWord(0, 0xABCF1234);
    EXPECT_EQ(AccessesOf([&] { tx.OnAudioTypeChange(c.types); }),
              (std::vector{Loaded(kTxBase, 0xABCF1234), Stored(kTxBase, 0xABCF0000 | c.marks)}));
    EXPECT_EQ(board.log.WithoutOrigins(), (std::vector<LogRecord>{{6, c.log}}));
  }
  board.Core<sim::FieldModel>("out_aud_aes_tx").SetWord(0, 0xFFFDFFFF);
  EXPECT_EQ(AccessesOf([&] { tx.ResetAndRelease(); }),
            (std::vector{Loaded(kTxBase, 0xFFFDFFFF), Stored(kTxBase, 0xFFFFFFFF),
                         Loaded(kTxBase, 0xFFFFFFFF), Stored(kTxBase, 0xFFFDFFFF)}));
}

TEST_F(AesTest, TransmitterReportsItsMarks) {
  board.Core<sim::FieldModel>("out_aud_aes_tx").SetWord(0, 0x00018001);
  std::string report = "old";
  std::uint8_t more = 1;
  EXPECT_EQ(AccessesOf([&] { tx.DumpStatus(1, 2, report, &more); }),
            (std::vector(3, Loaded(kTxBase, 0x00018001))));
  EXPECT_EQ(more, 0);
  std::string expected = "Reset is set to 0\nDisable C Bit Regen is set to 1\n";
  for (int channel = 0; channel < 16; ++channel) {
    expected += "Channel " + std::to_string(channel) + " is set as [" +
                (channel == 0 || channel == 15 ? "not PCM" : "PCM") + "]\n";
  }
  EXPECT_EQ(report, expected);
}

}  // namespace
