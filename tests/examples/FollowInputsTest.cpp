#include "FollowInputs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "sim/Board.h"
#include "sim/FieldModel.h"
#include "sim/models/AudioDeembedderModel.h"
#include "sim/models/AudioDelayModel.h"
#include "sim/models/AudioEmbedderModel.h"
#include "sim/models/AudioMixerModel.h"
#include "sim/models/CrosspointModel.h"
#include "sim/models/FramesyncModel.h"
#include "sim/models/IrqAggregatorModel.h"
#include "sim/models/MadiModel.h"
#include "sim/models/SdiTxModel.h"
#include "video/Video.h"

namespace {

using std::chrono::milliseconds;
using std::chrono::seconds;

constexpr sim::AudioPair kDolbyE{.burstType = 28, .line = 20};

class FollowInputsTest : public testing::Test {
 protected:
  // A signal of a standard with Dolby E in one pair.
  static sim::VideoSignal WithDolbyE(int standardId, std::size_t pair) {
    sim::VideoSignal signal = sim::SignalOf(standardId);
    signal.audio.at(pair) = kDolbyE;
    return signal;
  }

  // The application's loop for so many rounds of 5 ms, with a look at the outputs each second.
  void Loop(int rounds) {
    for (int i = 0; i < rounds; ++i) {
      application_.Poll();
      if (++round_ % 200 == 0) {
        application_.CheckOutputs();
      }
      board_.clock.Advance(milliseconds(5));
    }
  }

  std::vector<std::string> Take() { return std::exchange(lines_, {}); }
  bool Said(const std::string& text) const {
    return std::any_of(lines_.begin(), lines_.end(), [&text](const std::string& line) {
      return line.find(text) != std::string::npos;
    });
  }

  sim::Board& board_ = []() -> sim::Board& {
    sim::Board& board = sim::Board::Get();
    board.clock.TakeOver();
    return board;
  }();
  std::vector<std::string> lines_;
  TopFpgaImpl fpga_{4};
  FollowInputs application_{fpga_, [this](const std::string& line) { lines_.push_back(line); }};
  int round_ = 0;
};

TEST_F(FollowInputsTest, FollowsWhatIsPluggedChangedAndLost) {
  board_.Plug(1, sim::SignalOf(41));
  Loop(2);
  EXPECT_EQ(Take(), (std::vector<std::string>{"input 1: 1920x1080p 60 A BT.709"}));
  EXPECT_EQ(board_.Core<sim::FramesyncModel>("framesync1").Get("videoType"),
            GetVideoStandard(41).framesyncVideoType);
  EXPECT_EQ(board_.Core<sim::FramesyncModel>("framesync1").Get("lockToInput"), 1U);
  EXPECT_EQ(board_.Core<sim::SdiTxModel>("sdi_tx1").Get("std"), 2U);  // 3G
  EXPECT_EQ(board_.Core<sim::AudioEmbedderModel>("emb_1").Get("embeddingIsActive"), 1U);
  for (std::uint32_t path = 0; path < 4; ++path) {
    EXPECT_EQ(board_.Core<sim::CrosspointModel>("sdi_rx_crosspoint").SourceOf(path),
              static_cast<int>(path));
    EXPECT_EQ(board_.Core<sim::CrosspointModel>("sdi_tx_crosspoint").SourceOf(path),
              static_cast<int>(path));
  }
  EXPECT_EQ(board_.Core<sim::AudioDeembedderModel>("in_aud_1_deemb").Get("deembed_en"), 1U);
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("glbl_reset"), 0U);

  board_.Plug(1, sim::SignalOf(18));
  Loop(2);
  ASSERT_EQ(lines_.size(), 1U);
  EXPECT_TRUE(Said(GetVideoStandard(18).name)) << lines_.front();
  Take();

  board_.Plug(1, {});
  Loop(2);
  EXPECT_EQ(Take(), (std::vector<std::string>{"input 1: no signal"}));
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("glbl_reset"), 1U);
  EXPECT_EQ(board_.Core<sim::AudioDeembedderModel>("in_aud_1_deemb").Get("reset"), 1U);
}

