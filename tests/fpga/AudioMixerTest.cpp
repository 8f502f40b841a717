#include "modules/AudioMixer.h"

#include <gtest/gtest.h>

#include <mutex>

#include <limits>
#include <optional>

#include "audio/AudioMixerMultiRoute.h"
#include "audio/AudioMixerSingleRoute.h"
#include "log/Log.h"
#include "sim/Board.h"
#include "sim/models/AudioMixerModel.h"

namespace {

using sim::Loaded;
using sim::LogRecord;
using sim::Stored;
using Accesses = std::vector<sim::RegisterAccess>;

constexpr std::uint32_t kBase = 0x1500000;

TEST(CoeffGain, TruncatesTowardsZeroAndLosesItsUpperBits) {
  constexpr float kStep = 1.0F / 65536;
  const struct {
    float gain;
    std::uint32_t coeff;
  } cases[] = {
      {0.0F, 0},
      {-0.0F, 0},
      {1.0F, 0x010000},
      {-1.0F, 0xFF0000},
      {0.9F * kStep, 0},
      {-0.9F * kStep, 0},
      {1.9F * kStep, 1},
      {-1.9F * kStep, 0xFFFFFF},
      {127.5F, 0x7F8000},
      {128.0F, 0x800000},
      {-128.0F, 0x800000},
      {257.0F, 0x010000},
      {-257.0F, 0xFF0000},
      {65536.0F, 0xFFFFFF},  // 2^32 is held at its end
      {1e30F, 0xFFFFFF},
      {-1e30F, 0x000001},
      {std::numeric_limits<float>::infinity(), 0xFFFFFF},
      {-std::numeric_limits<float>::infinity(), 0x000001},
      {std::numeric_limits<float>::quiet_NaN(), 0},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(ToCoeffGain(c.gain), c.coeff) << c.gain;
  }
}

// A route whose second source has no gain to give.
class BrokenRoute : public AudioMixerMultiRoute {
 public:
  int GetLinearGain(std::uint8_t index, float* gain) override {
    return index == 1 ? -1 : AudioMixerMultiRoute::GetLinearGain(index, gain);
  }
};

struct TestSource {
  std::uint8_t link;
  std::uint8_t channel;
  std::uint8_t invert = 0;
};

template <typename Route = AudioMixerMultiRoute>
std::shared_ptr<AudioMixerRoute> RouteTo(std::uint8_t link, std::uint8_t channel,
                                         const std::vector<TestSource>& sources) {
  auto route = std::make_shared<Route>();
  route->SetDestLink(link);
  route->SetDestChannel(channel);
  for (const TestSource& source : sources) {
    EXPECT_EQ(route->AddSrc(source.link, source.channel, source.invert, 0, 0.0F), 0);
  }
  return route;
}

class AudioMixerTest : public testing::Test {
 protected:
  AudioMixerTest() {
    SetLogLevel(kLogDebug);
    board.log.Clear();
  }

  void Start(std::uint32_t links, std::uint32_t large) {
    model.Set("num_links", links);
    model.Set("large_mixer", large);
    mixer->Initialize();
  }

  // Replaces what output 0 of link 0 carries by one source, and programs the core.
  void Program(TestSource source) {
    EXPECT_EQ(mixer->BuildRoute(RouteTo(0, 0, {source})), 0);
    mixer->ProgramCoeffs();
  }

  sim::Board& board = sim::Board::Get();
  sim::AudioMixerModel& model = board.Core<sim::AudioMixerModel>("in_aud_1_mixer");
  std::optional<AudioMixer> mixer{std::in_place, "mixer", kBase, 1};
};

TEST_F(AudioMixerTest, InitializesOnce) {
  constexpr std::uint32_t kStatus = 0xFFF80002 | 3U << 2;
  model.SetWord(0x00, 0xA5C39658);
  model.SetWord(0x04, kStatus);
  board.registers.StartTrace();
  mixer->Initialize();
  EXPECT_EQ(
      board.registers.TakeTrace(),
      (Accesses{Loaded(kBase + 4, kStatus), Loaded(kBase + 4, kStatus), Loaded(kBase, 0xA5C39658),
                Stored(kBase, 0xA5C39659), Loaded(kBase, 0xA5C39659), Stored(kBase, 0xA5C39658)}));
  EXPECT_EQ(mixer->GetNumLinks(), 3U);
  model.Set("num_links", 7);
  board.registers.StartTrace();
  mixer->Initialize();
  EXPECT_TRUE(board.registers.TakeTrace().empty());
  EXPECT_EQ(mixer->GetNumLinks(), 3U);
  mixer->ProgramCoeffs();
  ASSERT_TRUE(model.AwaitToggles(1));
  mixer.reset();
  EXPECT_EQ(board.log.Messages(4),
            (std::vector<std::string>{"Audio mixer is already initialized"}));
  EXPECT_EQ(board.log.Messages(6),
            (std::vector<std::string>{
                "AudioMixer Base Address is [1500000]. Found 3 links for mixer",
                "Audio Mixer is small version.", "Try to close thread", "Thread closed"}));
}

TEST_F(AudioMixerTest, DoesNothingBeforeItIsInitialized) {
  board.registers.StartTrace();
  EXPECT_EQ(mixer->BuildRoute(RouteTo(0, 0, {})), -1);
  mixer->ProgramCoeffs();
  std::string report = "old";
  std::uint8_t more = 1;
  mixer->DumpStatus(0, 0, report, &more);
  mixer.reset();
  EXPECT_TRUE(board.registers.TakeTrace().empty());
  EXPECT_EQ(report, "");
  EXPECT_EQ(more, 0);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{3, "Trying to make route before the mixer was initialized"},
                                    {3, "Trying to program the mixer before it was initialized"}}));
}

