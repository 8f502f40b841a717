#include "controls/AudioDelayDriverControl.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>

#include "controls/AudioDelayDecision.h"
#include "log/Log.h"
#include "sim/Board.h"
#include "sim/models/AudioDelayModel.h"
#include "sim/models/AudioDelaySrcModel.h"

namespace {

using enum AudioChannelInfo::AudioType;
using sim::LogRecord;
using std::chrono::milliseconds;
using std::chrono::seconds;

TEST(AudioDelayDecision, DriftIsCorrectedByItsSize) {
  using audio_delay::CorrectDrift;
  using audio_delay::DriftCorrection;
  using enum DriftCorrection::Action;
  const struct {
    int delta;
    DriftCorrection correction;
  } cases[] = {
      {0, {kNone, false, 0}},
      {10, {kNone, false, 0}},
      {-10, {kNone, false, 0}},
      {11, {kAdjust, true, 11715}},
      {-11, {kAdjust, false, 11209}},
      {2000, {kAdjust, true, 2130000}},
      {-2000, {kAdjust, false, 2038000}},
      {2001, {kRestart, false, 0}},
      {-2001, {kRestart, false, 0}},
      {-2147483647 - 1, {kRestart, false, 0}},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(CorrectDrift(c.delta), c.correction) << c.delta;
  }
}

TEST(AudioDelayDecision, DolbyETakesTheSmallerShiftThatFits) {
  const struct {
    float current, advance, retard;
    float shift;
  } cases[] = {
      {20, 5, 28, -5},
      {5.5F, 5, 28, 28},  // 0.5 ms would be too short
      {40, 28, 5, 5},
      {40, 16, 16, 16},
      {1.34F + 0.25F, 0.25F, 28, -0.25F},  // 1.34F is a bit above 1.34
      {6.335F, 5, 28, 28},
      {5433, 30, 28, -30},  // the ring ends at 5461 ms
      {5432.9F, 30, 28, 28},
      {5433, 5440, 28, -5440},
      // Shifts out of their range take the same way.
      {100, 40, -7, -7},
      {5, 40, -7, -7},
      {20, -3, 36, 3},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(audio_delay::DolbyEShift(c.current, c.advance, c.retard, 5461), c.shift)
        << c.current << " " << c.advance;
  }
}

// Input 3, joined on both sides and running. Sleeps move the clock and take no time.
class AudioDelayDriverControlTest : public testing::Test {
 protected:
  AudioDelayDriverControlTest() {
    SetLogLevel(kLogDebug);
    board.clock.TakeOver();
    control.GetAudioDelay()._InitializeDramAndCsr(0, 0x1000000);
    for (std::uint8_t channel = 0; channel < 16; ++channel) {
      sources[channel] = std::make_shared<AudioChannelInfo>(Pcm);
      outputs[channel] = std::make_shared<AudioChannelInfo>(Pcm);
      outputs[channel]->SetLink(3);
      control.SetSrcChInfo(channel, sources[channel]);
      control.SetDestChInfo(channel, outputs[channel]);
    }
    control.GetAudioDelay().Setup();
    control.GetAudioDelaySrc().Setup();
  }

  void SetPair(std::size_t pair, AudioChannelInfo::AudioType type) {
    sources[2 * pair]->SetAudioType(type);
    sources[2 * pair + 1]->SetAudioType(type);
  }

  // What an operation stored in the delay line, as "<register>=<value>".
  std::vector<std::string> StoresOf(const std::function<void()>& operation) {
    board.log.Clear();
    board.registers.StartTrace();
    operation();
    std::vector<std::string> stores;
    for (const sim::RegisterAccess& access : board.registers.TakeStores()) {
      if (const std::uint32_t offset = access.address - kDelay; offset >= 0x28) {
        const std::uint32_t channel = (offset - 0x28) / 12;
        stores.push_back("delay" + std::to_string(channel) + "=" + std::to_string(access.value));
      } else {
        stores.push_back(
            FormatMessage("%s=%x", offset == 0x20 ? "restart" : "route", access.value));
      }
    }
    return stores;
  }
  using Stores = std::vector<std::string>;

