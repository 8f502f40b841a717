#include "modules/AudioDeembedder.h"

#include <gtest/gtest.h>

#include <functional>

#include "log/Log.h"
#include "modules/IrqHandler.h"
#include "sim/Board.h"
#include "sim/models/AudioDeembedderModel.h"
#include "support/Accesses.h"

namespace {

using sim::AudioPair;
using sim::Loaded;
using sim::LogRecord;
using sim::Stored;
using Error = sim::AudioDeembedderModel::Error;
using Type = AudioChannelInfo::AudioType;

constexpr std::uint32_t kBase = 0xD00000;
constexpr std::uint32_t kControl = kBase;
constexpr std::uint32_t kReset = kBase + 0x4;
constexpr std::uint32_t kPair7 = kBase + 0x24;
constexpr std::uint32_t kFull = kBase + 0x48;
constexpr std::uint32_t kOverflow = kBase + 0x4C;
constexpr std::uint32_t kEmpty = kBase + 0x50;
constexpr std::uint32_t kUnderflow = kBase + 0x54;
constexpr std::uint32_t kStatus = kBase + 0x58;
constexpr std::uint32_t kErrorMask = kBase + 0x6C;
constexpr std::uint32_t kIrqMask = kBase + 0x70;
constexpr std::uint32_t kIrqStatus = kBase + 0x74;
constexpr std::uint32_t kIrqClr = kBase + 0x78;
constexpr std::uint32_t kPattern = kBase + 0x7C;
constexpr std::uint32_t kTestFifo = kBase + 0xC0;
constexpr std::uint32_t k1080i50 = 15;

class AudioDeembedderTest : public testing::Test {
 protected:
  AudioDeembedderTest() { SetLogLevel(kLogDebug); }

  sim::Board& board = sim::Board::Get();
  sim::AudioDeembedderModel& core = board.Core<sim::AudioDeembedderModel>("in_aud_1_deemb");
  AudioDeembedder deembedder{"in_aud_1_deemb", kBase, 0, 13};
};

TEST_F(AudioDeembedderTest, SetupGoesThroughResetAndLeavesTheRestAlone) {
  core.SetWord(0x00, 0xFFFFFFFE);
  core.SetWord(0x04, 0xFFFFFFE2);
  core.SetWord(0x6C, 0xFFFFFFFF);
  core.SetWord(0x7C, 0xFFEFFFFF);
  EXPECT_EQ(AccessesOf([&] { deembedder.ResetAndRelease(); }),
            (std::vector{Loaded(kReset, 0xFFFFFFE2), Stored(kReset, 0xFFFFFFE3),
                         Loaded(kReset, 0xFFFFFFE3), Stored(kReset, 0xFFFFFFE2)}));
  const std::uint64_t loads = board.registers.LoadCount();
  EXPECT_EQ(
      StoresOf([&] { deembedder.Setup(5); }),
      (std::vector{
          Stored(kReset, 0xFFFFFFE3), Stored(kControl, 0xFFFFFFAE), Stored(kReset, 0xFFFFFFE7),
          Stored(kReset, 0xFFFFFF47), Stored(kPattern, 0xFFE47FFF), Stored(kPattern, 0xFFE47064),
          Stored(kReset, 0xFFFFFF46), Stored(kErrorMask, 0), Stored(kControl, 0xFFFFFFAF)}));
  EXPECT_EQ(board.registers.LoadCount() - loads, 9U);
  for (const std::uint32_t none : {0U, 33U, 180U, 0xFFFFFFFFU}) {  // no standard has these
    EXPECT_EQ(StoresOf([&] { deembedder.OnVideoTypeChange(7, none); }),
              (std::vector{Stored(kReset, 0xFFFFFF47)}));
  }
  deembedder.OnVideoTypeChange(7, k1080i50);
  EXPECT_EQ(core.Get("switch_line"), 7U);
  EXPECT_EQ(core.Get("avSyncStripeWidthMinus1"), 191U);
}

TEST_F(AudioDeembedderTest, TypeNeedsALineAndBothChannels) {
  const struct {
    std::uint32_t presence, line, dataType;
    Type type;
  } cases[] = {
      {3, 9, 28, Type::DolbyE},     {3, 1, 1, Type::Ac3},          {3, 4095, 16, Type::Eac3},
      {3, 9, 0, Type::OtherNonPcm}, {3, 9, 31, Type::OtherNonPcm}, {3, 0, 28, Type::Pcm},
      {2, 9, 28, Type::Pcm},        {1, 9, 28, Type::Pcm},         {0, 9, 28, Type::Pcm}};
  deembedder.Setup(k1080i50);
  core.SetWord(0x58, 0xFFFFFFFF);  // the other pairs' channels are there
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    core.Set("audioStatus", 0xFFCF | c.presence << 4);
    core.Set("nonpcm_channel_pair_2_line", c.line);
    core.Set("nonpcm_channel_pair_2_type", c.dataType);
    EXPECT_EQ(deembedder.GetPairType(2), c.type);
    EXPECT_EQ(deembedder.IsPairPcm(2), c.type == Type::Pcm);
  }
}

