#include "modules/AudioDelay.h"

#include "sim/models/AudioDelayModel.h"
#include "support/CoreTest.h"

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

// A line of 5461 ms, not started. Sleeps move the clock and take no time.
class AudioDelayTest : public CoreTest<sim::AudioDelayModel> {
 protected:
  AudioDelayTest() : CoreTest("in_aud_1_audio_delay") {
    board.clock.TakeOver();
    delay._InitializeDramAndCsr(0x80001238, 0x1000000);
  }

  std::uint64_t SleepOf(const std::function<void()>& operation) {
    const std::uint64_t before = board.clock.SleptMicroseconds();
    operation();
    return board.clock.SleptMicroseconds() - before;
  }
  // A restart that succeeds at once.
  Accesses Restarts(std::uint32_t channels) const {
    return {R("glbl_reset", 0), R("restart", 0), R("output_valid_after_reset"),
            W("restart", channels)};
  }
  Accesses Clears(std::uint32_t errors, std::uint32_t sameChannel) const {
    return {R("err_status", errors), R("same_ch_timing_err", sameChannel),
            W("err_status", 0xFFFFFFFF), W("same_ch_timing_err", 0xFFFF)};
  }

  AudioDelay delay{name, base, 1};
};

TEST_F(AudioDelayTest, SetupPassesThroughResetAndClearsWhatPiledUp) {
  FillWithGarbage();
  core.Set("err_status", 0xFFFFFFFF);
  core.Set("same_ch_timing_err", 1);
  EXPECT_EQ(AccessesOf([&] { delay.Setup(); }),
            Accesses{W("base_addr", 0x10000247)} + W("memory_chunks", 262127) + W("glbl_reset", 1) +
                Clears(0xFFFFFFFF, 1) + R("glbl_reset", 1) + W("restart", 0) + W("glbl_reset", 0));
  EXPECT_EQ(board.log.Messages(6),
            (Texts{"Calling AudioDelay::Setup", "Showing errors for audio delay 1"}));
  EXPECT_EQ(board.log.Messages(7), (Texts{"Audio delay setting base phy address to 0x10000247",
                                          "Audio delay setting number of chunks to 0x0003FFEF"}));
  EXPECT_EQ(core.Get("err_status") | core.Get("same_ch_timing_err"), 0U);
  EXPECT_EQ(AccessesOf([&] { delay.Initialize(); }),
            (Accesses{W("delayed_restart", 0), W("route_pairs_via_nonsrc", 0), W("timeout_sel", 0),
                      W("bypass_src", 0), W("allow_nonsrc_ch_restart", 0), W("e_or_ac3_frame", 0),
                      W("anchor_restart", 0)}));
}

TEST_F(AudioDelayTest, SetupNeedsDramForAChunk) {
  AudioDelay without{"in_aud_2_audio_delay", facts::ModuleOf("in_aud_2_audio_delay").base, 2};
  EXPECT_EQ(AccessesOf([&] {
              without.Setup();
              without._InitializeDramAndCsr(0xABC, 3071);
              without.Setup();
            }),
            Accesses{W("in_aud_2_audio_delay.glbl_reset", 1)});
  EXPECT_EQ(board.log.Messages(3),
            (Texts{"Attempt to setup audio delay line before DRAM space was allocated to it",
                   "The audio delay line was not allocated enough space in DRAM 4294967295 3071"}));
  EXPECT_EQ(board.log.Messages(6), Texts{"Setting base address of abc, with a size of bff"});
  EXPECT_EQ(without.GetChunkCount(), 0U);
  without._InitializeDramAndCsr(0xABC, 3072);
  without.Setup();
  EXPECT_EQ(board.Core<sim::AudioDelayModel>("in_aud_2_audio_delay").Get("memory_chunks"), 47U);
  EXPECT_FALSE(without.IsHeldInReset());
}

TEST_F(AudioDelayTest, DelaysGoToTheRegistersOfTheirChannel) {
  for (const std::uint8_t channel : std::array<std::uint8_t, 3>{0, 1, 15}) {
    EXPECT_EQ(AccessesOf([&] { delay.SetChannelDelay(channel, 2.0F); }),
              Accesses{W(NumberedName("per_ch_init_delay_#", channel), 96)});
  }
  EXPECT_EQ(board.log.Messages(7), Texts{"Called SetChannelDelay for channel 15 with value of "
                                         "2.000000 and sample delay of 96"});
  EXPECT_EQ(AccessesOf([&] { delay.SetChannelDelay(16, -1.0F); }), Accesses{});
  EXPECT_EQ(board.log.Messages(4), Texts{"Trying to set the delay of an invalid channel number"});
  // More than 28 bits of samples are refused by the register access.
  EXPECT_TRUE(StoresOf([&] { delay.SetChannelDelay(3, 6e6F); }).empty());
  EXPECT_EQ(board.log.Messages(3).size(), 1U);
}

