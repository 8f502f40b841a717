#include "modules/AudioMixer.h"

#include <cmath>
#include <optional>

#include "audio/AudioMixerMultiRoute.h"
#include "sim/models/AudioMixerModel.h"
#include "support/CoreTest.h"

namespace {

using Lines = std::vector<std::string>;
using Words = std::vector<std::uint64_t>;

TEST(CoeffGain, TruncatesTowardsZeroAndLosesItsUpperBits) {
  constexpr float kStep = 1.0F / 65536;
  const struct {
    float gain;
    std::uint32_t coeff;
  } cases[] = {{-0.0F, 0},
               {0.9F * kStep, 0},
               {-0.9F * kStep, 0},
               {1.9F * kStep, 1},
               {-1.9F * kStep, 0xFFFFFF},
               {127.5F, 0x7F8000},
               {128, 0x800000},
               {-128, 0x800000},
               {257, 0x010000},
               {-257, 0xFF0000},
               {65536, 0xFFFFFF},
               {1e30F, 0xFFFFFF},
               {-1e30F, 0x000001},
               {INFINITY, 0xFFFFFF},
               {-INFINITY, 0x000001},
               {NAN, 0}};
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
  std::uint8_t link, channel, invert = 0, mute = 0;
};

template <typename Route = AudioMixerMultiRoute>
std::shared_ptr<AudioMixerRoute> RouteTo(std::uint8_t link, std::uint8_t channel,
                                         const std::vector<TestSource>& sources) {
  auto route = std::make_shared<Route>();
  route->SetDestLink(link);
  route->SetDestChannel(channel);
  for (const TestSource& source : sources) {
    EXPECT_EQ(route->AddSrc(source.link, source.channel, source.invert, source.mute, 0.0F), 0);
  }
  return route;
}

class AudioMixerTest : public CoreTest<sim::AudioMixerModel> {
 protected:
  AudioMixerTest() : CoreTest("in_aud_1_mixer") { FillWithGarbage(); }

  // Brings a core of so many links up, with a driver of its own.
  void Start(std::uint32_t links, bool large = false) {
    core.Set("num_links", links);
    core.Set("large_mixer", large ? 1 : 0);
    lastName += "x";
    mixer.emplace(lastName, base, 1);
    mixer->Initialize();
  }

  // Replaces what output 0 of link 0 carries by one channel, and programs the core.
  void Program(int channel) {
    EXPECT_EQ(mixer->BuildRoute(RouteTo(0, 0, {{0, static_cast<std::uint8_t>(channel)}})), 0);
    mixer->ProgramCoeffs();
  }

  std::string Report() {
    std::string report = "old";
    std::uint8_t more = 1;
    mixer->DumpStatus(1, 2, report, &more);
    EXPECT_EQ(more, 0);
    return report;
  }

  std::string lastName = "mixer";  // of a driver
  std::optional<AudioMixer> mixer{std::in_place, lastName, base, 1};
};

TEST_F(AudioMixerTest, ComesUpOnceAndWritesTheMemoryInOrderAndThenTheToggle) {
  Accesses expected{R("num_links", 2), R("large_mixer", 1), W("reset", 1),
                    W("reset", 0),     R("toggle_bit", 0),  W("coeff_addr", 0)};
  for (std::uint32_t i = 0; i < 512; ++i) {
    expected.push_back(W("coeff_data_msw", i == 48 ? 0x01 : i == 49 ? 0x1F : 0));
    expected.push_back(W("coeff_data_lsw", i == 48 ? 0x010000 : i == 49 ? 0xFF0000 : 0));
  }
  expected.push_back(W("set_toggle", 1));
  EXPECT_EQ(AccessesOf([&] {
              Start(2, true);
              mixer->Initialize();
              EXPECT_EQ(mixer->BuildRoute(RouteTo(0, 3, {{0, 1}, {1, 15, 1}})), 0);
              mixer->ProgramCoeffs();
              ASSERT_TRUE(core.AwaitToggles(1));
              mixer.reset();
            }),
            expected);
  EXPECT_EQ(core.AudibleCoeff(49), 0x1F'FF0000U);
  EXPECT_EQ(board.log.Messages(4), Lines{"Audio mixer is already initialized"});
  EXPECT_EQ(board.log.Messages(6),
            (Lines{"AudioMixer Base Address is [1500000]. Found 2 links for " + lastName,
                   "Audio Mixer is large version.", "Try to close thread", "Thread closed"}));
  const Lines lines = board.log.Messages(7);
  ASSERT_EQ(lines.size(), 512U + 16U);
  const std::string start = "Mixer baseAddr 1500000 ";
  EXPECT_EQ(lines[52], start + "channel: [3] gets link,channel [1] with gain [10000]");
  EXPECT_EQ(lines[53],
            start + "link,channel,coeff: [0, 3, 1] gets link,channel [1, f] with gain [ff0000]");
  EXPECT_EQ(lines.back(),
            start + "link,channel,coeff: [1, f, f] gets link,channel [0, 0] with gain [0]");
}

TEST_F(AudioMixerTest, RefusedRoutesLeaveTheirChannelAsItWas) {
  EXPECT_EQ(mixer->BuildRoute(RouteTo(0, 0, {})), -1);
  mixer->ProgramCoeffs();
  EXPECT_EQ(Report(), "");
  EXPECT_EQ(board.log.Messages(3),
            (Lines{"Trying to make route before the mixer was initialized",
                   "Trying to program the mixer before it was initialized"}));
  Start(2, true);
  ASSERT_EQ(mixer->BuildRoute(RouteTo(1, 15, {{0, 1}, {1, 15, 1}})), 0);
  const std::string before = Report();
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
       "Cannot get link from route. Skipping BuildRoute"}};
  for (const auto& c : cases) {
    board.log.Clear();
    EXPECT_EQ(mixer->BuildRoute(c.route), -1);
    EXPECT_EQ(board.log.Messages(3), Lines{c.line});
    EXPECT_EQ(Report(), before) << c.line;
  }
}

