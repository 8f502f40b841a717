#include "controls/AudioMixerDriverControl.h"

#include <algorithm>
#include <stdexcept>

#include "sim/models/AudioMixerModel.h"
#include "support/CoreTest.h"

namespace {

using enum AudioChannelInfo::AudioType;
using Lines = std::vector<std::string>;
using Words = std::vector<std::uint64_t>;

// The main mixer with 17 links of sources and 13 of outputs, as it is on the board. Source indices
// and the upper part of a coefficient's word are written alike: 0x037 is channel 7 of link 3, and
// 0x37'010000 passes it on as it is.
class AudioMixerDriverControlTest : public CoreTest<sim::AudioMixerModel> {
 protected:
  // The thread's lines at Debug are no matter here.
  AudioMixerDriverControlTest() : CoreTest("out_aud_mixer", kLogInfo) {
    for (std::uint8_t channel = 0; channel < 16; ++channel) {
      for (std::uint8_t link = 0; link < 17; ++link) {
        sources[link][channel] = std::make_shared<AudioChannelInfo>(Pcm);
        sources[link][channel]->SetLink(link);
        sources[link][channel]->SetChannel(channel);
        control.SetSrcChInfo(link, channel, sources[link][channel]);
      }
      for (std::uint8_t link = 0; link < 13; ++link) {
        outputs[link][channel] = std::make_shared<AudioChannelInfo>(Pcm);
        control.SetDestChInfo(link, channel, outputs[link][channel]);
      }
    }
    control.Initialize();
  }

  // Runs an update of a control and gives the words of an output channel that are then audible,
  // without the silent ones at the end.
  Words After(const std::function<void()>& update, int link, int channel) {
    const std::uint32_t toggles = core.Toggles();
    update();
    EXPECT_TRUE(core.AwaitToggles(toggles + 1));
    const Words all = core.AudibleCoeffs();
    const auto first = all.begin() + (link * 16 + channel) * 16;
    Words words(first, first + 16);
    while (!words.empty() && words.back() == 0) {
      words.pop_back();
    }
    return words;
  }

  // The same for what one output channel shall carry.
  Words Routed(std::uint8_t link, std::uint8_t channel, const AudioSourceControl& source) {
    return After([&] { control.UpdateSourceControl(link, channel, source); }, link, channel);
  }