// Every access of a programming: the words of link 0 channel 3 are the ones that aren't silence.
TEST_F(AudioMixerTest, WritesTheMemoryInOrderAndThenTheToggle) {
  const std::vector<std::uint64_t> sources = {0x01010000, 0x1F'FF0000};
  for (const bool large : {false, true}) {
    SCOPED_TRACE(large);
    mixer.emplace(large ? "large" : "small", kBase, 1);
    Start(2, large ? 1 : 0);
    EXPECT_EQ(mixer->BuildRoute(RouteTo(0, 3, {{0, 1}, {1, 15, 1}})), 0);
    model.SetWord(0x00, 0xA5C39658);
    model.SetWord(0x08, 0xA5C37777);
    model.SetWord(0x0C, 0xDEADBEEF);
    model.SetWord(0x10, 0xAABBCCDD);
    const std::uint32_t status = model.Word(4);
    board.log.Clear();
    board.registers.StartTrace();
    mixer->ProgramCoeffs();
    ASSERT_TRUE(model.AwaitToggles(large ? 2 : 1));
    const Accesses trace = board.registers.TakeTrace();

    Accesses expected = {Loaded(kBase + 4, status), Loaded(kBase + 8, 0xA5C37777),
                         Stored(kBase + 8, 0xA5C30000)};
    std::uint32_t high = 0xDEADBEEF;
    std::uint32_t low = 0xAABBCCDD;
    const auto write = [&expected](std::uint32_t offset, std::uint32_t& word, std::uint32_t to) {
      expected.push_back(Loaded(kBase + offset, word));
      expected.push_back(Stored(kBase + offset, to));
      word = to;
    };
    for (std::uint32_t i = 0; i < 512; ++i) {
      const std::uint64_t word = i == 48 || i == 49 ? sources[i - 48] : 0;
      if (large) {
        write(0x0C, high, static_cast<std::uint32_t>(word >> 24));
        write(0x10, low, static_cast<std::uint32_t>(word & 0xFFFFFF));
      } else {
        write(0x0C, high, static_cast<std::uint32_t>(word));
      }
    }
    expected.push_back(Loaded(kBase, 0xA5C39658));
    expected.push_back(Stored(kBase, 0xA5C3965A));
    EXPECT_EQ(trace, expected);
    EXPECT_EQ(model.AudibleCoeffs()[48], sources[0]);
    EXPECT_EQ(model.AudibleCoeffs()[49], sources[1]);

    mixer.reset();  // the thread has logged all it had to
    const std::vector<std::string> lines = board.log.Messages(7);
    const std::string channelLine =
        "Mixer baseAddr 1500000 channel: [3] gets link,channel [1] with gain [10000]";
    if (large) {
      ASSERT_EQ(lines.size(), 512U + 16U);
      EXPECT_EQ(lines[51],
                "Mixer baseAddr 1500000 link,channel,coeff: [0, 3, 0] gets link,channel [0, 1] "
                "with gain [10000]");
      EXPECT_EQ(lines[52], channelLine);
      EXPECT_EQ(lines[53],
                "Mixer baseAddr 1500000 link,channel,coeff: [0, 3, 1] gets link,channel [1, f] "
                "with gain [ff0000]");
      EXPECT_EQ(lines.back(),
                "Mixer baseAddr 1500000 link,channel,coeff: [1, f, f] gets link,channel [0, 0] "
                "with gain [0]");
    } else {
      ASSERT_EQ(lines.size(), 16U);
      EXPECT_EQ(lines[3], channelLine);
    }
  }
}

TEST_F(AudioMixerTest, RefusedRoutesLeaveTheirChannelAsItWas) {
  Start(2, 1);
  ASSERT_EQ(mixer->BuildRoute(RouteTo(1, 15, {{0, 1}, {1, 15, 1}})), 0);
  std::string before;
  std::uint8_t more = 1;
  mixer->DumpStatus(0, 0, before, &more);
  const struct {
    std::shared_ptr<AudioMixerRoute> route;
    const char* line;
  } cases[] = {
      {nullptr, "There is no route to build. Skipping BuildRoute"},
      {RouteTo(2, 0, {}),
       "Output link 2 is out of range the range 2. This mixer index is 1. Skipping BuildRoute"},
      {RouteTo(1, 16, {}), "Output channel is out of range. Skipping BuildRoute"},
      {RouteTo(1, 15, {{1, 0}, {2, 0}}),
       "Source index 1 has source link 2 which is out of range. Skipping BuildRoute. Destination "
       "Link is 1 and dest channel is 15. Mixer index is 1"},
      {RouteTo<BrokenRoute>(1, 15, {{1, 0}, {1, 1}}),
       "Cannot get link from route. Skipping BuildRoute"},
  };
  for (const auto& c : cases) {
    board.log.Clear();
    EXPECT_EQ(mixer->BuildRoute(c.route), -1);
    EXPECT_EQ(board.log.Messages(3), (std::vector<std::string>{c.line}));
    std::string report;
    mixer->DumpStatus(0, 0, report, &more);
    EXPECT_EQ(report, before) << c.line;
  }
}

TEST_F(AudioMixerTest, AChannelHoldsItsSourcesAndSilenceBehind) {
  Start(1, 0);
  std::vector<TestSource> sources;
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    sources.push_back({0, channel});
  }
  ASSERT_EQ(mixer->BuildRoute(RouteTo(0, 0, sources)), 0);
  ASSERT_EQ(mixer->BuildRoute(RouteTo(0, 1, sources)), 0);
  ASSERT_EQ(mixer->BuildRoute(RouteTo(0, 2, {{0, 9}, {0, 8}})), 0);
  ASSERT_EQ(mixer->BuildRoute(RouteTo(0, 1, {})), 0);
  const auto silent = std::make_shared<AudioMixerMultiRoute>();
  silent->SetDestChannel(3);
  silent->AddSrc(0, 5, 0, 1, 0.0F);  // mute
  silent->AddSrc(0, 6, 0, 0, 0.0F);
  ASSERT_EQ(mixer->BuildRoute(silent), 0);
  mixer->ProgramCoeffs();
  ASSERT_TRUE(model.AwaitToggles(1));
  std::vector<std::uint64_t> expected(256);
  for (std::uint64_t i = 0; i < 16; ++i) {
    expected[i] = i << 24 | 0x10000;
  }
  expected[32] = 0x9010000;
  expected[33] = 0x8010000;
  expected[48] = 0x5000000;
  expected[49] = 0x6010000;
  EXPECT_EQ(model.AudibleCoeffs(), expected);

  std::string report;
  std::uint8_t more = 1;
  mixer->DumpStatus(1, 2, report, &more);
  EXPECT_EQ(more, 0);
  const std::string rest = report.substr(report.find("Output Link 0 Ch 1 "));
  EXPECT_EQ(rest.substr(0, rest.find("Output Link 0 Ch 5")),
            "Output Link 0 Ch 1 --- \tSilence\n"
            "Output Link 0 Ch 2 --- \tInput Link 0, Ch 9 with coeff 0x010000\n"
            "\tInput Link 0, Ch 8 with coeff 0x010000\n"
            "Output Link 0 Ch 3 --- \tSilence\n"
            "\tInput Link 0, Ch 6 with coeff 0x010000\n"
            "Output Link 0 Ch 4 --- \tSilence\n");
}

