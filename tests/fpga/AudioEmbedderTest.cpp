#include "modules/AudioEmbedder.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "controls/AudioEmbedderDriverControl.h"
#include "log/Log.h"
#include "modules/IrqHandler.h"
#include "sim/Board.h"
#include "sim/models/AudioEmbedderModel.h"
#include "support/Accesses.h"

namespace {

using sim::Loaded;
using sim::LogRecord;
using sim::Stored;
using Type = AudioChannelInfo::AudioType;

constexpr std::uint32_t kBase = 0x3500000;
constexpr std::uint32_t kPcm = kBase;
constexpr std::uint32_t kControl = kBase + 0x4;
constexpr std::uint32_t kIrqMask = kBase + 0x1C;
constexpr std::uint32_t kIrqStatus = kBase + 0x20;
constexpr std::uint32_t kIrqClr = kBase + 0x24;
constexpr std::uint32_t kErrors = kBase + 0x28;
constexpr std::uint32_t kPattern = kBase + 0x3C;
constexpr std::uint32_t kPatternStart = kBase + 0x40;
constexpr std::uint32_t k1080i50 = 15;

class AudioEmbedderTest : public testing::Test {
 protected:
  AudioEmbedderTest() { SetLogLevel(kLogInfo); }

  sim::Board& board = sim::Board::Get();
  sim::AudioEmbedderModel& core = board.Core<sim::AudioEmbedderModel>("emb_1");
  AudioEmbedderDriverControl embedder{"emb_1", kBase, 1, 53};
};

TEST_F(AudioEmbedderTest, SetupGoesThroughResetAndLeavesTheRestAlone) {
  core.SetWord(0x00, 0xFFFFFFFF);
  core.SetWord(0x04, 0x43DFFFFE);
  core.SetWord(0x28, 0xFFFF0000);
  core.SetWord(0x3C, 0xFFFFFFFF);
  core.SetWord(0x40, 0xFFFFFFFF);
  const std::vector expected{Stored(kControl, 0xC3DFFFFE),      Stored(kControl, 0xCBDFFFFE),
                             Stored(kControl, 0xDBDFFFFE),      Stored(kPcm, 0xFFFFFFF6),
                             Stored(kControl, 0xDBFFFFFE),      Stored(kControl, 0xDFFFFFFE),
                             Stored(kControl, 0xDFFF40FE),      Stored(kErrors, 0xFFFF0001),
                             Stored(kPatternStart, 0xFFFFFC03), Stored(kPatternStart, 0xFFC07803),
                             Stored(kPattern, 0xFFFFFCA0),      Stored(kPattern, 0xFFFEFCA0),
                             Stored(kControl, 0x5FFF40FE)};
  EXPECT_EQ(StoresOf([&] { embedder.OnVideoTypeChange(0, k1080i50); }), expected);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{6, "Setting up emb_1 for 1920x1080i 50"}}));
  EXPECT_EQ(core.Get("embeddingIsActive"), 1U);
  EXPECT_EQ(AccessesOf([&] { embedder.OnVideoTypeChange(3, k1080i50); }).size(), 0U);

  EXPECT_EQ(StoresOf([&] { embedder.OnVideoTypeChange(0, 5); }).size(), expected.size());
  EXPECT_EQ(core.Get("avAlignTpgStripeWidthMinus1"), 71U);
  EXPECT_EQ(embedder.GetAvAlignTpgNumFrames(), 189U);
  EXPECT_EQ(embedder.GetVideoStandard(), 5U);
  for (const std::uint32_t none : {180U, 0U, 0U, 26U, 0xFFFFFFFFU}) {
    EXPECT_EQ(StoresOf([&] { embedder.OnVideoTypeChange(0, none); }),
              (std::vector{Stored(kControl, 0xDFFF40FE)}));
    EXPECT_TRUE(board.log.All().empty());
    EXPECT_EQ(embedder.GetVideoStandard(), 0U);
  }
  EXPECT_EQ(core.StrayAccesses(), 0U);
}

