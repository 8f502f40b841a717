#include "controls/AudioDeembedderDriverControl.h"

#include <gtest/gtest.h>

#include <algorithm>

#include "log/Log.h"
#include "sim/Board.h"
#include "sim/models/AudioDeembedderModel.h"

namespace {

using Type = AudioChannelInfo::AudioType;

class AudioDeembedderDriverControlTest : public testing::Test {
 protected:
  AudioDeembedderDriverControlTest() {
    for (std::uint8_t c = 0; c < 16; ++c) {
      infos.push_back(std::make_shared<AudioChannelInfo>(Type::Pcm));
      infos[c]->AddCallback([this, c] { changed.push_back(c); }, nullptr);
      control.SetDestChInfo(c, infos[c]);
    }
  }

  sim::Board& board = sim::Board::Get();
  sim::AudioDeembedderModel& core = board.Core<sim::AudioDeembedderModel>("in_aud_0_deemb");
  AudioDeembedderDriverControl control{"in_aud_0_deemb", 0xC00000, 0, 12};
  std::vector<ChInfoPtr> infos;
  std::vector<int> changed;  // channels, in order
};

TEST_F(AudioDeembedderDriverControlTest, TypesReachBothChannelsOfTheirPair) {
  core.Plug(2, {.present = true, .burstType = 28, .line = 9});
  control.UpdatePairTypes();  // held in reset
  EXPECT_TRUE(changed.empty());
  control.OnVideoTypeChange(0, 15);
  EXPECT_EQ(changed, (std::vector{4, 5}));
  EXPECT_EQ(infos[4]->GetAudioType(), Type::DolbyE);

  control.HandleIrq();
  EXPECT_EQ(changed.size(), 2U);
  core.Plug(2, {});
  core.Plug(7, {.present = true, .burstType = 3, .line = 9});
  EXPECT_EQ(changed.size(), 2U);
  control.HandleIrq();
  EXPECT_EQ(changed, (std::vector{4, 5, 4, 5, 14, 15}));
  EXPECT_EQ(infos[4]->GetAudioType(), Type::Pcm);
  EXPECT_EQ(infos[15]->GetAudioType(), Type::OtherNonPcm);
  core.Set("nonpcm_channel_pair_7_line", 0);
  control.HandleIrq();  // nothing pending
  EXPECT_EQ(changed.size(), 6U);
  core.Plug(7, {.present = true, .burstType = 3, .line = 9});
  control.OnVideoTypeChange(0, 0);
  EXPECT_EQ(changed.size(), 8U);
}

TEST_F(AudioDeembedderDriverControlTest, QuietUpdateOnlyReads) {
  core.Plug(0, {.present = true, .burstType = 1, .line = 9});
  control.OnVideoTypeChange(0, 15);
  changed.clear();
  board.log.Clear();
  board.registers.StartTrace();
  control.UpdatePairTypes();
  const auto trace = board.registers.TakeTrace();
  ASSERT_EQ(trace.size(), 24U);
  for (std::uint32_t i = 0; i < 24; ++i) {
    EXPECT_EQ(trace[i].kind, sim::RegisterAccess::Kind::kLoad);
    EXPECT_EQ(trace[i].address, i % 3 == 0 ? 0xC00058U : 0xC00008U + i / 3 * 4) << i;
  }
  EXPECT_TRUE(changed.empty());
  EXPECT_TRUE(board.log.All().empty());
}

TEST_F(AudioDeembedderDriverControlTest, ChannelsWithoutTheirPartnerKeepTheirType) {
  control.SetDestChInfo(1, nullptr);
  control.SetDestChInfo(2, nullptr);
  control.SetDestChInfo(16, nullptr);
  control.SetDestChInfo(255, nullptr);
  EXPECT_EQ(board.log.Messages(4), (std::vector<std::string>(2, "Channel index is out of range")));
  for (std::size_t p = 0; p < 3; ++p) {
    core.Plug(p, {.present = true, .burstType = 1, .line = 9});
  }
  control.OnVideoTypeChange(0, 15);
  EXPECT_EQ(changed, (std::vector{4, 5}));
}

}  // namespace