TEST_F(AudioDeembedderTest, PairsAbove7ReadPair7) {
  deembedder.Setup(k1080i50);
  core.Plug(7, {.present = true, .burstType = 1, .line = 9});
  for (const int pair : {7, 8, 255}) {
    EXPECT_EQ(AccessesOf([&] {
                EXPECT_EQ(deembedder.GetPairType(static_cast<std::uint8_t>(pair)), Type::Ac3);
              }),
              (std::vector{Loaded(kStatus, 0xC000), Loaded(kPair7, 0x121), Loaded(kPair7, 0x121)}));
    EXPECT_EQ(board.log.WithoutOrigins(),
              (std::vector<LogRecord>{{7,
                                       "in_aud_1_deemb: Deembedder IRQ reported pair 7 as NON-PCM "
                                       "line was 9 and type was 1"}}));
  }
}

TEST_F(AudioDeembedderTest, InterruptIsClearedAndFlagsAreLookedAt) {
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(deembedder.HandleIrq()); }),
            (std::vector{Loaded(kIrqStatus, 0)}));
  deembedder.Setup(k1080i50);
  const std::uint32_t control = core.Word(0x04);
  core.Plug(3, {.present = true, .burstType = 28, .line = 9});
  EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(deembedder.HandleIrq()); }),
            (std::vector{Loaded(kIrqStatus, 8), Loaded(kIrqClr, 0), Stored(kIrqClr, 8),
                         Loaded(kIrqClr, 8), Stored(kIrqClr, 0), Loaded(kOverflow, 0),
                         Loaded(kUnderflow, 0), Loaded(kEmpty, 0), Loaded(kFull, 0),
                         Loaded(kReset, control)}));
  EXPECT_EQ(board.log.WithoutOrigins(), (std::vector<LogRecord>{{7, "Got IRQ with status 8"}}));
}

TEST_F(AudioDeembedderTest, ErrorsAreClearedLoggedAndRestartOnce) {
  const struct {
    std::vector<std::pair<Error, std::uint32_t>> errors;
    std::vector<std::string> logged;
    std::vector<sim::RegisterAccess> cleared;  // the core's reset aside
    std::size_t restarts;
  } cases[] = {
      {{{Error::kEmpty, 0xFFFF}}, {}, {Stored(kEmpty, 0xFFFF)}, 0},
      {{{Error::kFull, 0x8001}}, {"in_aud_1_deemb FIFO full 0x8001"}, {Stored(kFull, 0xFFFF)}, 0},
      {{{Error::kUnderflow, 1}},
       {"in_aud_1_deemb FIFO underflow 0x1"},
       {Stored(kUnderflow, 0xFFFF)},
       1},
      {{{Error::kAlignment, 2}}, {"in_aud_1_deemb alignment error"}, {Stored(kReset, 0x14C)}, 1},
      {{{Error::kAlignment, 3},
        {Error::kFull, 1},
        {Error::kEmpty, 1},
        {Error::kUnderflow, 2},
        {Error::kOverflow, 0xC000}},
       {"in_aud_1_deemb FIFO overflow 0xc000", "in_aud_1_deemb FIFO underflow 0x2",
        "in_aud_1_deemb FIFO full 0x1", "in_aud_1_deemb alignment error"},
       {Stored(kOverflow, 0xFFFF), Stored(kUnderflow, 0xFFFF), Stored(kEmpty, 0xFFFF),
        Stored(kFull, 0xFFFF), Stored(kReset, 0x14C)},
       1},
  };
  for (const std::uint32_t standard : {k1080i50, 0U}) {
    deembedder.Setup(standard != 0 ? standard : 180);  // which counts as 0
    for (const auto& c : cases) {
      SCOPED_TRACE(&c - cases);
      for (const auto& [error, flags] : c.errors) {
        core.Raise(error, flags);
      }
      auto stores = StoresOf([&] { deembedder.CheckErrors(); });
      EXPECT_EQ(board.log.Messages(6), c.logged);
      // A set-up takes nine stores; without a standard it is the reset alone.
      ASSERT_EQ(stores.size(), c.cleared.size() + c.restarts * (standard != 0 ? 9 : 1));
      stores.resize(c.cleared.size(), Stored(0, 0));
      for (auto& store : stores) {
        store.value &= store.address == kReset ? ~1U : ~0U;
      }
      EXPECT_EQ(stores, c.cleared);
      EXPECT_EQ(core.Get("reset"), standard != 0 ? 0U : 1U);
      for (const char* flag :
           {"fifoOverflow", "fifoUnderflow", "fifoEmpty", "fifoFull", "alignment_err_saved"}) {
        EXPECT_EQ(core.Get(flag), 0U) << flag;
      }
    }
  }
}