TEST_F(AudioEmbedderTest, PatternPeriodLastsAndFitsItsField) {
  core.SetWord(0x3C, 0xFFFFFFFF);
  EXPECT_EQ(StoresOf([&] { embedder.SetAvAlignTpg(0, 0); }),
            (std::vector{Stored(kPattern, 0xFFFBFFFF), Stored(kPattern, 0xFFFBFC0A)}));
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
  core.SetWord(0x00, 0xFFFFFFFF);
  EXPECT_EQ(StoresOf([&] {
              embedder.OnAudioTypeChange({Type::DolbyE, Type::Pcm, Type::Pcm, Type::OtherNonPcm,
                                          Type::Pcm, Type::Pcm, Type::Pcm, Type::Ac3});
            }),
            (std::vector{Stored(kPcm, 0xFFFC0C3F | 0x8)}));
  core.SetWord(0x2C, 0xFF005007);
  core.SetWord(0x30, 0xFFFFF123);
  core.SetWord(0x38, 0x00FFF000);
  const struct {
    std::size_t pair;
    std::uint32_t loads, word;
    Type type;
    std::uint16_t line;
  } cases[] = {{0, 1, 0x2C, Type::DolbyE, 13},
               {1, 0, 0x2C, Type::Pcm, 0},
               {2, 0, 0x30, Type::Pcm, 0},
               {3, 1, 0x30, Type::OtherNonPcm, 0xFFF + 6},
               {7, 1, 0x38, Type::Ac3, 0xFFF + 6}};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.pair);
    Type type{};
    std::uint16_t line = 99;
    const auto trace = AccessesOf([&] { embedder.GetPairNonPcmInfo(c.pair, &type, &line); });
    EXPECT_EQ(trace, std::vector(c.loads, Loaded(kBase + c.word, core.Word(c.word))));
    EXPECT_EQ(type, c.type);
    EXPECT_EQ(line, c.line);
  }
  Type type{};
  std::uint16_t line = 0;
  EXPECT_EQ(AccessesOf([&] {
              EXPECT_THROW(embedder.GetPairNonPcmInfo(8, &type, &line), std::out_of_range);
            }),
            (std::vector{Loaded(kBase + 0x38, 0x00FFF000)}));

  std::string report = "old";
  std::uint8_t more = 1;
  EXPECT_EQ(AccessesOf([&] { embedder.DumpStatus(1, 2, report, &more); }).size(), 1U);
  EXPECT_TRUE(
      report.starts_with("Channel 0 is set as [not PCM]\nChannel 1 is set as [not PCM]\n"
                         "Channel 2 is set as [PCM]\n"));
  EXPECT_TRUE(
      report.ends_with("Channel 13 is set as [PCM]\nChannel 14 is set as [not PCM]\n"
                       "Channel 15 is set as [not PCM]\n"));
  EXPECT_EQ(more, 0);
}

TEST_F(AudioEmbedderTest, GroupsSwitchOneByOne) {
  core.SetWord(0x04, 0xFFFFFFFF);
  const std::uint32_t group1Off = 0xFFFDFFFF;
  EXPECT_EQ(AccessesOf([&] { embedder.SetGroupEnable(1, 0); }),
            (std::vector{Loaded(kControl, 0xFFFFFFFF), Loaded(kControl, 0xFFFFFFFF),
                         Stored(kControl, group1Off)}));
  EXPECT_FALSE(embedder.GetGroupEnable(1));
  EXPECT_TRUE(embedder.GetGroupEnable(2));
  embedder.SetGroupEnable(3, -1);
  EXPECT_EQ(core.Get("aesGrpEn"), 5U);
  embedder.SetGroupEnable(1, 2);
  EXPECT_EQ(core.Get("aesGrpEn"), 7U);
  EXPECT_TRUE(AccessesOf([&] {
                embedder.SetGroupEnable(4, 1);
                EXPECT_FALSE(embedder.GetGroupEnable(255));
              }).empty());
  EXPECT_EQ(
      board.log.Messages(6),
      (std::vector<std::string>{"Trying to set the group enable to a group that doesn't exist",
                                "Trying to get the group enable to a group that doesn't exist"}));
}

