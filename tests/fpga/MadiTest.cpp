#include "modules/MadiRx.h"
#include "modules/MadiTx.h"
#include "sim/models/MadiModel.h"
#include "support/CoreTest.h"

namespace {

using enum AudioChannelInfo::AudioType;

class MadiTest : public CoreTest<sim::MadiModel> {
 protected:
  MadiTest() : CoreTest("out_aud_madi_tx") {}

  // Whether the link is good, and its rate.
  std::pair<bool, bool> GetStatus() {
    std::pair status{true, true};
    rx.GetMadiRxStatus(&status.first, &status.second);
    return status;
  }
  Accesses TakeErrors(std::uint32_t errors) const {
    return {R("out_aud_madi_rx.rxStatus", errors), WAlone("out_aud_madi_rx.rxStatus", errors)};
  }

  MadiRxImpl rx{"out_aud_madi_rx", base, 0};
  MadiTxImpl tx{name, base, 0};
};

TEST_F(MadiTest, RateIsRightWithinFiveSamples) {
  rx.ReleaseFromReset();
  core.Set("txStatus", 5);  // counts for nothing
  core.Plug();
  GetStatus();  // clears what was before
  for (const std::uint32_t count : {6399994U, 6399995U, 6400005U, 6400006U, 0U, 0xFFFFFFU}) {
    core.Plug(count);
    const bool rateOk = count == 6399995 || count == 6400005;
    EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(GetStatus(), std::pair(true, rateOk)); }),
              TakeErrors(0) + R("out_aud_madi_rx.rxSampleCount", count));
  }
}

TEST_F(MadiTest, ErrorsAreClearedByWritingThemBack) {
  constexpr std::pair kBad(false, false);
  rx.ReleaseFromReset();
  EXPECT_EQ(GetStatus(), kBad);  // nothing plugged in
  core.Plug();
  core.SetErrors(0xA);
  core.SetErrors(0);
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(GetStatus(), kBad); }), TakeErrors(0xB));
  EXPECT_EQ(GetStatus(), std::pair(true, true));
  core.Unplug();  // an error that lasts comes back
  EXPECT_EQ(GetStatus(), kBad);
  EXPECT_EQ(GetStatus(), kBad);
}

TEST_F(MadiTest, TransmitterMarksPairsOfFourLinks) {
  MadiAudioTypeArray types{};
  types[0] = {Ac3, Pcm, Pcm, Pcm, Pcm, Pcm, Pcm, OtherNonPcm};
  types[1][1] = Eac3;
  types[2][4] = DolbyE;
  types[3][7] = DolbyE;
  FillWithGarbage();
  EXPECT_EQ(AccessesOf([&] {
              tx.OnAudioTypeChange(types);
              tx.OnAudioTypeChange({});
            }),
            (Accesses{W("nonPcmChannels1To32", 0x000CC003), W("nonPcmChannels33To64", 0xC0000300),
                      W("nonPcmChannels1To32", 0), W("nonPcmChannels33To64", 0)}));
}

TEST_F(MadiTest, BothShareTheResetAndReportIt) {
  EXPECT_EQ(AccessesOf([&] {
              rx.ResetAndRelease();
              tx.ResetAndRelease();
            }),
            (Accesses{W("reset", 1), W("reset", 0), W("reset", 1), W("reset", 0)}));
  core.Set("nonPcmChannels1To32", 0xC003);
  core.Set("nonPcmChannels33To64", 0xF0000000);
  tx.HoldInReset();
  EXPECT_EQ(ReportOf(rx), "Reset is set to 1\n");
  EXPECT_EQ(AccessesOf([&] {
              EXPECT_EQ(ReportOf(tx),
                        "Reset is set to 1\nnonPcmChannels1To32: 0x0000c003d\n"
                        "nonPcmChannels33To64: 0xf0000000d\n");
            }),
            (Accesses{R("nonPcmChannels1To32"), R("nonPcmChannels33To64"), R("reset")}));
}

}  // namespace