  ChInfoPtr sources[17][16];
  ChInfoPtr outputs[13][16];
  AudioMixerDriverControl control{"main_mixer", base, 4, 17, 13};
};

TEST_F(AudioMixerDriverControlTest, SourcesHaveGainPolarityAndMute) {
  EXPECT_EQ(Routed(12, 15, {0x10F, 0, 0, 0}), Words{0x10F'010000});
  EXPECT_EQ(Routed(12, 15, {0x037, 0, 2, -6}), Words{0x37'FF7FB3});
  EXPECT_EQ(Routed(12, 15, {0x037, 0x100, 0, 0}), Words{0x37'000000});
  EXPECT_EQ(Routed(12, 15, {0xFF9, 0, 0, 6}), Words{});
  EXPECT_EQ(Routed(12, 15, {0xF021, 0, 0x100, 20}), Words{0x21'F60000});  // bits that mean nothing
}

TEST_F(AudioMixerDriverControlTest, DownmixAndFlexibleMixerSumTheirSources) {
  const AudioDownmixControl downmix{0x010, 0x011, 0xFF3, 0x024, 0x025, 6, -6};
  EXPECT_EQ(Routed(4, 0, {0xFE0, 0, 0, 0}), (Words{0x0'010000, 0x2'010000, 0x3'010000}));
  EXPECT_EQ(After([&] { control.UpdateDownmix(downmix); }, 4, 0),
            (Words{0x10'010000, 0, 0x24'00804D}));
  EXPECT_EQ(Routed(4, 1, {0xFE7, 0, 1, 0}), (Words{0x11'FF0000, 0, 0x25'FF7FB3}));
  const auto turnToData = [&] { sources[1][1]->SetAudioType(DolbyE); };
  EXPECT_EQ(After(turnToData, 4, 1), (Words{0x11'000000, 0, 0x25'FF7FB3}));

  // Entries 3 and 19 feed output 3 until they are set otherwise: both silent.
  EXPECT_EQ(Routed(5, 3, {0xFD3, 0, 0, 0}), Words{});
  const auto setFlex = [&](std::uint8_t entry, std::uint16_t output, std::uint16_t source,
                           std::int16_t gain) {
    return After([&] { control.UpdateFlexmixer(entry, {output, source, 0xFFFF, gain}); }, 5, 3);
  };
  EXPECT_EQ(setFlex(31, 3, 0x045, -20), (Words{0, 0, 0x45'001999}));
  EXPECT_EQ(setFlex(0, 3, 0x101, 20), (Words{0x101'0A0000, 0, 0, 0x45'001999}));
  EXPECT_EQ(setFlex(0, 0x103, 0x101, 20), (Words{0, 0, 0x45'001999}));
  board.log.Clear();
  EXPECT_EQ(setFlex(0, 3, 0x101, 21), (Words{0, 0, 0x45'001999}));  // left out
  EXPECT_EQ(board.log.Messages(3).size(), 1U);
  Words all;
  for (std::uint8_t entry = 0; entry < 17; ++entry) {
    setFlex(entry, 3, entry % 16, 0);
    all.push_back(std::uint64_t{entry} << 24 | 0x010000);
  }
  all.pop_back();
  EXPECT_EQ(setFlex(31, 3, 0x000, 0), all);
}

TEST_F(AudioMixerDriverControlTest, PlacesThatThereAreNotAreRefused) {
  const std::string link = "Invalid link index ";
  const std::string channel = "Invalid channel index ";
  const struct {
    std::function<int()> operation;
    std::string line;
  } cases[] = {
      {[&] { return control.GetLinkAtDest(3, 1); }, link + "3"},  // no routes yet
      {[&] { return control.GetChAtDest(3, 1); }, link + "3"},
      {[&] { return control.UpdateDownmix({}), control.GetChAtDest(3, 1) - 1; }, ""},
      {[&] { return control.GetLinkAtDest(13, 1); }, link + "13"},
      {[&] { return control.GetLinkAtDest(17, 16); }, link + "17"},
      {[&] { return control.GetLinkAtDest(16, 16); }, channel + "16"},
      {[&] { return control.GetChAtDest(0, 255); }, channel + "255"},
      {[&] { return control.UpdateSourceControl(16, 0, {}), 0; }, link + "16"},
      {[&] { return control.UpdateSourceControl(255, 16, {}), 0; }, link + "255"},
      {[&] { return control.UpdateSourceControl(15, 16, {}), 0; }, channel + "16"},
      {[&] { return control.UpdateFlexmixer(32, {}), 0; }, "Invalid flex mixer index 32"},
      {[&] { return control.UpdateAudioRoute(13, 16), 0; }, "Route source link index is too large"},
      {[&] { return control.SetSrcChInfo(17, 16, nullptr), 0; }, "Link size is too large"},
      {[&] { return control.SetDestChInfo(13, 16, nullptr), 0; }, "Link size is too large"}};
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    board.log.Clear();
    EXPECT_EQ(c.operation(), 0);
    EXPECT_EQ(board.log.Messages(4), c.line.empty() ? Lines{} : Lines{c.line});
  }
  EXPECT_THROW(control.UpdateAudioRoute(12, 16), std::out_of_range);
  EXPECT_THROW(control.SetSrcChInfo(16, 16, nullptr), std::out_of_range);
  EXPECT_THROW(control.SetDestChInfo(12, 16, nullptr), std::out_of_range);
}

TEST_F(AudioMixerDriverControlTest, ARouteThatFailsKeepsItsPlaceWithoutCoefficients) {
  EXPECT_EQ(After([&] { control.UpdateAudioRoute(1, 1); }, 1, 1), Words{});  // there is none yet
  EXPECT_EQ(board.log.Messages(3).size(), 1U);
  EXPECT_EQ(Routed(1, 1, {0xFF0, 0, 0, 0}), Words{});
  board.log.Clear();
  EXPECT_EQ(control.GetLinkAtDest(1, 1), 0);  // a muted source
  EXPECT_EQ(control.GetChAtDest(1, 1), 0);
  EXPECT_EQ(board.log.All().size(), 0U);

  SetLogLevel(kLogDebug);
  EXPECT_EQ(Routed(1, 1, {0x022, 0, 0, 0}), Words{0x22'010000});
  SetLogLevel(kLogInfo);
  const Lines debug = board.log.Messages(7);
  EXPECT_EQ(std::count(debug.begin(), debug.end(), "linkDest 1, chDest 1, srcIndex 34"), 1);
  EXPECT_EQ(Routed(1, 1, {0x113, 0, 0, 0}), Words{0x22'010000});
  EXPECT_EQ(board.log.Messages(4), Lines{"Route source link index is too large"});
  EXPECT_EQ(control.GetLinkAtDest(1, 1), 17);
  sources[2][2]->SetAudioType(Ac3);  // nobody listens any more
  EXPECT_EQ(outputs[1][1]->GetAudioType(), Pcm);
}

// More links than the table of controls has, and no channel information at all.
TEST_F(AudioMixerDriverControlTest, StandsWithoutChannelInformation) {
  core.Set("num_links", 20);
  AudioMixerDriverControl bare("bare", base, 0, 1, 20);
  bare.Initialize();
  bare.UpdateSourceControl(15, 3, {0x009, 0, 0, 0});
  ASSERT_TRUE(core.AwaitCoeff((15 * 16 + 3) * 16, 0x9'010000));
  EXPECT_EQ(core.AudibleCoeff(16 * 256), 0U);
  EXPECT_EQ(bare.GetLinkAtDest(16, 0), 0);
  EXPECT_EQ(board.log.Messages(4), Lines{"Invalid link index 16"});
}

}  // namespace
