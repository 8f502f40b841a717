#include <algorithm>

#include "controls/AesRxDriverControl.h"
#include "modules/AesTx.h"
#include "sim/models/AesRxModel.h"
#include "support/CoreTest.h"

namespace {

using enum AudioChannelInfo::AudioType;
using Change = std::pair<int, AudioChannelInfo::AudioType>;
using namespace std::chrono_literals;

constexpr sim::AudioPair kPcm{};
constexpr sim::AudioPair kDolbyE{.burstType = 28, .line = 1};
constexpr sim::AudioPair kNothing{.present = false};

class AesTest : public CoreTest<sim::AesRxModel> {
 protected:
  AesTest() : CoreTest("out_aud_aes_rx") { board.clock.TakeOver(); }

  sim::FieldModel& txCore = board.Core<sim::FieldModel>("out_aud_aes_tx");
  AesRxDriverControl rx{name, base, 0, 41};
  AesTx tx{"out_aud_aes_tx", facts::ModuleOf("out_aud_aes_tx").base, 0};
};

TEST_F(AesTest, ResetsAndMasks) {
  FillWithGarbage();
  EXPECT_EQ(AccessesOf([&] {
              rx.ResetAndRelease();
              rx.UnmaskIrq();
              rx.MaskIrq();
              tx.ResetAndRelease();
            }),
            (Accesses{W("reset", 1), W("writeReadRunOffset", 20), W("writeReadStartOffset", 8),
                      W("reset", 0), W("irqMask", 0), W("irqMask", 3), W("out_aud_aes_tx.reset", 1),
                      W("out_aud_aes_tx.reset", 0)}));
}

TEST_F(AesTest, InterruptIsServedOnceInTwoSeconds) {
  AesRx& driver = rx;
  rx.ReleaseFromReset();
  core.Plug(7, kPcm);
  EXPECT_FALSE(LineIsRaised(41));
  rx.UnmaskIrq();
  EXPECT_TRUE(LineIsRaised(rx.GetIrqNumber()));
  Accesses served{R("irqStatus", 1)};
  for (std::size_t pair = 0; pair < 8; ++pair) {
    served.push_back(R(NumberedName("aesLocked#", pair), pair == 7 ? 1 : 0));
  }
  EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(driver.HandleIrq()); }),
            served + W("irqClr", 1) + W("irqClr", 0));
  EXPECT_EQ(board.log.Messages(7), Texts{"Got IRQ with status 1"});

  core.Plug(7, kDolbyE);  // latched: the first one's clearing has ended
  board.clock.Advance(1999999us);
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(driver.HandleIrq()); }), Accesses{});
  board.clock.Advance(1us);
  EXPECT_TRUE(driver.HandleIrq());
  board.clock.Advance(2s);
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(driver.HandleIrq()); }), Accesses{R("irqStatus", 0)});
  EXPECT_TRUE(board.log.All().empty());
  core.Plug(0, kPcm);
  board.clock.Advance(1s);  // a look without a result counts, too
  EXPECT_FALSE(driver.HandleIrq());
  board.clock.Advance(1s);
  EXPECT_TRUE(driver.HandleIrq());
}

TEST_F(AesTest, PairTypeFollowsBurstAndLock) {
  const struct {
    std::uint8_t pair;
    std::uint32_t nonPcm, burst, locked;
    AudioChannelInfo::AudioType type;
  } cases[] = {{0, 1, 28, 1, DolbyE}, {1, 1, 1, 1, Ac3},         {2, 1, 16, 1, Eac3},
               {3, 0, 28, 1, Pcm},    {4, 1, 28, 0, Pcm},        {5, 1, 2, 1, OtherNonPcm},
               {7, 1, 28, 1, DolbyE}, {8, 1, 0, 1, OtherNonPcm}, {255, 1, 1, 1, Ac3}};
  for (const auto& c : cases) {
    const std::size_t pair = std::min<std::size_t>(c.pair, 7);
    core.FieldModel::Set(NumberedName("nonPcmPair#", pair), c.nonPcm);
    core.FieldModel::Set(NumberedName("nonPcmDolbyType#", pair), c.burst);
    core.FieldModel::Set(NumberedName("aesLocked#", pair), c.locked);
    EXPECT_EQ(
        AccessesOf([&] { EXPECT_EQ(rx.GetPairType(c.pair), c.type); }),
        (Accesses{R(NumberedName("nonPcmPair#", pair)), R(NumberedName("nonPcmDolbyType#", pair)),
                  R(NumberedName("aesLocked#", pair))}));
    EXPECT_EQ(board.log.Messages(7),
              std::vector{FormatMessage("Aes RX IRQ reported pair %zu as %s, dolby type %u ", pair,
                                        c.nonPcm != 0 ? "NON-PCM" : "PCM", c.burst)});
    EXPECT_EQ(rx.IsPairPcm(c.pair), c.type == Pcm);
  }
}