TEST_F(AudioDelayTest, MeasuresByThePointersAcrossTheEndOfTheRing) {
  delay.SetChannelDelay(15, 2.0F);
  delay.Setup();
  std::uint32_t samples = 7;
  float ms = 7;
  board.clock.Advance(milliseconds(10));
  delay.GetChannelDelay(15, &samples, &ms);
  EXPECT_EQ(samples, 96U);
  EXPECT_EQ(ms, 2.0F);
  EXPECT_EQ(delay.GetSampleDelta(15, 3.0F), 48);
  EXPECT_EQ(delay.GetSampleDelta(15, 0.0F), -32);  // to the shortest delay
  board.clock.Advance(milliseconds(5452));         // the writer is 1 ms beyond the end
  EXPECT_EQ(AccessesOf([&] { delay.GetChannelDelay(15, &samples, &ms); }),
            (Accesses{R("per_ch_read_ptr_15", 262080), R("per_ch_write_ptr_15", 48)}));
  EXPECT_EQ(samples, 95U);
  EXPECT_EQ(ms, 0x1.faaaaap+0F);
  EXPECT_EQ(AccessesOf([&] {
              delay.GetChannelDelay(16, &samples, &ms);
              EXPECT_EQ(delay.GetSampleDelta(255, 100.0F), 0);
            }),
            Accesses{});
  EXPECT_EQ(samples, 95U);
  EXPECT_EQ(board.log.Messages(4),
            Texts(2, "Trying to get the delay of an invalid channel number"));
}

TEST_F(AudioDelayTest, AChannelTakesItsDelayWhenItsRestartEnds) {
  delay.Setup();
  board.clock.Advance(milliseconds(100));
  core.SetRestartTime(microseconds(250));
  delay.SetChannelDelay(4, 10.0F);
  EXPECT_EQ(AccessesOf([&] { delay.RestartChannel(4); }), Restarts(0x10));
  EXPECT_EQ(delay.GetSampleDelta(4, 10.0F), 480);
  EXPECT_EQ(SleepOf([&] { delay.RestartChannel(5); }), 0U);  // channel 4 is no hindrance
  EXPECT_EQ(SleepOf([&] { delay.RestartChannel(4); }), 300U);
  board.clock.Advance(microseconds(250));
  EXPECT_EQ(delay.GetSampleDelta(4, 10.0F), 0);
}

TEST_F(AudioDelayTest, RestartsThatTimeOutAreKeptForARetry) {
  delay.Setup();
  core.SetValidOutputs(0xFFFF & ~0x0204);
  EXPECT_EQ(SleepOf([&] { delay.RestartChannel(9); }), 1000U);
  EXPECT_EQ(AccessesOf([&] { delay.RestartChannel(2); }).size(), 1U + 10 * 2);
  EXPECT_TRUE(board.log.All().empty());
  core.SetValidOutputs(0xFFFF);
  core.SetRestartTime(std::nullopt);
  EXPECT_EQ(AccessesOf([&] { delay.RetryFailedRestarts(); }),
            Restarts(0x4) + R("glbl_reset") + R("restart", 0x4) + R("output_valid_after_reset") +
                W("restart", 0x200));
  // These restarts never end: not for one channel, nor for all.
  EXPECT_TRUE(StoresOf([&] { delay.RestartChannel(9); }).empty());
  EXPECT_EQ(SleepOf([&] { delay.RestartAllChannels(); }), 900U);  // only between the tries
  core.SetRestartTime(microseconds(0));
  EXPECT_EQ(StoresOf([&] { delay.RetryFailedRestarts(); }).size(), 14U);  // all but the stuck ones
  delay.ResetAndRelease();
  EXPECT_EQ(AccessesOf([&] { delay.RetryFailedRestarts(); }), Accesses{});
  core.SetValidOutputs(0);
  delay.RestartChannel(3);
  core.SetValidOutputs(0xFFFF);
  for (int retry = 0; retry < 2; ++retry) {  // success doesn't take it off the list
    EXPECT_EQ(AccessesOf([&] { delay.RetryFailedRestarts(); }), Restarts(0x8));
  }
  delay.Initialize();
  EXPECT_EQ(AccessesOf([&] { delay.RetryFailedRestarts(); }), Accesses{});
  core.SetValidOutputs(0x0100);  // the output of one is enough to restart all
  EXPECT_EQ(AccessesOf([&] { delay.RestartAllChannels(); }), Restarts(0xFFFF));
  delay.HoldInReset();
  EXPECT_EQ(AccessesOf([&] {
              delay.RestartChannel(0);
              delay.RestartAllChannels();
              delay.RetryFailedRestarts();
              delay.RestartChannel(16);
            }),
            Accesses(2, R("glbl_reset", 1)));
  EXPECT_EQ(board.log.Messages(4), Texts{"Trying to restart an invalid channel number"});
}

