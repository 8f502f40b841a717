#include "modules/AudioEmbedder.h"

#include <stdexcept>

#include "controls/AudioEmbedderDriverControl.h"
#include "sim/models/AudioEmbedderModel.h"
#include "support/CoreTest.h"

namespace {

using sim::LogRecord;
using Type = AudioChannelInfo::AudioType;

constexpr std::uint32_t k1080i50 = 15;

class AudioEmbedderTest : public CoreTest<sim::AudioEmbedderModel> {
 protected:
  AudioEmbedderTest() : CoreTest("emb_1", kLogInfo) { FillWithGarbage(); }

  AudioEmbedderDriverControl embedder{name, base, 1, 53};
};

TEST_F(AudioEmbedderTest, SetupGoesThroughReset) {
  const Accesses setup = Accesses{W("reset", 1)} + W("enableStripper", 1) + W("forceStripper", 1) +
                         W("disableCBitRegen", 0) + W("hdClkPhaseEnable", 1) + W("hdAFEnable", 1) +
                         W("fifoRdyThresh", 64) + W("errClr", 1) + W("avAlignTpgFrameStart", 3) +
                         W("avAlignTpgLineStart", 30) + W("avAlignTpgNumFrames", 160) +
                         W("avAlignTpgStripeWidthMinus1", 191) + W("reset", 0);
  EXPECT_EQ(AccessesOf([&] { embedder.OnVideoTypeChange(0, k1080i50); }), setup);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{6, "Setting up emb_1 for 1920x1080i 50"}}));
  EXPECT_EQ(core.Get("embeddingIsActive"), 1U);
  EXPECT_EQ(AccessesOf([&] { embedder.OnVideoTypeChange(3, k1080i50); }), Accesses{});

  embedder.OnVideoTypeChange(0, 5);
  EXPECT_EQ(core.Get("avAlignTpgStripeWidthMinus1"), 71U);
  EXPECT_EQ(embedder.GetAvAlignTpgNumFrames(), 189U);
  EXPECT_EQ(embedder.GetVideoStandard(), 5U);
  for (const std::uint32_t none : {180U, 0U, 0U, 26U, 0xFFFFFFFFU}) {
    EXPECT_EQ(AccessesOf([&] { embedder.OnVideoTypeChange(0, none); }), Accesses{W("reset", 1)});
    EXPECT_TRUE(board.log.All().empty());
    EXPECT_EQ(embedder.GetVideoStandard(), 0U);
  }
}

TEST_F(AudioEmbedderTest, PatternPeriodLastsAndFitsItsField) {
  EXPECT_EQ(AccessesOf([&] { embedder.SetAvAlignTpg(0, 0); }),
            (Accesses{W("avAlignTpgEn", 0), W("avAlignTpgNumFrames", 10)}));
  embedder.OnVideoTypeChange(0, k1080i50);
  EXPECT_EQ(embedder.GetAvAlignTpgNumFrames(), 10U);
  embedder.SetAvAlignTpg(1, 65535);
  EXPECT_EQ(core.Get("avAlignTpgEn"), 1U);
  EXPECT_EQ(embedder.GetAvAlignTpgNumFrames(), 3286U - 3072U);
  EXPECT_TRUE(board.log.Messages(3).empty());
  embedder.SetAvAlignTpg(2, 0);  // neither on nor off
  EXPECT_EQ(core.Get("avAlignTpgEn"), 1U);
  EXPECT_EQ(embedder.GetAvAlignTpgNumFrames(), 10U);
  EXPECT_EQ(board.log.Messages(3).size(), 1U);
}

TEST_F(AudioEmbedderTest, PairTypesMarkChannelsAndGiveLines) {
  EXPECT_EQ(AccessesOf([&] {
              embedder.OnAudioTypeChange({Type::DolbyE, Type::Pcm, Type::Pcm, Type::OtherNonPcm,
                                          Type::Pcm, Type::Pcm, Type::Pcm, Type::Ac3});
            }),
            Accesses{W("nonPcmSelect", 0xC0C3)});
  core.Set("nonPcmLinePair1", 7);
  core.Set("nonPcmLinePair8", 0xFFF);
  Type type{};
  std::uint16_t line = 99;
  const auto info = [&](std::size_t pair) {
    embedder.GetPairNonPcmInfo(pair, &type, &line);
    return std::pair(type, int{line});
  };
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(info(0), std::pair(Type::DolbyE, 13)); }),
            Accesses{R("nonPcmLinePair1")});
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(info(1), std::pair(Type::Pcm, 0)); }), Accesses{});
  EXPECT_EQ(info(3), std::pair(Type::OtherNonPcm, 6));
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(info(7), std::pair(Type::Ac3, 0xFFF + 6)); }),
            Accesses{R("nonPcmLinePair8")});
  EXPECT_EQ(AccessesOf([&] { EXPECT_THROW(info(8), std::out_of_range); }),
            Accesses{R("nonPcmLinePair8")});
  std::string report;
  for (int channel = 0; channel < 16; ++channel) {
    report += FormatMessage("Channel %d is set as [%s]\n", channel,
                            (0xC0C3U >> channel & 1) != 0 ? "not PCM" : "PCM");
  }
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(ReportOf(embedder), report); }),
            Accesses{R("nonPcmSelect")});
}

