#include "modules/AudioEmbedder.h"

#include <stdexcept>

#include "controls/AudioEmbedderDriverControl.h"
#include "modules/IrqHandler.h"
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
  const Accesses setup{W("reset", 1),
                       W("enableStripper", 1),
                       W("forceStripper", 1),
                       W("disableCBitRegen", 0),
                       W("hdClkPhaseEnable", 1),
                       W("hdAFEnable", 1),
                       W("fifoRdyThresh", 64),
                       W("errClr", 1),
                       W("avAlignTpgFrameStart", 3),
                       W("avAlignTpgLineStart", 30),
                       W("avAlignTpgNumFrames", 160),
                       W("avAlignTpgStripeWidthMinus1", 191),
                       W("reset", 0)};
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
  core.Set("nonPcmLinePair4", 0xFFF);
  core.Set("nonPcmLinePair8", 0xFFF);
  const struct {
    std::size_t pair;
    Accesses accesses;
    Type type;
    std::uint16_t line;
  } cases[] = {{0, {R("nonPcmLinePair1")}, Type::DolbyE, 13},
               {1, {}, Type::Pcm, 0},
               {3, {R("nonPcmLinePair4")}, Type::OtherNonPcm, 0xFFF + 6},
               {7, {R("nonPcmLinePair8")}, Type::Ac3, 0xFFF + 6}};
  Type type{};
  std::uint16_t line = 99;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pair);
    EXPECT_EQ(AccessesOf([&] { embedder.GetPairNonPcmInfo(c.pair, &type, &line); }), c.accesses);
    EXPECT_EQ(type, c.type);
    EXPECT_EQ(line, c.line);
  }
  EXPECT_EQ(AccessesOf([&] {
              EXPECT_THROW(embedder.GetPairNonPcmInfo(8, &type, &line), std::out_of_range);
            }),
            Accesses{R("nonPcmLinePair8")});

  std::string report = "old";
  std::uint8_t more = 1;
  EXPECT_EQ(AccessesOf([&] { embedder.DumpStatus(1, 2, report, &more); }),
            Accesses{R("nonPcmSelect")});
  EXPECT_TRUE(
      report.starts_with("Channel 0 is set as [not PCM]\nChannel 1 is set as [not PCM]\n"
                         "Channel 2 is set as [PCM]\n"));
  EXPECT_TRUE(report.ends_with("Channel 15 is set as [not PCM]\n"));
  EXPECT_EQ(more, 0);
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
  EXPECT_EQ(
      board.log.Messages(6),
      (std::vector<std::string>{"Trying to set the group enable to a group that doesn't exist",
                                "Trying to get the group enable to a group that doesn't exist"}));
}

TEST_F(AudioEmbedderTest, ErrorsResetACoreThatEmbeds) {
  EXPECT_EQ(AccessesOf([&] { embedder.HandleIrq(); }), Accesses{R("irqStatus", 0)});
  EXPECT_EQ(AccessesOf([&] { embedder.UnmaskIrq(); }),
            (Accesses{W("irqMask", 0), W("irqReset", 0)}));
  embedder.ReleaseFromReset();
  const struct {
    std::uint32_t errors, groups;
    bool resets;
  } cases[] = {{0x0100, 0xF, false}, {0x7F00, 0xF, false}, {0x0001, 0x0, false},
               {0x0001, 0x8, true},  {0x007E, 0x8, true},  {0x0080, 0x8, true},
               {0x8000, 0xF, true}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.errors);
    core.Set("aesGrpEn", c.groups);
    core.RaiseErrors(c.errors);
    Accesses expected{R("irqStatus", 1),        W("irqClr", 1), W("irqClr", 0),
                      R("errStatus", c.errors), W("errClr", 1), R("aesGrpEn")};
    std::vector<std::string> logged;
    if (c.resets) {
      expected.insert(expected.end(), {W("reset", 1), W("reset", 0)});
      logged = {FormatMessage("Resetting due to IRQ, err status 0x%x", c.errors)};
    }
    EXPECT_EQ(AccessesOf([&] { embedder.HandleIrq(); }), expected);
    EXPECT_EQ(board.log.Messages(6), logged);
    EXPECT_EQ(core.Get("errStatus"), 0U);
  }
  EXPECT_EQ(AccessesOf([&] { embedder.MaskIrq(); }), Accesses{W("irqMask", 1)});
}

TEST_F(AudioEmbedderTest, ItsLineReachesItUnlessMasked) {
  IrqHandlerImpl irqs("irq_handler", 0);
  irqs.RegisterHandler(embedder.GetIrqNumber(), [&] { embedder.HandleIrq(); });
  irqs.UnmaskIrq(53);
  embedder.ReleaseFromReset();
  embedder.UnmaskIrq();
  core.RaiseErrors(1);
  irqs.PollIrq();
  EXPECT_EQ(core.Get("errStatus"), 0U);
  embedder.MaskIrq();
  core.RaiseErrors(1);
  irqs.PollIrq();
  EXPECT_EQ(core.Get("errStatus"), 1U);
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
  } cases[] = {
      {6, 9, 0, kUntouched},    {6, 11, 0, kUntouched},           {6, 13, 0, kUntouched},
      {6, 14, 0.192F, 39.808F}, {6, 8, 39.808F, 0.192F},          {6, 623, 39.168F, 0.8319969F},
      {5, 15, 0, kUntouched},   {5, 10, 33.176033F, 0.19066685F}, {0, 300, 0, 0}};
  AudioTypeArray types{};
  types[5] = Type::DolbyE;
  types[6] = Type::Ac3;
  embedder.OnAudioTypeChange(types);
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    embedder.OnVideoTypeChange(0, c.standard);
    core.SetBurstLine(5, c.line);
    core.SetBurstLine(6, c.line);
    float advance = kUntouched;
    float retard = kUntouched;
    embedder.GetDolbyEAlignment(5, &advance, &retard);
    EXPECT_FLOAT_EQ(advance, c.advance);
    EXPECT_FLOAT_EQ(retard, c.retard);
    EXPECT_EQ(AccessesOf([&] { embedder.GetDolbyEAlignment(6, &advance, &retard); }), Accesses{});
    EXPECT_EQ(advance, 0);
    EXPECT_EQ(retard, 0);
    EXPECT_EQ(AccessesOf([&] {
                EXPECT_THROW(embedder.GetDolbyEAlignment(8, &advance, &retard), std::out_of_range);
              }),
              Accesses{});
  }
}

}  // namespace
