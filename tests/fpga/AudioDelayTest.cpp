#include "modules/AudioDelay.h"

#include <gtest/gtest.h>

#include <functional>

#include "log/Log.h"
#include "sim/Board.h"
#include "sim/FieldModel.h"
#include "sim/models/AudioDelayModel.h"
#include "support/Accesses.h"

namespace {

using sim::Loaded;
using sim::LogRecord;
using sim::Stored;
using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr std::uint32_t kBase = 0x1D00000;
constexpr std::uint32_t kControl = kBase;
constexpr std::uint32_t kMemory = kBase + 0x10;
constexpr std::uint32_t kSameChannel = kBase + 0x14;
constexpr std::uint32_t kErrors = kBase + 0x1C;
constexpr std::uint32_t kRestart = kBase + 0x20;
constexpr std::uint32_t kValid = kBase + 0x24;

// A line of 5461 ms, not started. Sleeps move the clock and take no time.
class AudioDelayTest : public testing::Test {
 protected:
  AudioDelayTest() {
    SetLogLevel(kLogDebug);
    board.clock.TakeOver();
    delay._InitializeDramAndCsr(0x80001238, 0x1000000);
  }

  std::uint64_t SleepOf(const std::function<void()>& operation) {
    const std::uint64_t before = board.clock.SleptMicroseconds();
    operation();
    return board.clock.SleptMicroseconds() - before;
  }

  sim::Board& board = sim::Board::Get();
  sim::AudioDelayModel& core = board.Core<sim::AudioDelayModel>("in_aud_1_audio_delay");
  AudioDelay delay{"audio_delay1", kBase, 1};
};

TEST_F(AudioDelayTest, InitializeWritesTheOptionsInOrder) {
  core.SetWord(0x00, 0xFFFFFFFF);
  core.SetWord(0x20, 0x5AFF0000);
  EXPECT_EQ(StoresOf([&] { delay.Initialize(); }),
            (std::vector{Stored(kControl, 0xFF00FFFF), Stored(kControl, 0xFF0000FF),
                         Stored(kControl, 0xFF0000CF), Stored(kControl, 0xFF0000CB),
                         Stored(kControl, 0xFF0000C9), Stored(kRestart, 0x5A000000),
                         Stored(kRestart, 0x4A000000)}));
}

TEST_F(AudioDelayTest, SetupPassesThroughResetAndClearsWhatPiledUp) {
  core.SetWord(0x00, 0xAA55AA54);
  core.SetWord(0x10, 0xF0000001);
  core.SetWord(0x20, 0x0A550000);
  core.SetWord(0x1C, 0xFFFFFFFF);
  core.SetWord(0x14, 0x12340001);
  EXPECT_EQ(
      AccessesOf([&] { delay.Setup(); }),
      (std::vector{Loaded(kBase + 4, 0), Stored(kBase + 4, 0x10000247), Loaded(kMemory, 0xF0000001),
                   Stored(kMemory, 0xF003FFEF), Loaded(kControl, 0xAA55AA54),
                   Stored(kControl, 0xAA55AA55), Loaded(kErrors, 0xFFFFFFFF),
                   Loaded(kSameChannel, 0x12340001), Loaded(kErrors, 0xFFFFFFFF),
                   Stored(kErrors, 0xFFFFFFFF), Loaded(kSameChannel, 0x12340001),
                   Stored(kSameChannel, 0x1234FFFF), Loaded(kControl, 0xAA55AA55),
                   Loaded(kRestart, 0x0A550000), Stored(kRestart, 0x0A550000),
                   Loaded(kControl, 0xAA55AA55), Stored(kControl, 0xAA55AA54)}));
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{6, "Calling AudioDelay::Setup"},
                                    {7, "Audio delay setting base phy address to 0x10000247"},
                                    {7, "Audio delay setting number of chunks to 0x0003FFEF"},
                                    {6, "Showing errors for audio delay 1"}}));
  EXPECT_EQ(core.Get("err_status") | core.Get("same_ch_timing_err"), 0U);
  EXPECT_FALSE(delay.IsHeldInReset());
}