TEST_F(AudioDelayTest, PairsBypassTheConverterAlone) {
  delay.Setup();
  core.Set("route_pairs_via_nonsrc", 0x41);
  const auto routes = [&](std::uint32_t from, std::uint32_t to) {
    return Accesses{R("route_pairs_via_nonsrc", from), W("route_pairs_via_nonsrc", to)};
  };
  EXPECT_EQ(AccessesOf([&] { delay.SetPairViaNonSrc(7, true); }),
            routes(0x41, 0xC1) + Restarts(0x4000) + Restarts(0x8000));
  EXPECT_EQ(AccessesOf([&] { delay.SetPairViaNonSrc(0, false); }),
            routes(0xC1, 0xC0) + Restarts(0x1) + Restarts(0x2));
  EXPECT_TRUE(delay.IsPairViaNonSrc(6));
  EXPECT_FALSE(delay.IsPairViaNonSrc(0));
  for (const std::uint8_t pair : std::array<std::uint8_t, 4>{8, 40, 128, 255}) {
    EXPECT_EQ(AccessesOf([&] { delay.SetPairViaNonSrc(pair, true); }), routes(0xC0, 0xC0));
    EXPECT_EQ(board.log.Messages(4).size(), 2U);
    EXPECT_FALSE(delay.IsPairViaNonSrc(pair));
  }
}

TEST_F(AudioDelayTest, ReportsEveryErrorInOrderAndRestartsWhatItConcerns) {
  delay.Setup();
  const Accesses reset{W("glbl_reset", 1), W("glbl_reset", 0)};
  const Accesses runs{R("glbl_reset", 0)};
  const struct {
    std::uint32_t errors, sameChannel;
    bool ofTheCore;
    const char* line;
    Accesses remedy;
  } cases[] = {
      {0x01, 0, true, "src_sof_error", {}},
      {0x08, 0, true, "ingress_sof_error", reset},
      {0x80, 0, true, "nonsrc_sof_timing_error", {}},
      {0x8000, 0, false, "in_aud_1_audio_delay: PAIR7 Framing Error Restarting Channel 15,16",
       Restarts(0x4000) + Restarts(0x8000)},
      {0x80000000, 0, false, "in_aud_1_audio_delay: CH15 Timing Error", {}},
      {0, 0x8000, false, "same_ch_timing_error", {}},
  };
  for (const auto& c : cases) {
    core.Set("err_status", c.errors);
    core.Set("same_ch_timing_err", c.sameChannel);
    EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(delay.CheckErrors(), c.ofTheCore); }),
              Clears(c.errors, c.sameChannel) + runs + c.remedy);
    EXPECT_EQ(board.log.Messages(3), Texts{c.line});
  }
  Accesses all = Clears(0xFFFFFFFF, 0x100) + runs;
  Texts lines;
  for (std::uint32_t channel = 0; channel < 16; ++channel) {
    all = all + Restarts(1U << channel);
    lines.push_back(FormatMessage("%s: CH%u Timing Error", name.c_str(), channel));
  }
  for (const char* channels : {"1,2", "3,4", "5,6", "7,8", "9,10", "11,12", "13,14", "15,16"}) {
    lines.push_back(FormatMessage("%s: PAIR%zu Framing Error Restarting Channel %s", name.c_str(),
                                  lines.size() - 16, channels));
  }
  lines.insert(lines.end(), {"nonsrc_sof_timing_error", "nonsrc_ce_error", "nonsrc_sof_error",
                             "ingress_ce_error", "ingress_sof_error", "ingress sdram error",
                             "src_ce_error", "src_sof_error", "same_ch_timing_error"});
  const auto checkAll = [&] {
    core.Set("err_status", 0xFFFFFFFF);
    core.Set("same_ch_timing_err", 0x100);
    return delay.CheckErrors();
  };
  EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(checkAll()); }), all + reset);
  EXPECT_EQ(board.log.Messages(3), lines);
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(delay.CheckErrors()); }),
            (Accesses{R("err_status", 0), R("same_ch_timing_err", 0)}));
  delay.HoldInReset();  // there errors are cleared and not told
  EXPECT_EQ(AccessesOf([&] { EXPECT_FALSE(checkAll()); }),
            Clears(0xFFFFFFFF, 0x100) + R("glbl_reset", 1));
  EXPECT_TRUE(board.log.Messages(3).empty());
}

}  // namespace
