#include "audio/AudioMixerRoute.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <optional>

#include "audio/AudioMixerMultiRoute.h"
#include "audio/AudioMixerSingleRoute.h"
#include "modules/AudioMixer.h"
#include "sim/Board.h"

namespace {

using enum AudioChannelInfo::AudioType;

ChInfoPtr MakeInfo(AudioChannelInfo::AudioType type = Pcm) {
  return std::make_shared<AudioChannelInfo>(type);
}

float LinearGain(AudioMixerRoute& route, std::uint8_t index = 0) {
  float gain = -99.0F;
  EXPECT_EQ(route.GetLinearGain(index, &gain), 0);
  return gain;
}

// Where a source of a route is found: the link times 100, and the channel.
int PlaceOf(const AudioMixerRoute& route, std::uint8_t index) {
  std::uint8_t link = 0;
  std::uint8_t channel = 0;
  EXPECT_EQ(route.GetLink(index, &link), 0);
  EXPECT_EQ(route.GetChannel(index, &channel), 0);
  return link * 100 + channel;
}

TEST(AudioMixerRoute, ChecksWhatIsAdded) {
  sim::LogRecords& log = sim::Board::Get().log;
  AudioMixerMultiRoute route;
  const float beyond = std::nextafter(20.0F, 21.0F);
  EXPECT_EQ(route.AddSrc(0, 16, 0, 0, beyond), -1);
  for (const float gain :
       {beyond, std::nextafter(-80.0F, -81.0F), std::numeric_limits<float>::quiet_NaN()}) {
    EXPECT_EQ(route.AddSrc(0, 0, 0, 0, gain), -1);
  }
  EXPECT_EQ(route.GetNumSrc(), 0U);
  for (std::uint8_t i = 0; i < 16; ++i) {
    EXPECT_EQ(route.AddSrc(255, i, 0, 0, i % 2 == 0 ? 20.0F : -80.0F), 0);
  }
  EXPECT_EQ(route.AddSrc(0, 0, 0, 0, 0.0F), -1);
  EXPECT_EQ(route.GetNumSrc(), 16U);
  EXPECT_EQ(PlaceOf(route, 15), 25515);
  std::uint8_t place = 7;
  float gain = 7.0F;
  EXPECT_EQ(route.GetLink(16, &place), -1);
  EXPECT_EQ(route.GetChannel(16, &place), -1);
  EXPECT_EQ(route.GetLinearGain(16, &gain), -1);
  EXPECT_EQ(place + gain, 14.0F);
  const std::string gainLine = "Attempting to add route with a gain out of our supported range";
  const std::string noSource = "Trying to read from a source that doesn't exist";
  EXPECT_EQ(log.Messages(3), (std::vector<std::string>{
                                 "Attempting to add route with invalid channel", gainLine, gainLine,
                                 gainLine, "Attempting to add a source past the maximum supported",
                                 noSource, noSource, noSource}));
}

TEST(AudioMixerRoute, DecibelsReachTheCoefficientToTheBit) {
  const struct {
    float source, route;  // dB
    std::uint32_t coeff, inverted;
  } cases[] = {
      {0, 0, 0x010000, 0xFF0000},  {-6, 0, 0x00804D, 0xFF7FB3},   {6, 0, 0x01FEC9, 0xFE0137},
      {20, 0, 0x0A0000, 0xF60000}, {-20, 0, 0x001999, 0xFFE667},  {-80, 0, 0x000006, 0xFFFFFA},
      {0, -6, 0x00804D, 0xFF7FB3}, {20, 20, 0x640000, 0x9C0000},  {0, 40, 0x640000, 0x9C0000},
      {0, -32768, 0x000000, 0},    {0, 32767, 0xFFFFFF, 0x000001}};
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::Message() << c.source << " dB, " << c.route << " dB");
    for (const bool invert : {false, true}) {
      AudioMixerSingleRoute route;
      ASSERT_EQ(route.AddSrc(0, 0, invert ? 1 : 0, 0, c.source), 0);
      route.SetGain(c.route);
      EXPECT_EQ(ToCoeffGain(LinearGain(route)), invert ? c.inverted : c.coeff);
      route.SetInvert(1);
      EXPECT_EQ(ToCoeffGain(LinearGain(route)), invert ? c.coeff : c.inverted);
    }
  }
}