// A status of all ones: as many links as the field can say, and a swap that is pending for ever.
TEST_F(AudioMixerTest, TakesAnyStatus) {
  model.SetWord(4, 0xFFFFFFFF);
  mixer->Initialize();
  EXPECT_EQ(mixer->GetNumLinks(), 255U);
  model.SetWord(4, 0xFFFFFFFF);  // the reset dropped the swap
  EXPECT_EQ(mixer->BuildRoute(RouteTo(254, 15, {{254, 15}})), 0);
  EXPECT_EQ(mixer->BuildRoute(RouteTo(255, 15, {{254, 15}})), -1);
  mixer->ProgramCoeffs();
  ASSERT_TRUE(model.AwaitPolls(2));
  model.HoldSwap(false);
  ASSERT_TRUE(model.AwaitToggles(1));
  EXPECT_EQ(model.AudibleCoeffs()[65264], 0xFEF010000U);
  mixer.emplace("no links", kBase, 1);
  Start(0, 1);
  EXPECT_EQ(mixer->BuildRoute(RouteTo(0, 0, {})), -1);
  mixer->ProgramCoeffs();
  EXPECT_TRUE(model.AwaitToggles(2));
}

TEST_F(AudioMixerTest, WhatComesDuringASwapCollapsesIntoOneProgramming) {
  Start(1, 0);
  model.HoldSwap(true);
  Program({0, 1});
  ASSERT_TRUE(model.AwaitToggles(1));
  Program({0, 2});
  ASSERT_TRUE(model.AwaitPolls(1));
  Program({0, 3});
  ASSERT_TRUE(model.AwaitPolls(2));
  Program({0, 4});
  EXPECT_EQ(model.Toggles(), 1U);
  EXPECT_EQ(model.AudibleCoeffs()[0], 0U);
  model.HoldSwap(false);
  ASSERT_TRUE(model.AwaitToggles(2));
  EXPECT_EQ(model.AudibleCoeffs()[0], 0x4010000U);
  EXPECT_EQ(model.WordsWhilePending(), 0U);
  Program({0, 5});
  ASSERT_TRUE(model.AwaitToggles(3));
  EXPECT_EQ(model.AudibleCoeffs()[0], 0x5010000U);
  mixer.reset();
  EXPECT_EQ(model.Toggles(), 3U);
}

