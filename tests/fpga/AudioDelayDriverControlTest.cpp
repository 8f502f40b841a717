#include "controls/AudioDelayDriverControl.h"

#include <stdexcept>

#include "controls/AudioDelayDecision.h"
#include "sim/models/AudioDelayModel.h"
#include "support/CoreTest.h"

namespace {

using enum AudioChannelInfo::AudioType;
using std::chrono::seconds;

TEST(AudioDelayDecision, DriftIsCorrectedByItsSize) {
  using audio_delay::CorrectDrift;
  using Correction = audio_delay::DriftCorrection;
  constexpr Correction kRestart{Correction::Action::kRestart};
  const auto adjust = [](bool grow, std::uint32_t samples) {
    return Correction{Correction::Action::kAdjust, grow, samples};
  };
  EXPECT_EQ(CorrectDrift(10), Correction{});
  EXPECT_EQ(CorrectDrift(-10), Correction{});
  EXPECT_EQ(CorrectDrift(11), adjust(true, 11715));
  EXPECT_EQ(CorrectDrift(-11), adjust(false, 11209));
  EXPECT_EQ(CorrectDrift(2000), adjust(true, 2130000));
  EXPECT_EQ(CorrectDrift(-2000), adjust(false, 2038000));
  EXPECT_EQ(CorrectDrift(2001), kRestart);
  EXPECT_EQ(CorrectDrift(-2001), kRestart);
  EXPECT_EQ(CorrectDrift(INT32_MIN), kRestart);
}

TEST(AudioDelayDecision, DolbyETakesTheSmallerShiftThatFits) {
  const auto shift = [](float current, float advance, float retard) {
    return audio_delay::DolbyEShift(current, advance, retard, 5461);
  };
  EXPECT_EQ(shift(20, 5, 28), -5);
  EXPECT_EQ(shift(40, 28, 5), 5);
  EXPECT_EQ(shift(40, 16, 16), 16);
  EXPECT_EQ(shift(6.335F, 5, 28), 28);                 // too little would be left
  EXPECT_EQ(shift(1.34F + 0.25F, 0.25F, 28), -0.25F);  // 1.34F is a bit above 1.34
  EXPECT_EQ(shift(5433, 30, 28), -30);                 // the ring ends at 5461 ms
  EXPECT_EQ(shift(5432.9F, 30, 28), 28);
  EXPECT_EQ(shift(100, 40, -7), -7);  // shifts out of their range take the same way
  EXPECT_EQ(shift(20, -3, 36), 3);
}

// Input 3, joined on both sides and running. Sleeps move the clock and take no time.
class AudioDelayDriverControlTest : public CoreTest<sim::AudioDelayModel> {
 protected:
  AudioDelayDriverControlTest() : CoreTest("in_aud_3_audio_delay") {
    board.clock.TakeOver();
    control.GetAudioDelay()._InitializeDramAndCsr(0, 0x1000000);
    for (std::uint8_t channel = 0; channel < 16; ++channel) {
      sources[channel] = std::make_shared<AudioChannelInfo>(Pcm);
      outputs[channel] = std::make_shared<AudioChannelInfo>(Pcm);
      outputs[channel]->SetLink(3);
      outputs[channel]->SetChannel(channel);
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
  Accesses Delay(std::size_t channel, std::uint32_t samples) const {
    return {W(NumberedName("per_ch_init_delay_#", channel), samples)};
  }
  Accesses Restart(std::uint32_t channels) const {
    return {R("glbl_reset", 0), R("restart", 0), R("output_valid_after_reset", 0xFFFF),
            W("restart", channels)};
  }
  Accesses Route(std::uint32_t pairs) const {
    return {R("route_pairs_via_nonsrc"), W("route_pairs_via_nonsrc", pairs)};
  }
  std::uint32_t DelayOf(std::size_t channel) const {
    return core.FieldModel::Get(NumberedName("per_ch_init_delay_#", channel));
  }

  AudioDelayDriverControl control{name, base, facts::ModuleOf(name + "_src").base, 3, 35};
  std::array<ChInfoPtr, 16> sources, outputs;
};

TEST_F(AudioDelayDriverControlTest, DelaysAreTheSumOfTheGlobalAndTheChannels) {
  EXPECT_EQ(AccessesOf([&] { control.SetChannelDelay(7, 2.0F); }), Delay(7, 96) + Restart(0x80));
  Accesses all;
  Accesses each;
  for (std::uint32_t channel = 0; channel < 16; ++channel) {
    all = all + Delay(channel, channel == 7 ? 576 : 480);
    each = each + Delay(channel, channel / 2 == 3 ? 528 : 480) + Restart(1U << channel);
  }
  EXPECT_EQ(AccessesOf([&] { control.SetGlobalDelay(10.0F); }), all + Restart(0xFFFF));
  SetPair(3, Ac3);
  EXPECT_EQ(AccessesOf([&] { control.SetChannelDelay(7, 5.0F); }),
            Delay(7, 720) + Restart(0x80) + Delay(6, 720) + Restart(0x40));
  EXPECT_EQ(AccessesOf([&] { control.SetChannelDelay(6, 1.0F); }),
            Delay(6, 528) + Restart(0x40) + Delay(7, 528) + Restart(0x80));
  EXPECT_EQ(AccessesOf([&] { control.RestartAllWithDelays(); }), each);
}

TEST_F(AudioDelayDriverControlTest, APairOfDataBypassesTheConverterUntilItIsPcm) {
  control.SetChannelDelay(4, 2.0F);
  control.SetChannelDelay(5, 3.0F);
  EXPECT_EQ(AccessesOf([&] { sources[4]->SetAudioType(DolbyE); }), Accesses{});
  std::string order;  // in which the outputs change
  for (const auto& output : {outputs[4], outputs[5]}) {
    const auto note = [&order, node = output.get()] {
      order += FormatMessage("%d:%d/%d ", node->GetChannel(),
                             static_cast<int>(node->GetAudioType()), node->GetLink());
    };
    output->AddCallback(note, nullptr);
  }
  EXPECT_EQ(AccessesOf([&] { sources[5]->SetAudioType(DolbyE); }),
            Route(4) + Restart(0x10) + Restart(0x20) + Delay(5, 144) + Delay(4, 96) +
                Restart(0x20) + Restart(0x10));
  EXPECT_EQ(order, "5:1/3 4:1/3 5:1/7 4:1/7 ");
  EXPECT_EQ(board.log.Messages(6), (Texts{"Setting Output Mixer Source [0][5] to [1][5]",
                                          "Setting Output Mixer Source [0][4] to [1][4]"}));
  EXPECT_EQ(AccessesOf([&] { control.UpdateAudioChannelChange(4); }), Accesses{});
  // From one kind of data to another: the channel that changed last decides.
  sources[4]->SetAudioType(Eac3);
  EXPECT_EQ(core.Get("route_pairs_via_nonsrc"), 4U);
  EXPECT_EQ(order, "5:1/3 4:1/3 5:1/7 4:1/7 4:3/7 5:3/7 ");
  order.clear();
  EXPECT_EQ(AccessesOf([&] { sources[4]->SetAudioType(Pcm); }),
            Route(0) + Restart(0x10) + Restart(0x20) + Delay(4, 96) + Delay(5, 144) +
                Restart(0x10) + Restart(0x20));
  EXPECT_EQ(order, "4:0/7 5:0/7 4:0/3 5:0/3 ");
  EXPECT_EQ(board.log.Messages(6), (Texts{"Setting Output Mixer Source [0][4] to [0][4]",
                                          "Setting Output Mixer Source [0][5] to [0][5]"}));
  EXPECT_EQ(AccessesOf([&] { sources[5]->SetAudioType(Pcm); }), Accesses{});
}

TEST_F(AudioDelayDriverControlTest, ChannelsThatAreNotJoinedChangeNothing) {
  AudioDelayDriverControl alone("alone", facts::ModuleOf("in_aud_2_audio_delay").base,
                                facts::ModuleOf("in_aud_2_audio_delay_src").base, 2, 34);
  EXPECT_EQ(alone.GetName(), "alone_driver_control");
  const auto info = std::make_shared<AudioChannelInfo>(Pcm);
  const auto output = std::make_shared<AudioChannelInfo>(Eac3);
  EXPECT_EQ(AccessesOf([&] {
              alone.SetSrcChInfo(0, info);
              info->SetAudioType(Ac3);  // its partner isn't joined
              alone.SetSrcChInfo(16, info);
              alone.SetDestChInfo(16, info);
              alone.SetChannelDelay(16, 1.0F);
              alone.UpdateDolbyEAlignment(8, 1.0F, 2.0F);
              EXPECT_THROW(alone.UpdateAudioChannelChange(16), std::out_of_range);
            }),
            Accesses{});
  const char* const unassigned =
      "Trying to check channel info for unassigned channels. This shouldn't happen something went "
      "wrong!";
  EXPECT_EQ(board.log.Messages(4),
            (Texts{unassigned, "Channel index is out of range", "Channel index is out of range",
                   "Trying to set the delay for an invalid channel number",
                   "Trying to adjust dolby E alignment of invalid channel"}));
  // The input side alone is enough for the route; half of the output side stays as it is.
  alone.SetDestChInfo(1, output);
  alone.SetSrcChInfo(1, std::make_shared<AudioChannelInfo>(Ac3));
  board.log.Clear();
  alone.UpdateAudioChannelChange(1);
  EXPECT_TRUE(alone.GetAudioDelay().IsPairViaNonSrc(0));
  EXPECT_EQ(output->GetAudioType(), Eac3);
  EXPECT_EQ(output->GetLink(), 0);
  EXPECT_TRUE(board.log.Messages(6).empty());
}

TEST_F(AudioDelayDriverControlTest, DolbyEOffsetsAddUpUntilTheTypeChanges) {
  SetPair(1, DolbyE);
  control.SetGlobalDelay(15.0F);
  control.SetChannelDelay(2, 5.0F);
  EXPECT_EQ(AccessesOf([&] { control.UpdateDolbyEAlignment(1, 5.0F, 28.0F); }),
            Delay(2, 720) + Delay(3, 720) + Restart(0x4) + Restart(0x8));
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
  control.UpdateDolbyEAlignment(7, 1.0F, 32.0F);
  EXPECT_EQ(board.log.Messages(4),
            Texts{"Trying to adjust dolby E alignment on invalid channel type"});
  EXPECT_EQ(DelayOf(15), 14U * 48);
}

TEST_F(AudioDelayDriverControlTest, DriftIsLeftToTheConverterOrEndsInARestart) {
  const std::string src = "in_aud_3_audio_delay_src.";
  const Accesses idle{R(src + "apply_adjustment", 0)};
  const Accesses taken =
      Accesses{R(src + "irq_status", 1), W(src + "irq_clr", 1), W(src + "irq_clr", 0)} + idle;
  const Accesses measured{R("per_ch_read_ptr_2"), R("per_ch_write_ptr_2")};
  SetPair(0, OtherNonPcm);  // the first pair of PCM counts
  control.SetGlobalDelay(100.0F);
  control.SetChannelDelay(2, 5.0F);
  const auto tick = [&] {
    board.clock.Advance(seconds(1));
    return AccessesOf([&] { control.SrcHandleIrq(); });
  };
  EXPECT_EQ(tick(), taken + measured);
  EXPECT_EQ(board.log.Messages(7), Texts{"Sample Delta is 0"});
  EXPECT_EQ(AccessesOf([&] { control.SrcHandleIrq(); }), Accesses{R(src + "irq_status", 0)});
  for (const bool grow : {true, false}) {
    core.Drift(grow ? -2000 : 2000);
    EXPECT_EQ(tick(), taken + measured + idle + W(src + "grow_else_shrink_delay", grow ? 1 : 0) +
                          W(src + "application_samples", grow ? 2130000 : 2038000) +
                          W(src + "new_adjustment", 1));
    EXPECT_EQ(board.log.Messages(7).at(0), grow ? "Sample Delta is 2000" : "Sample Delta is -2000");
    EXPECT_EQ(board.log.Messages(7).at(1), "Growing or Shrinking Delay");
    EXPECT_EQ(tick().size(), taken.size() + 2);  // while it runs; a write is two accesses
    board.clock.Advance(seconds(45));
    EXPECT_EQ(tick(), taken + measured);
  }
  core.Drift(2001);
  EXPECT_EQ(tick().size(), 6U + 2 + 16 * (2 + 5));  // every channel's delay and restart
  EXPECT_EQ(board.log.Messages(7).at(1), "Resetting All Channels");
  EXPECT_EQ(tick(), taken + measured);
  core.Drift(-3000);
  for (std::size_t pair = 1; pair < 8; ++pair) {
    SetPair(pair, DolbyE);
  }
  EXPECT_EQ(tick(), taken);  // nothing left that could be measured
  EXPECT_EQ(board.log.Messages(7), Texts{"Sample Delta is 0"});
}

}  // namespace