TEST_F(AesTest, LostLocksAreToldOnce) {
  rx.ReleaseFromReset();
  for (const std::uint32_t line : {2U, 5U, 6U}) {
    core.Plug(line, kDolbyE);
  }
  core.Plug(2, kNothing);
  core.Plug(5, kNothing);
  EXPECT_TRUE(rx.IsPairPcm(2));  // its last burst report is still there
  std::uint8_t saved = 0xFF;
  EXPECT_EQ(AccessesOf([&] { rx.GetUnlockSaved(saved); }),
            (Accesses{R("unlockSaved", 0x24), W("unlockSaved", 0xFF)}));
  EXPECT_EQ(saved, 0x24);
  rx.GetUnlockSaved(saved);
  EXPECT_EQ(saved, 0);
}

TEST_F(AesTest, ChannelsThatAreEnabledFollowTheReceiver) {
  std::vector<Change> changes;  // in order
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    const auto info = std::make_shared<AudioChannelInfo>(Pcm);
    info->AddCallback([&changes, channel,
                       node = info.get()] { changes.emplace_back(channel, node->GetAudioType()); },
                      nullptr);
    rx.SetDestChInfo(channel, channel == 5 || channel == 8 ? nullptr : info);
    rx.SetUpdateEnable(channel, channel == 13 || channel == 14 ? 0 : 1);
  }
  board.log.Clear();
  rx.SetUpdateEnable(16, 0);
  rx.SetDestChInfo(16, nullptr);
  EXPECT_EQ(board.log.Messages(4), Texts{"Channel index is out of range"});

  rx.ReleaseFromReset();
  for (const std::uint32_t line : {0U, 2U, 4U, 6U, 7U}) {
    core.Plug(line, kDolbyE);
  }
  rx.HandleIrq();
  EXPECT_EQ(AccessesOf([&] { rx.UpdatePairTypes(); }).size(), 8U * 3);
  core.Plug(0, kNothing);
  rx.HandleIrq();  // too soon
  std::vector<Change> expected{{0, DolbyE}, {1, DolbyE}, {12, DolbyE}, {15, DolbyE}};
  EXPECT_EQ(changes, expected);
  board.clock.Advance(2s);
  rx.HandleIrq();
  expected.insert(expected.end(), {{0, Pcm}, {1, Pcm}});
  EXPECT_EQ(changes, expected);
}

TEST_F(AesTest, TransmitterMarksBothChannelsOfAPair) {
  for (const auto& [types, marks] :
       {std::pair(AudioTypeArray{Pcm, Pcm, Pcm, DolbyE}, 0x00C0U), std::pair(AudioTypeArray{}, 0U),
        std::pair(AudioTypeArray{Ac3, Pcm, Pcm, Pcm, Pcm, Pcm, Pcm, OtherNonPcm}, 0xC003U)}) {
    txCore.FillWritable(0xA5C3965A);  // neither in reset nor regenerating
    EXPECT_EQ(AccessesOf([&] { tx.OnAudioTypeChange(types); }),
              Accesses{W("out_aud_aes_tx.perChannelNonPcm", marks)});
    EXPECT_EQ(board.log.Messages(6), std::vector{FormatMessage("nonPcmSelectArray is %x", marks)});
  }
  std::string report = "Reset is set to 1\nDisable C Bit Regen is set to 1\n";
  for (int channel = 0; channel < 16; ++channel) {
    report += FormatMessage("Channel %d is set as [%s]\n", channel,
                            channel < 2 || channel >= 14 ? "not PCM" : "PCM");
  }
  EXPECT_EQ(ReportOf(tx), report);
  tx.ReleaseFromReset();
  EXPECT_TRUE(ReportOf(tx).starts_with("Reset is set to 0\nDisable C Bit Regen is set to 1\n"));
}

}  // namespace