TEST_F(AudioEmbedderTest, ErrorsResetACoreThatEmbeds) {
  EXPECT_EQ(AccessesOf([&] { embedder.HandleIrq(); }), (std::vector{Loaded(kIrqStatus, 0)}));
  IrqHandlerImpl irqs("irq_handler", 0);
  irqs.RegisterHandler(embedder.GetIrqNumber(), [&] { embedder.HandleIrq(); });
  irqs.UnmaskIrq(53);
  embedder.ReleaseFromReset();
  const struct {
    std::uint32_t errors, groups;
    std::vector<std::string> logged;
  } cases[] = {{0x0100, 0xF, {}},
               {0x7F00, 0xF, {}},
               {0x0001, 0x0, {}},
               {0x0001, 0x8, {"Resetting due to IRQ, err status 0x1"}},
               {0x007E, 0x8, {"Resetting due to IRQ, err status 0x7e"}},
               {0x0080, 0x8, {"Resetting due to IRQ, err status 0x80"}},
               {0x8000, 0xF, {"Resetting due to IRQ, err status 0x8000"}}};
  core.SetWord(0x1C, 0xFFFFFFFF);
  EXPECT_EQ(AccessesOf([&] { embedder.UnmaskIrq(); }),
            (std::vector{Loaded(kIrqMask, 0xFFFFFFFF), Stored(kIrqMask, 0xFFFFFFFE),
                         Loaded(kControl, 1), Stored(kControl, 0)}));
  for (const auto& c : cases) {
    SCOPED_TRACE(c.errors);
    core.Set("aesGrpEn", c.groups);
    core.RaiseErrors(c.errors);
    const std::uint32_t control = core.Word(0x04);
    std::vector expected{Loaded(kIrqStatus, 1),     Loaded(kIrqClr, 0),
                         Stored(kIrqClr, 1),        Loaded(kIrqClr, 1),
                         Stored(kIrqClr, 0),        Loaded(kErrors, c.errors),
                         Loaded(kErrors, c.errors), Stored(kErrors, c.errors | 1),
                         Loaded(kControl, control)};
    if (!c.logged.empty()) {
      const std::uint32_t held = control | 0x80000000;
      expected.insert(expected.end(), {Loaded(kControl, control), Stored(kControl, held),
                                       Loaded(kControl, held), Stored(kControl, control)});
    }
    auto trace = AccessesOf([&] { irqs.PollIrq(); });
    std::erase_if(trace, [](const auto& a) { return a.address < kBase; });
    EXPECT_EQ(trace, expected);
    EXPECT_EQ(board.log.Messages(6), c.logged);
    EXPECT_EQ(core.Get("errStatus"), 0U);
    EXPECT_TRUE(AccessesOf([&] { irqs.PollIrq(); }).size() == 1U);
  }
  EXPECT_EQ(AccessesOf([&] { embedder.MaskIrq(); }),
            (std::vector{Loaded(kIrqMask, 0xFFFFFFFE), Stored(kIrqMask, 0xFFFFFFFF)}));
  core.RaiseErrors(1);
  irqs.PollIrq();
  EXPECT_EQ(core.Get("errStatus"), 1U);
}

TEST_F(AudioEmbedderTest, ResetsSayWhatTheyAreFor) {
  SetLogLevel(kLogDebug);
  core.SetWord(0x04, 0x7FFFFFFF);
  EXPECT_EQ(AccessesOf([&] { embedder.OnAudioOutputClockGenIrq(); }),
            (std::vector{Loaded(kControl, 0x7FFFFFFF), Stored(kControl, 0xFFFFFFFF),
                         Loaded(kControl, 0xFFFFFFFF), Stored(kControl, 0x7FFFFFFF)}));
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
    EXPECT_TRUE(AccessesOf([&] { embedder.GetDolbyEAlignment(6, &advance, &retard); }).empty());
    EXPECT_EQ(advance, 0);
    EXPECT_EQ(retard, 0);
    EXPECT_TRUE(AccessesOf([&] {
                  EXPECT_THROW(embedder.GetDolbyEAlignment(8, &advance, &retard),
                               std::out_of_range);
                }).empty());
  }
}

}  // namespace