TEST_F(AudioDelayTest, SetupNeedsDramForAChunk) {
  AudioDelay without{"audio_delay2", kBase + 0x100000, 2};
  board.Core<sim::AudioDelayModel>("in_aud_2_audio_delay").SetWord(0, 0);
  EXPECT_EQ(StoresOf([&] { without.Setup(); }), (std::vector{Stored(kBase + 0x100000, 1)}));
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{3,
                                     "Attempt to setup audio delay line before DRAM space was "
                                     "allocated to it"}}));
  board.log.Clear();
  without._InitializeDramAndCsr(0xABC, 3071);
  EXPECT_TRUE(AccessesOf([&] { without.Setup(); }).empty());
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{3,
                                     "The audio delay line was not allocated enough space in "
                                     "DRAM 4294967295 3071"}}));
  EXPECT_EQ(without.GetChunkCount(), 0U);
  board.log.Clear();
  without._InitializeDramAndCsr(0xABC, 3072);
  EXPECT_EQ(board.log.Messages(6),
            (std::vector<std::string>{"Setting base address of abc, with a size of c00"}));
  EXPECT_EQ(StoresOf([&] { without.Setup(); }).at(1), Stored(kBase + 0x100010, 47));
}

TEST_F(AudioDelayTest, DelaysGoToTheRegistersOfTheirChannel) {
  const struct {
    std::uint8_t channel;
    std::uint32_t offset;
  } cases[] = {{0, 0x28}, {1, 0x34}, {15, 0xDC}};
  for (const auto& c : cases) {
    core.SetWord(c.offset, 0xF0000000);
    EXPECT_EQ(StoresOf([&] { delay.SetChannelDelay(c.channel, 2.0F); }),
              (std::vector{Stored(kBase + c.offset, 0xF0000060)}));
  }
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{7,
                                     "Called SetChannelDelay for channel 15 with value of "
                                     "2.000000 and sample delay of 96"}}));
  EXPECT_TRUE(AccessesOf([&] { delay.SetChannelDelay(16, -1.0F); }).empty());
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{7,
                                     "Called SetChannelDelay for channel 16 with value of "
                                     "-1.000000 and sample delay of 64"},
                                    {4, "Trying to set the delay of an invalid channel number"}}));
  // More than 28 bits of samples are refused by the register access.
  EXPECT_TRUE(StoresOf([&] { delay.SetChannelDelay(3, 6e6F); }).empty());
  EXPECT_EQ(board.log.Messages(3).size(), 1U);
}

TEST_F(AudioDelayTest, MeasuresByThePointersAcrossTheEndOfTheRing) {
  delay.SetChannelDelay(15, 2.0F);
  delay.Setup();
  std::uint32_t samples = 7;
  float ms = 7;
  const auto measure = [&](milliseconds later) {
    board.clock.Advance(later);
    delay.GetChannelDelay(15, &samples, &ms);
  };
  measure(milliseconds(10));
  EXPECT_EQ(samples, 96U);
  EXPECT_EQ(ms, 2.0F);
  EXPECT_EQ(delay.GetSampleDelta(15, 3.0F), 48);
  EXPECT_EQ(delay.GetSampleDelta(15, 0.0F), -32);  // to the shortest delay
  measure(milliseconds(5452));                     // the writer is 1 ms beyond the end
  EXPECT_EQ(samples, 95U);
  EXPECT_EQ(ms, 0x1.faaaaap+0F);
  EXPECT_EQ(delay.GetSampleDelta(15, 2.0F), 1);
  EXPECT_EQ(AccessesOf([&] { delay.GetChannelDelay(15, &samples, &ms); }),
            (std::vector{Loaded(kBase + 0xE4, 262080), Loaded(kBase + 0xE0, 48)}));

  samples = 7;
  EXPECT_TRUE(AccessesOf([&] {
                delay.GetChannelDelay(16, &samples, &ms);
                EXPECT_EQ(delay.GetSampleDelta(255, 100.0F), 0);
              }).empty());
  EXPECT_EQ(samples, 7U);
  EXPECT_EQ(
      board.log.WithoutOrigins(),
      (std::vector<LogRecord>(2, {4, "Trying to get the delay of an invalid channel number"})));
}

TEST_F(AudioDelayTest, AChannelTakesItsDelayWhenItsRestartEnds) {
  delay.Setup();
  board.clock.Advance(milliseconds(100));
  core.SetRestartTime(microseconds(250));
  delay.SetChannelDelay(4, 10.0F);
  EXPECT_EQ(delay.GetSampleDelta(4, 10.0F), 480);
  EXPECT_EQ(AccessesOf([&] { delay.RestartChannel(4); }),
            (std::vector{Loaded(kControl, 0), Loaded(kRestart, 0), Loaded(kValid, 0xFFFF),
                         Loaded(kRestart, 0), Stored(kRestart, 0x10)}));
  EXPECT_EQ(delay.GetSampleDelta(4, 10.0F), 480);
  EXPECT_EQ(SleepOf([&] { delay.RestartChannel(5); }), 0U);  // channel 4 is no hindrance
  EXPECT_EQ(SleepOf([&] { delay.RestartChannel(4); }), 300U);
  board.clock.Advance(microseconds(250));
  EXPECT_EQ(delay.GetSampleDelta(4, 10.0F), 0);
}