TEST_F(AudioMixerTest, AChannelHoldsItsSourcesAndThenSilence) {
  Start(1);
  std::vector<TestSource> sources;
  Words expected(256);
  for (std::uint8_t channel = 0; channel < 16; ++channel) {
    sources.push_back({0, channel});
    expected[channel] = std::uint64_t{channel} << 24 | 0x10000;
  }
  expected[32] = 0x9010000;
  expected[33] = 0x8010000;
  expected[48] = 0x5000000;
  expected[49] = 0x6010000;
  for (const auto& route :
       {RouteTo(0, 0, sources), RouteTo(0, 1, sources), RouteTo(0, 1, {}),
        RouteTo(0, 2, {{0, 9}, {0, 8}}), RouteTo(0, 3, {{0, 5, 0, 1}, {0, 6}})}) {
    ASSERT_EQ(mixer->BuildRoute(route), 0);
  }
  mixer->ProgramCoeffs();
  ASSERT_TRUE(core.AwaitToggles(1));
  EXPECT_EQ(core.AudibleCoeffs(), expected);
  EXPECT_EQ(board.log.Messages(6).back(), "Audio Mixer is small version.");
  const std::string report = Report();
  const std::size_t second = report.find("Output Link 0 Ch 1 ");
  EXPECT_EQ(report.substr(second, report.find("Output Link 0 Ch 5") - second),
            "Output Link 0 Ch 1 --- \tSilence\n"
            "Output Link 0 Ch 2 --- \tInput Link 0, Ch 9 with coeff 0x010000\n"
            "\tInput Link 0, Ch 8 with coeff 0x010000\n"
            "Output Link 0 Ch 3 --- \tSilence\n"
            "\tInput Link 0, Ch 6 with coeff 0x010000\n"
            "Output Link 0 Ch 4 --- \tSilence\n");
}

// A status of all ones: as many links as the field can say, and a swap that is pending for ever.
TEST_F(AudioMixerTest, TakesAnyStatus) {
  core.SetWord(4, 0xFFFFFFFF);
  mixer->Initialize();
  core.SetWord(4, 0xFFFFFFFF);  // the reset dropped the swap
  EXPECT_EQ(mixer->BuildRoute(RouteTo(254, 15, {{254, 15}})), 0);
  EXPECT_EQ(mixer->BuildRoute(RouteTo(255, 15, {{254, 15}})), -1);
  mixer->ProgramCoeffs();
  ASSERT_TRUE(core.AwaitPolls(2));
  core.HoldSwap(false);
  ASSERT_TRUE(core.AwaitCoeff(65264, 0xFEF'010000));
}

TEST_F(AudioMixerTest, WhatComesDuringASwapCollapsesIntoOneProgramming) {
  Start(1);
  core.HoldSwap(true);
  Program(1);
  ASSERT_TRUE(core.AwaitToggles(1));
  for (const int polls : {1, 2, 3}) {
    Program(1 + polls);
    ASSERT_TRUE(core.AwaitPolls(static_cast<std::uint32_t>(polls)));
  }
  EXPECT_EQ(core.Toggles(), 1U);
  EXPECT_EQ(core.AudibleCoeff(0), 0U);
  core.HoldSwap(false);
  ASSERT_TRUE(core.AwaitToggles(2));
  EXPECT_EQ(core.AudibleCoeff(0), 0x4'010000U);
  Program(5);
  ASSERT_TRUE(core.AwaitCoeff(0, 0x5'010000));
  mixer.reset();
  EXPECT_EQ(core.Toggles(), 3U);
}

TEST_F(AudioMixerTest, TheLastOfManyProgrammingsWinsAndNoWakeUpGetsLost) {
  for (int round = 0; round < 100; ++round) {
    Start(1);
    for (const int channel : {round % 5, round % 7, round % 16}) {
      Program(channel);
    }
    ASSERT_TRUE(core.AwaitCoeff(0, std::uint64_t(round % 16) << 24 | 0x10000));
    Start(1);  // and ends before or after the thread's first wait
  }
}

// A thread that doesn't see the end would keep the test for ever.
TEST_F(AudioMixerTest, LooksEveryTenMillisecondsForTheEndOfASwapAndItsOwn) {
  board.clock.TakeOver();
  core.HoldSwap(true);
  for (std::uint32_t round = 1; round <= 20; ++round) {
    Start(1);  // its reset drops the swap that the last one left
    mixer->ProgramCoeffs();
    ASSERT_TRUE(core.AwaitToggles(round));
    const std::uint64_t before = board.clock.SleptMicroseconds();
    const Trace polls = AccessesOf([&] {
      mixer->ProgramCoeffs();
      ASSERT_TRUE(core.AwaitPolls(round));
      if (round % 2 == 0) {
        mixer->RequestStop();  // as their owner does with several mixers
      }
      mixer.reset();
    });
    EXPECT_EQ(polls, Accesses(polls.size(), R("toggle_bit", 1)));  // what was due never goes out
    EXPECT_EQ(board.clock.SleptMicroseconds() - before, 10'000 * (polls.size() - 1));
    EXPECT_EQ(board.log.Messages(6), (Lines{"Try to close thread", "Thread closed"}));
  }
}

}  // namespace