  // The registers of the delay line that an operation loads or stores, by their offsets.
  std::vector<std::uint32_t> TouchedBy(const std::function<void()>& operation) {
    board.registers.StartTrace();
    operation();
    std::vector<std::uint32_t> offsets;
    for (const sim::RegisterAccess& access : board.registers.TakeTrace()) {
      if (access.address / sim::RegisterFile::kSlotBytes ==
          kDelay / sim::RegisterFile::kSlotBytes) {
        offsets.push_back(access.address - kDelay);
      }
    }
    return offsets;
  }

  // The delays in the registers, in samples.
  std::uint32_t DelayOf(std::size_t channel) {
    return core.Get("per_ch_init_delay_" + std::to_string(channel));
  }

  static constexpr std::uint32_t kDelay = 0x1F00000;

  sim::Board& board = sim::Board::Get();
  sim::AudioDelayModel& core = board.Core<sim::AudioDelayModel>("in_aud_3_audio_delay");
  sim::AudioDelaySrcModel& converter =
      board.Core<sim::AudioDelaySrcModel>("in_aud_3_audio_delay_src");
  AudioDelayDriverControl control{"in3_audio_delay", kDelay, 0x2300000, 3, 35};
  std::array<ChInfoPtr, 16> sources, outputs;
};

TEST_F(AudioDelayDriverControlTest, DelaysAreTheSumOfTheGlobalAndTheChannels) {
  EXPECT_EQ(StoresOf([&] { control.SetChannelDelay(7, 2.0F); }),
            (Stores{"delay7=96", "restart=80"}));
  Stores all;
  for (int channel = 0; channel < 16; ++channel) {
    all.push_back(FormatMessage("delay%d=%d", channel, channel == 7 ? 576 : 480));
  }
  all.emplace_back("restart=ffff");
  EXPECT_EQ(StoresOf([&] { control.SetGlobalDelay(10.0F); }), all);
  SetPair(3, Ac3);
  EXPECT_EQ(StoresOf([&] { control.SetChannelDelay(7, 5.0F); }),
            (Stores{"delay7=720", "restart=80", "delay6=720", "restart=40"}));
  EXPECT_EQ(StoresOf([&] { control.SetChannelDelay(6, 1.0F); }),
            (Stores{"delay6=528", "restart=40", "delay7=528", "restart=80"}));
  const Stores restarts = StoresOf([&] { control.RestartAllWithDelays(); });
  ASSERT_EQ(restarts.size(), 32U);
  EXPECT_EQ(
      (Stores{restarts.begin() + 10, restarts.begin() + 16}),
      (Stores{"delay5=480", "restart=20", "delay6=528", "restart=40", "delay7=528", "restart=80"}));
}

TEST_F(AudioDelayDriverControlTest, APairOfDataGoesAroundTheConverterAndBack) {
  control.SetChannelDelay(4, 2.0F);
  control.SetChannelDelay(5, 3.0F);
  EXPECT_TRUE(TouchedBy([&] { sources[4]->SetAudioType(DolbyE); }).empty());
  std::string order;  // in which the outputs change
  for (const std::size_t channel : {4U, 5U}) {
    outputs[channel]->AddCallback(
        [&, channel] {
          order += FormatMessage("%zu:%d/%d ", channel,
                                 static_cast<int>(outputs[channel]->GetAudioType()),
                                 outputs[channel]->GetLink());
        },
        nullptr);
  }
  EXPECT_EQ(StoresOf([&] { sources[5]->SetAudioType(DolbyE); }),
            (Stores{"route=400", "restart=10", "restart=20", "delay5=144", "delay4=96",
                    "restart=20", "restart=10"}));
  EXPECT_EQ(order, "5:1/3 4:1/3 5:1/7 4:1/7 ");
  EXPECT_TRUE(TouchedBy([&] { control.UpdateAudioChannelChange(4); }).empty());
  EXPECT_EQ(board.log.Messages(6),
            (std::vector<std::string>{"Setting Output Mixer Source [0][5] to [1][5]",
                                      "Setting Output Mixer Source [0][4] to [1][4]"}));
  // From one kind of data to another: the channel that changed last decides.
  EXPECT_EQ(StoresOf([&] { sources[4]->SetAudioType(Eac3); }).at(0), "route=400");
  EXPECT_EQ(outputs[5]->GetAudioType(), Eac3);
  EXPECT_EQ(outputs[5]->GetLink(), 7);
  order.clear();
  EXPECT_EQ(StoresOf([&] { sources[4]->SetAudioType(Pcm); }),
            (Stores{"route=0", "restart=10", "restart=20", "delay4=96", "delay5=144", "restart=10",
                    "restart=20"}));
  EXPECT_EQ(order, "4:0/7 5:0/7 4:0/3 5:0/3 ");
  EXPECT_EQ(board.log.Messages(6),
            (std::vector<std::string>{"Setting Output Mixer Source [0][4] to [0][4]",
                                      "Setting Output Mixer Source [0][5] to [0][5]"}));
  EXPECT_TRUE(TouchedBy([&] { sources[5]->SetAudioType(Pcm); }).empty());
}

TEST_F(AudioDelayDriverControlTest, ChannelsThatAreNotJoinedChangeNothing) {
  AudioDelayDriverControl alone("alone", 0x1E00000, 0x2200000, 2, 34);
  EXPECT_EQ(alone.GetName(), "alone_driver_control");
  const auto info = std::make_shared<AudioChannelInfo>(Pcm);
  alone.SetSrcChInfo(0, info);
  board.registers.StartTrace();
  board.log.Clear();
  info->SetAudioType(Ac3);  // its partner isn't joined
  alone.SetSrcChInfo(16, info);
  alone.SetDestChInfo(16, info);
  alone.SetChannelDelay(16, 1.0F);
  alone.UpdateDolbyEAlignment(8, 1.0F, 2.0F);
  EXPECT_THROW(alone.UpdateAudioChannelChange(16), std::out_of_range);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{
                {4,
                 "Trying to check channel info for unassigned channels. This shouldn't happen "
                 "something went wrong!"},
                {4, "Channel index is out of range"},
                {4, "Channel index is out of range"},
                {4, "Trying to set the delay for an invalid channel number"},
                {4, "Trying to adjust dolby E alignment of invalid channel"}}));
  EXPECT_TRUE(board.registers.TakeTrace().empty());
  // The input side alone is enough for the route; half of the output side stays as it is.
  const auto output = std::make_shared<AudioChannelInfo>(Eac3);
  output->SetLink(9);
  alone.SetDestChInfo(1, output);
  alone.SetSrcChInfo(1, std::make_shared<AudioChannelInfo>(Ac3));
  board.log.Clear();
  alone.UpdateAudioChannelChange(1);
  EXPECT_TRUE(alone.GetAudioDelay().IsPairViaNonSrc(0));
  info->SetAudioType(Pcm);
  EXPECT_FALSE(alone.GetAudioDelay().IsPairViaNonSrc(0));
  EXPECT_EQ(output->GetAudioType(), Eac3);
  EXPECT_EQ(output->GetLink(), 9);
  EXPECT_TRUE(board.log.Messages(6).empty());
}