TEST_F(AudioDeembedderTest, FaultThatStaysCostsOneRestartAPoll) {
  IrqHandlerImpl irqs("irq_handler", 0);
  int handled = 0;
  irqs.RegisterHandler(deembedder.GetIrqNumber(),
                       [&] { handled += deembedder.HandleIrq() ? 1 : 0; });
  irqs.UnmaskIrq(13);
  deembedder.Setup(k1080i50);
  core.Hold(Error::kOverflow, 4);
  irqs.PollIrq();
  EXPECT_EQ(handled, 0);  // masked in the core
  core.SetWord(0x70, 0xFFFFFFFF);
  EXPECT_EQ(AccessesOf([&] { deembedder.UnmaskIrq(); }),
            (std::vector{Loaded(kIrqMask, 0xFFFFFFFF), Stored(kIrqMask, 0xFFFFE000)}));
  for (int polls = 1; polls <= 3; ++polls) {
    irqs.PollIrq();
    EXPECT_EQ(handled, polls);
  }
  core.Hold(Error::kOverflow, 0);
  irqs.PollIrq();
  irqs.PollIrq();
  EXPECT_EQ(handled, 4);
  EXPECT_EQ(AccessesOf([&] { deembedder.MaskIrq(); }),
            (std::vector{Loaded(kIrqMask, 0xFFFFE000), Stored(kIrqMask, 0xFFFFFFFF)}));
  core.Plug(0, {});
  irqs.PollIrq();
  EXPECT_EQ(handled, 4);
}

TEST_F(AudioDeembedderTest, AlignmentTestIsReadOnceAndCleared) {
  const std::vector<std::string> nothing(16, "Audio test pattern not detected");
  core.SetTestResult(1, 30, 3, 300);
  std::vector<std::string> lines;
  deembedder.GetAvSyncResults(lines);  // no standard yet
  EXPECT_EQ(lines, nothing);

  deembedder.Setup(k1080i50);
  core.SetTestResult(0, 30, 3, 480);
  core.SetTestResult(1, 593, 4, 450);
  core.SetWord(0xB8, 0x0B80201E);  // result 14: value 46, frame 2, line 30
  core.SetTestResult(15, 30, 3, 15);
  auto expected = nothing;
  expected[0] = "Test Pattern Channel: 1 / Audio delay after video: 0.00 ms [3 30]";
  expected[1] = "Test Pattern Channel: 2 / Audio delay after video: 60.02 ms [4 593]";
  expected[14] = "Test Pattern Channel: 15 / Audio delay after video: -40.00 ms [2 30]";
  lines.clear();
  const std::uint32_t pattern = core.Word(0x7C);
  EXPECT_EQ(StoresOf([&] { deembedder.GetAvSyncResults(lines); }),
            (std::vector{Stored(kPattern, pattern | 0x100000), Stored(kPattern, pattern)}));
  EXPECT_EQ(lines, expected);
  lines.clear();
  deembedder.GetAvSyncResults(lines);
  EXPECT_EQ(lines, nothing);

  core.SetTestResult(0, 30, 3, 480);
  deembedder.Setup(0);  // the timing of the last standard stays
  lines.clear();
  deembedder.GetAvSyncResults(lines);
  EXPECT_EQ(lines[0], expected[0]);
}

TEST_F(AudioDeembedderTest, FifoOfFramesIsAskedItsWholeDepth) {
  std::vector<std::uint16_t> frames{7};
  EXPECT_EQ(AccessesOf([&] { deembedder.ReadAvSyncFifo(frames); }),
            std::vector(256, Loaded(kTestFifo, 0x10000)));
  core.PushTestFrame(3);
  core.PushTestFrame(0xFFFF);
  std::vector expected{Loaded(kTestFifo, 0),      Loaded(kTestFifo, 0), Stored(kTestFifo, 0x20000),
                       Loaded(kTestFifo, 3),      Loaded(kTestFifo, 3), Loaded(kTestFifo, 3),
                       Stored(kTestFifo, 0x20003)};
  expected.resize(expected.size() + 1 + 254, Loaded(kTestFifo, 0x1FFFF));
  EXPECT_EQ(AccessesOf([&] { deembedder.ReadAvSyncFifo(frames); }), expected);
  EXPECT_EQ(frames, (std::vector<std::uint16_t>{7, 3, 0xFFFF}));
}

TEST_F(AudioDeembedderTest, StatusShowsPairs) {
  deembedder.Setup(k1080i50);
  core.Plug(0, {});
  core.Plug(1, {.present = true, .burstType = 28, .line = 9});  // bits 2 and 3
  std::string report = "old";
  std::uint8_t more = 1;
  deembedder.DumpStatus(1, 2, report, &more);
  EXPECT_EQ(report,
            "Pair 0 is [present] and reporting [PCM]\n"
            "Pair 1 is [present] and reporting [not PCM]\n"
            "Pair 2 is [present] and reporting [PCM]\n"
            "Pair 3 is [present] and reporting [PCM]\n"
            "Pair 4 is [not present] and reporting [PCM]\n"
            "Pair 5 is [not present] and reporting [PCM]\n"
            "Pair 6 is [not present] and reporting [PCM]\n"
            "Pair 7 is [not present] and reporting [PCM]\n");
  EXPECT_EQ(more, 0);
}

}  // namespace