TEST_F(AudioDelayTest, RestartsThatTimeOutAreKeptForARetry) {
  delay.Setup();
  core.SetValidOutputs(0xFFFF & ~0x0204);
  EXPECT_EQ(SleepOf([&] { EXPECT_TRUE(StoresOf([&] { delay.RestartChannel(9); }).empty()); }),
            1000U);
  const auto accesses = AccessesOf([&] { delay.RestartChannel(2); });
  EXPECT_EQ(accesses.size(), 1U + 10 * 2);
  EXPECT_TRUE(board.log.All().empty());

  core.SetValidOutputs(0xFFFF);
  core.SetRestartTime(std::nullopt);
  EXPECT_EQ(StoresOf([&] { delay.RetryFailedRestarts(); }),
            (std::vector{Stored(kRestart, 0x4), Stored(kRestart, 0x200)}));
  // These restarts never end: not for one channel, nor for all.
  EXPECT_TRUE(StoresOf([&] { delay.RestartChannel(9); }).empty());
  EXPECT_EQ(SleepOf([&] { delay.RestartAllChannels(); }), 900U);  // only between the tries

  core.SetRestartTime(microseconds(0));
  EXPECT_EQ(StoresOf([&] { delay.RetryFailedRestarts(); }).size(), 14U);  // all but the stuck ones
  delay.ResetAndRelease();
  EXPECT_TRUE(AccessesOf([&] { delay.RetryFailedRestarts(); }).empty());
  core.SetValidOutputs(0);
  delay.RestartChannel(3);
  core.SetValidOutputs(0xFFFF);
  for (int retry = 0; retry < 2; ++retry) {  // success doesn't take it off the list
    EXPECT_EQ(StoresOf([&] { delay.RetryFailedRestarts(); }), (std::vector{Stored(kRestart, 0x8)}));
  }
  delay.Initialize();
  EXPECT_TRUE(AccessesOf([&] { delay.RetryFailedRestarts(); }).empty());
  core.SetValidOutputs(0x0100);  // the output of one is enough to restart all
  EXPECT_EQ(StoresOf([&] { delay.RestartAllChannels(); }), (std::vector{Stored(kRestart, 0xFFFF)}));
}

TEST_F(AudioDelayTest, ACoreInResetIsNotRestarted) {
  delay.HoldInReset();
  const std::vector look{Loaded(kControl, 1)};
  EXPECT_EQ(AccessesOf([&] { delay.RestartChannel(0); }), look);
  EXPECT_EQ(AccessesOf([&] { delay.RestartAllChannels(); }), look);
  EXPECT_TRUE(AccessesOf([&] {
                delay.RetryFailedRestarts();
                delay.RestartChannel(16);
              }).empty());
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{4, "Trying to restart an invalid channel number"}}));
}

TEST_F(AudioDelayTest, PairsMoveAroundTheConverterAlone) {
  delay.Setup();
  core.Set("route_pairs_via_nonsrc", 0x41);
  EXPECT_EQ(
      StoresOf([&] { delay.SetPairViaNonSrc(7, true); }),
      (std::vector{Stored(kControl, 0xC100), Stored(kRestart, 0x4000), Stored(kRestart, 0x8000)}));
  EXPECT_EQ(StoresOf([&] { delay.SetPairViaNonSrc(0, false); }),
            (std::vector{Stored(kControl, 0xC000), Stored(kRestart, 0x1), Stored(kRestart, 0x2)}));
  EXPECT_TRUE(delay.IsPairViaNonSrc(6));
  EXPECT_FALSE(delay.IsPairViaNonSrc(0));
  for (const std::uint8_t pair : std::array<std::uint8_t, 4>{8, 40, 128, 255}) {
    EXPECT_EQ(StoresOf([&] { delay.SetPairViaNonSrc(pair, true); }),
              (std::vector{Stored(kControl, 0xC000)}));
    EXPECT_EQ(board.log.Messages(4).size(), 2U);
    EXPECT_FALSE(delay.IsPairViaNonSrc(pair));
  }
}