// Whoever hears of a change finds the output's type as it follows from it.
TEST(AudioMixerRoute, NonPcmPassesUntouchedOrNotAtAll) {
  AudioMixerSingleRoute single;
  AudioMixerMultiRoute multi;
  AudioMixerSingleRoute mute;
  const ChInfoPtr source = MakeInfo(DolbyE);
  std::vector<AudioChannelInfo::AudioType> seen;
  for (AudioMixerRoute* route : std::initializer_list<AudioMixerRoute*>{&single, &multi, &mute}) {
    const ChInfoPtr output = MakeInfo(Ac3);
    ASSERT_EQ(route->AddSrc(0, 0, 1, route == &mute ? 1 : 0, -6.0F), 0);
    ASSERT_EQ(route->AddSrc(0, 1, 0, 0, 20.0F), 0);
    route->SetGain(-20.0F);
    route->SetSrcChInfo(0, source);
    route->SetDestChInfo(output);
    route->AddCallback([&seen, output] { seen.push_back(output->GetAudioType()); });
    route->OnSrcChInfoChange();
  }
  EXPECT_EQ(LinearGain(single), 1.0F);
  EXPECT_EQ(LinearGain(multi), 0.0F);
  EXPECT_EQ(LinearGain(multi, 1), 1.0F);
  EXPECT_EQ(LinearGain(mute), 0.0F);
  single.SetMute(1);  // is silent, and still says what its source is
  EXPECT_EQ(LinearGain(single), 0.0F);
  source->SetAudioType(Eac3);
  single.SetMute(0);
  source->SetAudioType(Pcm);
  EXPECT_LT(LinearGain(single), 0.0F);
  EXPECT_EQ(seen, (std::vector{DolbyE, Pcm, Pcm, Eac3, Pcm, Pcm, Pcm, Pcm, Pcm}));
}

TEST(AudioMixerRoute, FollowsItsSourcesForAsLongAsItHasThem) {
  const ChInfoPtr first = MakeInfo();
  const ChInfoPtr second = MakeInfo();
  std::string calls;
  std::optional<AudioMixerMultiRoute> route(std::in_place);
  for (std::uint8_t channel = 0; channel < 2; ++channel) {
    route->AddSrc(3, channel, 0, 0, 0.0F);
    route->SetSrcChInfo(channel, first);
  }
  route->SetSrcChInfo(2, second);  // there is no such source
  route->AddCallback(nullptr);
  route->AddCallback([&] { calls += "a"; });
  route->AddCallback([&] { calls += "b"; });
  const auto callsOf = [&calls](const ChInfoPtr& info) {
    calls.clear();
    info->SetLink(static_cast<std::uint8_t>(info->GetLink() + 1));
    return calls;
  };
  EXPECT_EQ(callsOf(first), "abab");
  route->SetSrcChInfo(0, first);  // as it is
  EXPECT_EQ(callsOf(first), "abab");
  EXPECT_EQ(callsOf(second), "");
  second->SetLink(9);
  second->SetChannel(12);
  route->SetSrcChInfo(0, second);
  EXPECT_EQ(PlaceOf(*route, 0), 912);
  EXPECT_EQ(callsOf(second), "ab");
  EXPECT_EQ(callsOf(first), "ab");  // the other source still has it
  route->SetSrcChInfo(1, nullptr);
  EXPECT_EQ(callsOf(first), "");
  EXPECT_EQ(PlaceOf(*route, 1), 301);
  route->SetSrcChInfo(1, first);
  route->ClearSrc();
  EXPECT_EQ(callsOf(first) + callsOf(second), "");
  route->AddSrc(0, 0, 0, 0, 0.0F);
  route->SetSrcChInfo(0, second);
  EXPECT_EQ(callsOf(second), "ab");
  route.reset();
  EXPECT_EQ(callsOf(first) + callsOf(second), "");
}

}  // namespace
