#include "controls/AudioMixerDriverControl.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <stdexcept>

#include "log/Log.h"
#include "sim/Board.h"
#include "sim/models/AudioMixerModel.h"

namespace {

using enum AudioChannelInfo::AudioType;
using Words = std::vector<std::uint64_t>;

constexpr std::uint64_t kUnity = 0x010000;

std::uint64_t Word(std::uint64_t link, std::uint64_t channel, std::uint64_t gain = kUnity) {
  return (link * 16 + channel) << 24 | gain;
}

std::uint16_t Index(unsigned link, unsigned channel) {
  return static_cast<std::uint16_t>(link << 4 | channel);
}

// The main mixer with 17 links of sources and 13 of outputs, as it is on the board.
class AudioMixerDriverControlTest : public testing::Test {
 protected:
  AudioMixerDriverControlTest() {
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
    SetLogLevel(kLogInfo);  // the thread's lines are no matter here
    control.Initialize();
  }

  // Runs an update of a control and gives the words of an output channel that are then audible,
  // without the silent ones at the end.
  Words After(const std::function<void()>& update, std::uint8_t link, std::uint8_t channel) {
    const std::uint32_t toggles = model.Toggles();
    update();
    EXPECT_TRUE(model.AwaitToggles(toggles + 1));
    const Words all = model.AudibleCoeffs();
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

  // Waits for the first word of an output channel: an update may take several programmings.
  bool AwaitFirst(std::uint8_t link, std::uint8_t channel, std::uint64_t word) const {
    return model.AwaitCoeff(static_cast<std::size_t>(link * 16 + channel) * 16, word);
  }

  sim::Board& board = sim::Board::Get();
  sim::AudioMixerModel& model = board.Core<sim::AudioMixerModel>("out_aud_mixer");
  ChInfoPtr sources[17][16];
  ChInfoPtr outputs[13][16];
  AudioMixerDriverControl control{"main_mixer", 0x2500000, 4, 17, 13};
};

TEST_F(AudioMixerDriverControlTest, EveryOutputStartsOnItsChannelOfLinkZero) {
  Words expected(17 * 256);
  for (std::size_t link = 0; link < 13; ++link) {
    for (std::size_t channel = 0; channel < 16; ++channel) {
      expected[(link * 16 + channel) * 16] = Word(0, channel);
    }
  }
  const std::uint32_t before = model.Toggles();
  control.UpdateDownmix({});
  ASSERT_TRUE(model.AwaitToggles(before + 1));
  EXPECT_EQ(model.AudibleCoeffs(), expected);
  EXPECT_TRUE(board.log.Messages(4).empty());
  EXPECT_TRUE(board.log.Messages(3).empty());
}

TEST_F(AudioMixerDriverControlTest, SourcesHaveGainPolarityAndMute) {
  const struct {
    AudioSourceControl control;
    Words words;
  } cases[] = {
      {{Index(16, 15), 0, 0, 0}, {Word(16, 15)}},
      {{Index(3, 7), 0, 2, -6}, {Word(3, 7, 0xFF7FB3)}},
      {{Index(3, 7), 0x100, 0, 0}, {Word(3, 7, 0)}},
      {{Index(255, 9), 0, 0, 6}, {}},
      {{Index(0xF02, 1), 0, 0x100, 20}, {Word(2, 1, 0xF60000)}},  // upper bits mean nothing
  };
  for (const auto& c : cases) {
    EXPECT_EQ(Routed(12, 15, c.control), c.words) << c.control.srcIndex;
  }
}

TEST_F(AudioMixerDriverControlTest, DownmixAndFlexibleMixerSumTheirSources) {
  const AudioDownmixControl downmix{
      Index(1, 0), Index(1, 1), Index(255, 3), Index(2, 4), Index(2, 5), 6, -6};
  EXPECT_EQ(Routed(4, 0, {Index(254, 0), 0, 0, 0}), (Words{Word(0, 0), Word(0, 2), Word(0, 3)}));
  EXPECT_EQ(After([&] { control.UpdateDownmix(downmix); }, 4, 0),
            (Words{Word(1, 0), 0, Word(2, 4, 0x804D)}));
  EXPECT_EQ(Routed(4, 1, {Index(254, 7), 0, 1, 0}),
            (Words{Word(1, 1, 0xFF0000), 0, Word(2, 5, 0xFF7FB3)}));

  // Entries 3 and 19 feed output 3 until they are set otherwise: both silent.
  EXPECT_EQ(Routed(5, 3, {Index(253, 3), 0, 0, 0}), Words{});
  const auto setFlex = [&](std::uint8_t entry, std::uint16_t output, std::uint16_t source,
                           std::int16_t gain) {
    return After([&] { control.UpdateFlexmixer(entry, {output, source, 0xFFFF, gain}); }, 5, 3);
  };
  EXPECT_EQ(setFlex(31, 3, Index(4, 5), -20), (Words{0, 0, Word(4, 5, 0x1999)}));
  EXPECT_EQ(setFlex(0, 3, Index(16, 1), 20),
            (Words{Word(16, 1, 0xA0000), 0, 0, Word(4, 5, 0x1999)}));
  EXPECT_EQ(setFlex(0, 0x103, Index(16, 1), 20), (Words{0, 0, Word(4, 5, 0x1999)}));
  board.log.Clear();
  EXPECT_EQ(setFlex(0, 3, Index(16, 1), 21), (Words{0, 0, Word(4, 5, 0x1999)}));  // left out
  EXPECT_EQ(board.log.Messages(3).size(), 1U);
  for (std::uint8_t entry = 0; entry < 17; ++entry) {
    setFlex(entry, 3, Index(0, entry % 16), 0);
  }
  Words all;
  for (std::uint64_t channel = 0; channel < 16; ++channel) {
    all.push_back(Word(0, channel));
  }
  EXPECT_EQ(setFlex(31, 3, Index(0, 0), 0), all);
}

TEST_F(AudioMixerDriverControlTest, NonPcmPassesASingleSourceAndNoSum) {
  control.UpdateSourceControl(0, 0, {Index(1, 4), 0, 1, -6});
  control.UpdateSourceControl(0, 1, {Index(254, 0), 0, 0, 0});
  control.UpdateDownmix({Index(1, 4), 0, Index(1, 5), Index(1, 6), 0, 0, 0});
  ASSERT_TRUE(AwaitFirst(0, 1, Word(1, 4)));
  sources[1][4]->SetAudioType(DolbyE);
  EXPECT_EQ(outputs[0][0]->GetAudioType(), DolbyE);
  EXPECT_EQ(outputs[0][1]->GetAudioType(), Pcm);
  ASSERT_TRUE(AwaitFirst(0, 0, Word(1, 4)));
  ASSERT_TRUE(AwaitFirst(0, 1, Word(1, 4, 0)));
  EXPECT_EQ(model.AudibleCoeffs()[17], Word(1, 5));
  EXPECT_EQ(model.AudibleCoeffs()[18], Word(1, 6));
  sources[1][4]->SetLink(5);  // around the converter
  ASSERT_TRUE(AwaitFirst(0, 1, Word(5, 4, 0)));
  ASSERT_TRUE(AwaitFirst(0, 0, Word(5, 4)));
  EXPECT_EQ(control.GetLinkAtDest(0, 0), 5);
  EXPECT_EQ(control.GetChAtDest(0, 0), 4);
  // Routes that are made while the source is elsewhere find it by where it was added.
  control.UpdateSourceControl(2, 2, {Index(1, 4), 0, 0, 0});
  ASSERT_TRUE(AwaitFirst(2, 2, Word(5, 4)));
  EXPECT_EQ(outputs[2][2]->GetAudioType(), DolbyE);
  sources[1][4]->SetLink(1);
  sources[1][4]->SetAudioType(Pcm);
  ASSERT_TRUE(AwaitFirst(2, 2, Word(1, 4)));
  ASSERT_TRUE(AwaitFirst(0, 0, Word(1, 4, 0xFF7FB3)));
  EXPECT_EQ(outputs[2][2]->GetAudioType(), Pcm);
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
      {[&] { return control.UpdateDownmix({}), 0; }, ""},
      {[&] { return control.GetChAtDest(3, 1) - 1; }, ""},
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
      {[&] { return control.SetDestChInfo(13, 16, nullptr), 0; }, "Link size is too large"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(&c - cases);
    board.log.Clear();
    EXPECT_EQ(c.operation(), 0);
    EXPECT_EQ(board.log.Messages(4),
              c.line.empty() ? std::vector<std::string>{} : std::vector<std::string>{c.line});
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
  EXPECT_EQ(Routed(1, 1, {Index(2, 2), 0, 0, 0}), Words{Word(2, 2)});
  SetLogLevel(kLogInfo);
  const std::vector<std::string> debug = board.log.Messages(7);
  EXPECT_EQ(std::count(debug.begin(), debug.end(), "linkDest 1, chDest 1, srcIndex 34"), 1);
  board.log.Clear();
  EXPECT_EQ(Routed(1, 1, {Index(17, 3), 0, 0, 0}), Words{Word(2, 2)});
  EXPECT_EQ(board.log.Messages(4),
            (std::vector<std::string>{"Route source link index is too large"}));
  EXPECT_EQ(control.GetLinkAtDest(1, 1), 17);
  sources[2][2]->SetAudioType(Ac3);  // nobody listens any more
  EXPECT_EQ(outputs[1][1]->GetAudioType(), Pcm);
}

// More links than the table of controls has, and no channel information at all.
TEST_F(AudioMixerDriverControlTest, StandsWithoutChannelInformation) {
  board.Core<sim::AudioMixerModel>("in_aud_0_mixer").Set("num_links", 20);
  AudioMixerDriverControl bare("bare", 0x1400000, 0, 1, 20);
  bare.Initialize();
  bare.UpdateSourceControl(15, 3, {Index(0, 9), 0, 0, 0});
  ASSERT_TRUE(board.Core<sim::AudioMixerModel>("in_aud_0_mixer").AwaitToggles(1));
  const Words words = board.Core<sim::AudioMixerModel>("in_aud_0_mixer").AudibleCoeffs();
  EXPECT_EQ(words[(15 * 16 + 3) * 16], Word(0, 9));
  EXPECT_EQ(words[16 * 256], 0U);
  EXPECT_EQ(bare.GetLinkAtDest(16, 0), 0);
  EXPECT_EQ(board.log.Messages(4), (std::vector<std::string>{"Invalid link index 16"}));
}

}  // namespace