TEST_F(FollowInputsTest, BringsDolbyEToItsLineAndKeepsItThere) {
  board_.Plug(0, WithDolbyE(41, 3));
  Loop(2);
  EXPECT_EQ(board_.Core<sim::AudioEmbedderModel>("emb_0").Get("nonPcmSelect"), 0b11U << 6);
  EXPECT_EQ(board_.Core<sim::MadiModel>("out_aud_madi_rx").Get("nonPcmChannels1To32"), 0b11U << 6);
  EXPECT_EQ(board_.Core<sim::FieldModel>("out_aud_aes_tx").Get("perChannelNonPcm"), 0b11U << 6);
  // The mixers' threads program what the graph asked for.
  constexpr std::uint64_t kUnity = 0x10000;
  ASSERT_TRUE(board_.Core<sim::AudioMixerModel>("out_aud_mixer")
                  .AwaitCoeff(6 * 16, std::uint64_t{4 * 16 + 6} << 24 | kUnity));
  ASSERT_TRUE(board_.Core<sim::AudioMixerModel>("in_aud_0_mixer")
                  .AwaitCoeff(6 * 16, std::uint64_t{6} << 24 | kUnity));
  Take();

  Loop(200);
  EXPECT_TRUE(Said("output 0: pair 3 Dolby E in line "));
  Loop(200);
  AudioChannelInfo::AudioType type{};
  std::uint16_t line = 0;
  AudioEmbedderDriverControl& embedder = fpga_.GetAudioPathFacade().GetEmbedderAtIndex(0);
  embedder.GetPairNonPcmInfo(3, &type, &line);
  const int ideal = GetVideoStandard(41).auxLines;
  EXPECT_LE(std::abs(line - ideal), 2) << line;
  const std::uint32_t delay = board_.Core<sim::AudioDelayModel>("in_aud_0_audio_delay").DelayOf(6);
  EXPECT_GT(delay, 64U);
  Loop(2000);  // ten more looks leave it there
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_0_audio_delay").DelayOf(6), delay);

  Take();
  board_.Plug(0, sim::SignalOf(41));
  Loop(400);
  EXPECT_TRUE(Said("output 0: pair 3 PCM"));
  EXPECT_EQ(board_.Core<sim::FieldModel>("out_aud_aes_tx").Get("perChannelNonPcm"), 0U);
}

TEST_F(FollowInputsTest, HoldsTheDelayAgainstDrift) {
  board_.Plug(2, sim::SignalOf(41));
  Loop(2);
  const std::uint32_t delay = board_.Core<sim::AudioDelayModel>("in_aud_2_audio_delay").DelayOf(0);
  board_.Core<sim::AudioDelayModel>("in_aud_2_audio_delay").Drift(300);
  Loop(4000);  // 20 s: a second's tick, and 1019 samples for each of 300
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_2_audio_delay").DelayOf(0), delay);
}

TEST_F(FollowInputsTest, ManyChangesEndWithTheLast) {
  for (int i = 0; i < 300; ++i) {
    board_.Plug(3, i % 3 == 0 ? sim::VideoSignal{} : WithDolbyE(i % 2 == 0 ? 41 : 18, 0));
    Loop(1 + i % 2);
  }
  board_.Plug(3, WithDolbyE(6, 5));
  Loop(2);
  EXPECT_EQ(fpga_.GetSdiRxs()[3]->GetVideoFormat().standardId, 6U);
  EXPECT_EQ(board_.Core<sim::FramesyncModel>("framesync3").Get("videoType"),
            GetVideoStandard(6).framesyncVideoType);
  EXPECT_EQ(board_.Core<sim::AudioEmbedderModel>("emb_3").Get("nonPcmSelect"), 0b11U << 10);
  EXPECT_EQ(board_.Core<sim::IrqAggregatorModel>("irq_handler").Get("irqOutputStatus"), 0U);
}

}  // namespace