TEST_F(AudioDelayDriverControlTest, DolbyEOffsetsAddUpUntilTheTypeChanges) {
  SetPair(1, DolbyE);
  control.SetGlobalDelay(15.0F);
  control.SetChannelDelay(2, 5.0F);
  EXPECT_EQ(StoresOf([&] { control.UpdateDolbyEAlignment(1, 5.0F, 28.0F); }),
            (Stores{"delay2=720", "delay3=720", "restart=4", "restart=8"}));
  EXPECT_TRUE(board.log.Messages(4).empty());
  control.UpdateDolbyEAlignment(1, 14.0F, 19.0F);  // 15 ms are left: lengthens
  EXPECT_EQ(DelayOf(3), 34U * 48);
  control.SetChannelDelay(3, 6.0F);  // without the offset of 14 ms, which stays
  EXPECT_EQ(DelayOf(2), 21U * 48);
  control.UpdateDolbyEAlignment(1, 1.0F, 32.0F);
  EXPECT_EQ(DelayOf(2), 34U * 48);
  SetPair(1, Ac3);
  EXPECT_EQ(DelayOf(2), 21U * 48);
  control.UpdateDolbyEAlignment(1, 1.0F, 32.0F);
  EXPECT_EQ(DelayOf(3), 20U * 48);
  control.UpdateDolbyEAlignment(1, 61.0F, -28.0F);  // "lengthens" by less than nothing
  EXPECT_EQ(DelayOf(3), 64U);

  board.log.Clear();
  control.UpdateDolbyEAlignment(7, 1.0F, 32.0F);
  EXPECT_EQ(
      board.log.Messages(4),
      (std::vector<std::string>{"Trying to adjust dolby E alignment on invalid channel type"}));
  EXPECT_EQ(DelayOf(15), 14U * 48);
}