TEST_F(AudioMixerTest, TheLastOfManyProgrammingsWins) {
  Start(1, 0);
  for (int round = 0; round < 300; ++round) {
    const auto channel = static_cast<std::uint8_t>(round % 16);
    Program({0, channel});
    if (round % 10 == 9) {
      ASSERT_TRUE(model.AwaitCoeff(0, std::uint64_t{channel} << 24 | 0x10000));
    }
  }
}

TEST_F(AudioMixerTest, LosesNoWakeUpAfterItsStartNorAtItsEnd) {
  for (std::uint32_t round = 1; round <= 100; ++round) {
    mixer.emplace("mixer" + std::to_string(round), kBase, 1);
    Start(1, 0);
    mixer->ProgramCoeffs();
    ASSERT_TRUE(model.AwaitToggles(round));
    mixer.emplace("idle" + std::to_string(round), kBase, 1);
    Start(1, 0);  // and ends before or after the thread's first wait
  }
}

TEST_F(AudioMixerTest, LooksForTheEndOfASwapEveryTenMilliseconds) {
  board.clock.TakeOver();  // the thread never waits
  Start(1, 0);
  model.HoldSwap(true);
  mixer->ProgramCoeffs();
  ASSERT_TRUE(model.AwaitToggles(1));
  mixer->ProgramCoeffs();
  ASSERT_TRUE(model.AwaitPolls(1));
  // With the board's lock held the thread stands before a load or within a sleep.
  std::unique_lock lock(board.mutex);
  board.registers.StartTrace();
  const std::uint64_t before = board.clock.SleptMicroseconds();
  lock.unlock();
  ASSERT_TRUE(model.AwaitPolls(1000));
  lock.lock();
  const auto polls = static_cast<double>(board.registers.TakeTrace().size());
  const auto slept = static_cast<double>(board.clock.SleptMicroseconds() - before);
  EXPECT_NEAR(slept / 10'000, polls, 2);
}

// A thread that doesn't see the end would keep the test for ever.
TEST_F(AudioMixerTest, EndsWhileASwapIsPending) {
  model.HoldSwap(true);
  for (std::uint32_t round = 1; round <= 100; ++round) {
    mixer.emplace("mixer" + std::to_string(round), kBase, 1);
    Start(1, 0);  // its reset drops the swap that the last one left behind
    mixer->ProgramCoeffs();
    ASSERT_TRUE(model.AwaitToggles(round));
    mixer->ProgramCoeffs();
    ASSERT_TRUE(model.AwaitPolls(1));
    if (round % 2 == 0) {
      mixer->RequestStop();  // as their owner does with several mixers
    }
    mixer.reset();
    EXPECT_EQ(board.log.Messages(6).back(), "Thread closed");
    EXPECT_EQ(model.Toggles(), round);  // what was due never reached the core
  }
}

}  // namespace