TEST_F(AudioDelayTest, ReportsEveryErrorInOrderAndRestartsWhatItConcerns) {
  delay.Setup();
  core.SetWord(0x1C, 0xFFFFFFFF);
  core.SetWord(0x14, 0x00000100);
  std::vector expected{Stored(kErrors, 0xFFFFFFFF), Stored(kSameChannel, 0x0000FFFF)};
  std::vector<LogRecord> lines{{6, "Showing errors for audio delay 1"}};
  for (std::uint32_t channel = 0; channel < 16; ++channel) {
    expected.push_back(Stored(kRestart, 1U << channel));
    lines.push_back({3, "audio_delay1: CH" + std::to_string(channel) + " Timing Error"});
  }
  expected.push_back(Stored(kControl, 1));
  expected.push_back(Stored(kControl, 0));
  for (const char* text :
       {"audio_delay1: PAIR0 Framing Error Restarting Channel 1,2",
        "audio_delay1: PAIR1 Framing Error Restarting Channel 3,4",
        "audio_delay1: PAIR2 Framing Error Restarting Channel 5,6",
        "audio_delay1: PAIR3 Framing Error Restarting Channel 7,8",
        "audio_delay1: PAIR4 Framing Error Restarting Channel 9,10",
        "audio_delay1: PAIR5 Framing Error Restarting Channel 11,12",
        "audio_delay1: PAIR6 Framing Error Restarting Channel 13,14",
        "audio_delay1: PAIR7 Framing Error Restarting Channel 15,16", "nonsrc_sof_timing_error",
        "nonsrc_ce_error", "nonsrc_sof_error", "ingress_ce_error", "ingress_sof_error",
        "ingress sdram error", "src_ce_error", "src_sof_error", "same_ch_timing_error"}) {
    lines.push_back({3, text});
  }
  EXPECT_EQ(StoresOf([&] { EXPECT_TRUE(delay.CheckErrors()); }), expected);
  EXPECT_EQ(board.log.WithoutOrigins(), lines);
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(delay.CheckErrors()); }),
            (std::vector{Loaded(kErrors, 0), Loaded(kSameChannel, 0)}));
  EXPECT_TRUE(board.log.All().empty());
}

TEST_F(AudioDelayTest, ErrorsOfTheCoreAreToldFromThoseOfChannels) {
  delay.Setup();
  const char* const pair7 = "audio_delay1: PAIR7 Framing Error Restarting Channel 15,16";
  const struct {
    std::uint32_t errors, sameChannel;
    bool ofTheCore;
    const char* line;
    std::vector<sim::RegisterAccess> remedy;
  } cases[] = {
      {0x01, 0, true, "src_sof_error", {}},
      {0x08, 0, true, "ingress_sof_error", {Stored(kControl, 1), Stored(kControl, 0)}},
      {0x80, 0, true, "nonsrc_sof_timing_error", {}},
      {0x8000, 0, false, pair7, {Stored(kRestart, 0x4000), Stored(kRestart, 0x8000)}},
      {0x80000000, 0, false, "audio_delay1: CH15 Timing Error", {}},
      {0, 0x8000, false, "same_ch_timing_error", {}},
  };
  const std::vector clears{Stored(kErrors, 0xFFFFFFFF), Stored(kSameChannel, 0x0000FFFF)};
  for (const auto& c : cases) {
    SCOPED_TRACE(c.line);
    core.SetWord(0x1C, c.errors);
    core.Set("same_ch_timing_err", c.sameChannel);
    auto stores = clears;
    stores.insert(stores.end(), c.remedy.begin(), c.remedy.end());
    EXPECT_EQ(StoresOf([&] { EXPECT_EQ(delay.CheckErrors(), c.ofTheCore); }), stores);
    EXPECT_EQ(board.log.Messages(3), std::vector<std::string>{c.line});
  }
  // In reset the core's errors are cleared and not told.
  delay.HoldInReset();
  core.SetWord(0x1C, 0xFFFFFFFF);
  EXPECT_EQ(StoresOf([&] { EXPECT_FALSE(delay.CheckErrors()); }), clears);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{6, "Showing errors for audio delay 1"}}));
}

// Registers that answer nothing as a core would.
TEST_F(AudioDelayTest, ArbitraryWordsEndEveryWait) {
  sim::FieldModel words(board.mutex, audio_delay_regs::kFields);
  board.registers.Attach(kBase, words);
  std::uint32_t samples = 0;
  float ms = 0;
  for (const std::uint32_t word : {0xFFFFFFFFU, 0xFFFFFFFEU, 0x80000000U, 0x5A5A5A5AU}) {
    for (std::uint32_t offset = 0; offset <= 0xEC; offset += 4) {
      words.SetWord(offset, word);
    }
    EXPECT_LE(SleepOf([&] {
                delay.CheckErrors();
                delay.Setup();
                delay.RestartAllChannels();
                delay.RetryFailedRestarts();
              }),
              40'000U);
    delay.GetChannelDelay(0, &samples, &ms);
    EXPECT_EQ(samples, (word & ~0x3FFFFFFU)) << std::hex << word;
  }
  board.registers.Attach(kBase, core);
}

}  // namespace