TEST_F(AudioDelayDriverControlTest, DriftIsLeftToTheConverterOrEndsInARestart) {
  SetPair(0, OtherNonPcm);  // the first pair of PCM counts
  control.SetGlobalDelay(100.0F);
  control.SetChannelDelay(2, 5.0F);
  std::vector<std::uint32_t> touched;
  const std::vector<std::uint32_t> pointers{0x48, 0x44};  // of channel 2
  const auto tick = [&] {
    board.clock.Advance(seconds(1));
    board.log.Clear();
    touched = TouchedBy([&] { control.SrcHandleIrq(); });
    return board.log.Messages(7);
  };
  using Lines = std::vector<std::string>;
  const struct {
    int drift;
    const char* delta;
    std::uint32_t grow, samples;  // 0 samples: no adjustment
  } cases[] = {
      {-10, "Sample Delta is 10", 0, 0},           {-1, "Sample Delta is 11", 1, 11715},
      {-2000, "Sample Delta is 2000", 1, 2130000}, {10, "Sample Delta is -10", 0, 0},
      {1, "Sample Delta is -11", 0, 11209},        {2000, "Sample Delta is -2000", 0, 2038000},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.delta);
    core.Drift(c.drift);
    const Lines lines = tick();
    EXPECT_EQ(touched, pointers);
    EXPECT_EQ(lines.at(0), c.delta);
    EXPECT_EQ(lines.size(), c.samples == 0 ? 1U : 3U);
    if (c.samples == 0) {
      continue;
    }
    EXPECT_EQ(lines.at(1), "Growing or Shrinking Delay");
    EXPECT_EQ(converter.Get("grow_else_shrink_delay"), c.grow);
    EXPECT_EQ(converter.Get("application_samples"), c.samples);
    if (c.samples > 48000) {
      EXPECT_EQ(tick(), Lines{});  // while it runs
      EXPECT_TRUE(touched.empty());
    }
    board.clock.Advance(seconds(45));
    EXPECT_EQ(tick(), Lines{"Sample Delta is 0"});
    control.SrcHandleIrq();  // no interrupt is pending
    EXPECT_EQ(board.log.Messages(7).size(), 1U);
  }
  for (const int drift : {-2001, 2001}) {
    core.Drift(drift);
    const Lines lines = tick();
    EXPECT_EQ(lines.at(1), "Resetting All Channels");
    EXPECT_EQ(tick(), Lines{"Sample Delta is 0"});
  }
  core.Drift(-3000);
  for (std::size_t pair = 1; pair < 8; ++pair) {
    SetPair(pair, DolbyE);
  }
  EXPECT_EQ(tick(), Lines{"Sample Delta is 0"});  // nothing left that could be measured
  EXPECT_TRUE(touched.empty());
}

}  // namespace