TEST_F(AudioEmbedderTest, GroupsSwitchOneByOne) {
  core.Set("aesGrpEn", 0xF);
  EXPECT_EQ(AccessesOf([&] { embedder.SetGroupEnable(1, 0); }),
            (Accesses{R("aesGrpEn"), W("aesGrpEn", 0xD)}));
  EXPECT_FALSE(embedder.GetGroupEnable(1));
  EXPECT_TRUE(embedder.GetGroupEnable(2));
  embedder.SetGroupEnable(3, -1);
  EXPECT_EQ(core.Get("aesGrpEn"), 5U);
  embedder.SetGroupEnable(1, 2);
  EXPECT_EQ(core.Get("aesGrpEn"), 7U);
  EXPECT_EQ(AccessesOf([&] {
              embedder.SetGroupEnable(4, 1);
              EXPECT_FALSE(embedder.GetGroupEnable(255));
            }),
            Accesses{});
  EXPECT_EQ(board.log.Messages(6),
            (Texts{"Trying to set the group enable to a group that doesn't exist",
                   "Trying to get the group enable to a group that doesn't exist"}));
}

TEST_F(AudioEmbedderTest, ErrorsResetACoreThatEmbeds) {
  EXPECT_EQ(AccessesOf([&] { embedder.MaskIrq(); }), Accesses{W("irqMask", 1)});
  EXPECT_EQ(AccessesOf([&] { embedder.HandleIrq(); }), Accesses{R("irqStatus", 0)});
  embedder.ReleaseFromReset();
  const struct {
    std::uint32_t errors, groups;
    bool resets;
  } cases[] = {{0x7F00, 0xF, false}, {0x0001, 0x0, false}, {0x0001, 0x8, true},
               {0x007E, 0x8, true},  {0x0080, 0x8, true},  {0x8000, 0xF, true}};
  for (const auto& c : cases) {
    core.Set("aesGrpEn", c.groups);
    core.RaiseErrors(c.errors);
    Accesses expected{R("irqStatus", 1),        W("irqClr", 1), W("irqClr", 0),
                      R("errStatus", c.errors), W("errClr", 1), R("aesGrpEn")};
    Texts logged;
    if (c.resets) {
      expected = expected + W("reset", 1) + W("reset", 0);
      logged = {FormatMessage("Resetting due to IRQ, err status 0x%x", c.errors)};
    }
    EXPECT_EQ(AccessesOf([&] { embedder.HandleIrq(); }), expected);
    EXPECT_EQ(board.log.Messages(6), logged);
    EXPECT_EQ(core.Get("errStatus"), 0U);
  }
  core.RaiseErrors(1);
  EXPECT_FALSE(LineIsRaised(53));
  EXPECT_EQ(AccessesOf([&] { embedder.UnmaskIrq(); }),
            (Accesses{W("irqMask", 0), W("irqReset", 0)}));
  EXPECT_TRUE(LineIsRaised(embedder.GetIrqNumber()));
}

TEST_F(AudioEmbedderTest, ResetsSayWhatTheyAreFor) {
  SetLogLevel(kLogDebug);
  EXPECT_EQ(AccessesOf([&] { embedder.OnAudioOutputClockGenIrq(); }),
            (Accesses{W("reset", 1), W("reset", 0)}));
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{6, "Resetting emb_1 due to clock IRQ"},
                                    {7, "ResetAndRelease emb_1"}}));
}

// 625 lines of 0.064 ms, the burst's line is 11; 525 lines of 33.3667 ms, it is 13.
TEST_F(AudioEmbedderTest, DolbyEIsBroughtToItsLineEitherWay) {
  constexpr float kUntouched = -1;
  const struct {
    std::uint32_t standard, line;
    float advance, retard;
  } cases[] = {{6, 9, 0, kUntouched},    {6, 13, 0, kUntouched},  {6, 623, 39.168F, 0.8319969F},
               {6, 14, 0.192F, 39.808F}, {6, 8, 39.808F, 0.192F}, {5, 10, 33.176033F, 0.19066685F},
               {5, 15, 0, kUntouched},   {0, 300, 0, 0}};
  AudioTypeArray types{};
  types[5] = Type::DolbyE;
  types[6] = Type::Ac3;
  embedder.OnAudioTypeChange(types);
  core.SetBurstLine(6, 300);
  float advance = 0;
  float retard = 0;
  for (const auto& c : cases) {
    embedder.OnVideoTypeChange(0, c.standard);
    core.SetBurstLine(5, c.line);
    advance = retard = kUntouched;
    embedder.GetDolbyEAlignment(5, &advance, &retard);
    EXPECT_FLOAT_EQ(advance, c.advance) << c.line;
    EXPECT_FLOAT_EQ(retard, c.retard) << c.line;
  }
  embedder.OnVideoTypeChange(0, k1080i50);
  advance = retard = kUntouched;
  EXPECT_EQ(AccessesOf([&] {
              embedder.GetDolbyEAlignment(6, &advance, &retard);
              EXPECT_THROW(embedder.GetDolbyEAlignment(8, &advance, &retard), std::out_of_range);
            }),
            Accesses{});
  EXPECT_EQ(std::pair(advance, retard), std::pair(0.0F, 0.0F));
}

}  // namespace
