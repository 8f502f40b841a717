#include <gtest/gtest.h>

#include <algorithm>
#include <stdexcept>

#include "audio/AudioPathFacadeImpl.h"
#include "log/Log.h"
#include "sim/Board.h"
#include "video/Video.h"

namespace {

using AudioType = AudioChannelInfo::AudioType;

constexpr sim::AudioPair kDolbyE{.burstType = 28, .line = 11};
constexpr std::uint32_t kStandard = 41;  // 1920x1080p 60

// The coefficient that passes a source channel on untouched.
constexpr std::uint64_t Passed(std::uint64_t link, std::uint64_t channel) {
  return (link * 16 + channel) << 24 | 0x10000;
}

// The slots of the window in the order in which a trace came to them.
std::vector<std::uint32_t> SlotsInOrder(const std::vector<sim::RegisterAccess>& trace) {
  std::vector<std::uint32_t> slots;
  for (const sim::RegisterAccess& access : trace) {
    const std::uint32_t slot = access.address / sim::RegisterFile::kSlotBytes;
    if (slots.empty() || slots.back() != slot) {
      slots.push_back(slot);
    }
  }
  return slots;
}

class AudioPath : public testing::Test {
 protected:
  void BringUp() {
    audio_.Initialize();
    for (std::size_t input = 0; input < 4; ++input) {
      audio_.GetInputAudioPathFacadeAtIndex(input)->GetDelay()._InitializeDramAndCsr(0, 0x1000000);
    }
  }

  // Every output link's channels from those of one source link.
  void RouteAllFrom(std::uint8_t sourceLink) {
    for (std::uint8_t link = 0; link < 13; ++link) {
      for (std::uint8_t channel = 0; channel < 16; ++channel) {
        audio_.GetMixer(0)->UpdateSourceControl(
            link, channel, {.srcIndex = static_cast<std::uint16_t>(sourceLink << 4 | channel)});
      }
    }
  }

  // Sets an input's pair and lets the graph see it.
  void Plug(std::size_t input, std::size_t pair, const sim::AudioPair& audio) {
    board_.deembedder[input].Plug(pair, audio);
    audio_.GetInputAudioPathFacadeAtIndex(input)->GetDeembedder().UpdatePairTypes();
  }

  // Input 1 runs, its channels pass straight through its mixer and to all outputs.
  void Run() {
    BringUp();
    audio_.GetMixer(2)->UpdateSourceControl(0, 0, {});
    RouteAllFrom(1);
    input_->HandleInputVideoTypeChange(0, kStandard);
    for (std::size_t embedder = 0; embedder < 4; ++embedder) {
      audio_.GetEmbedderAtIndex(embedder).OnVideoTypeChange(0, kStandard);
    }
    // From here on the mixers' threads rest: the last route of each is heard.
    ASSERT_TRUE(board_.inputMixer[1].AwaitCoeff(15 * 16, Passed(0, 15)));
    ASSERT_TRUE(board_.mainMixer.AwaitCoeff((12 * 16 + 15) * 16, Passed(1, 15)));
  }

  // What was logged, without the line with which a mixer's thread starts whenever it gets to it.
  std::vector<std::string> Take(int severity) {
    std::vector<std::string> messages = board_.log.Messages(severity);
    board_.log.Clear();
    std::erase_if(messages,
                  [](const std::string& line) { return line.starts_with("Audio Mixer is"); });
    return messages;
  }

  sim::Board& board_ = []() -> sim::Board& {
    sim::Board& board = sim::Board::Get();
    board.clock.TakeOver();
    SetLogLevel(kLogInfo);
    return board;
  }();
  AudioPathFacadeImpl audio_{"out_aud", 0xB00000, 0, 0x100000, 11};
  InputAudioPathFacade* input_ = audio_.GetInputAudioPathFacadeAtIndex(1);
};

TEST_F(AudioPath, ComesUpInOrder) {
  board_.registers.StartTrace();
  board_.log.Clear();
  audio_.Initialize();

  std::vector<std::uint32_t> expected;
  for (std::uint32_t i = 0; i < 4;
       ++i) {  // hold: mixer, de-embedder, clock, delay, converter, meters
    for (const std::uint32_t first : {20U, 12U, 16U, 28U, 32U, 43U}) {
      expected.push_back(first + i);
    }
  }
  for (const std::uint32_t slot : {37U, 36U, 40U, 41U, 52U, 53U, 54U, 55U}) {
    expected.push_back(slot);
  }
  for (std::uint32_t i = 0; i < 4; ++i) {  // release: from the clock to the output
    for (const std::uint32_t first : {16U, 20U, 12U, 28U, 32U, 43U}) {
      expected.push_back(first + i);
    }
  }
  for (const std::uint32_t slot : {37U, 36U, 40U, 41U, 52U, 53U, 54U, 55U}) {
    expected.push_back(slot);
  }
  for (std::uint32_t i = 0; i < 4; ++i) {  // each input anew, left with its delay line in reset
    for (const std::uint32_t first :
         {20U, 12U, 16U, 28U, 32U, 43U, 16U, 20U, 12U, 28U, 32U, 43U, 20U, 28U, 43U, 28U, 32U}) {
      expected.push_back(first + i);
    }
  }
  for (const std::uint32_t slot : {37U, 47U, 38U, 42U, 11U}) {
    expected.push_back(slot);
  }
  EXPECT_EQ(SlotsInOrder(board_.registers.TakeTrace()), expected);

  // Each input finds no memory for its delay line twice: when all is reset, and when it is set up.
  const std::vector<std::string> errors = board_.log.Messages(3);
  EXPECT_EQ(errors.size(), 8U);
  std::vector<std::string> steps = board_.log.Messages(6);
  std::erase_if(steps, [](const std::string& line) {
    return line.find("INITIALIZE") == std::string::npos &&
           line.find("Facade Initialize") == std::string::npos;
  });
  EXPECT_EQ(steps, (std::vector<std::string>{
                       "INPUT AUDIO PATH INITIALIZE", "INPUT AUDIO PATH INITIALIZE",
                       "INPUT AUDIO PATH INITIALIZE", "INPUT AUDIO PATH INITIALIZE",
                       "AUDIO PATH INITIALIZE", "Finished Audio Path Facade Initialize"}));
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_TRUE(audio_.GetInputAudioPathFacadeAtIndex(i)->GetDelay().IsHeldInReset()) << i;
    EXPECT_TRUE(audio_.GetInputAudioPathFacadeAtIndex(i)->GetDelaySrc().IsHeldInReset()) << i;
    EXPECT_EQ(board_.deembedder[i].Get("reset"), 0U) << i;
  }
  EXPECT_EQ(board_.audioPath.Word(8), 0b1010U);  // both groups enabled as inputs
}

TEST_F(AudioPath, CarriesATypeToEveryTransmitterAndBack) {
  Run();
  std::vector<AudioTypeArray> seenByEmbedders;
  std::vector<MadiAudioTypeArray> seenByMadi;
  audio_.AddEmbedderAudioTypeCallback({});
  audio_.AddEmbedderAudioTypeCallback(
      [&](AudioTypeArray types) { seenByEmbedders.push_back(types); });
  audio_.AddMadiTxAudioTypeCallback([&](MadiAudioTypeArray types) { seenByMadi.push_back(types); });
  Take(6);

  Plug(1, 3, kDolbyE);
  EXPECT_EQ(board_.audioDelay[1].Get("route_pairs_via_nonsrc"), 1U << 3);
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(2, 6), 5);  // moved to the way around the converter
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(2, 7), 5);
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(2, 5), 1);
  for (std::size_t e = 0; e < 4; ++e) {
    AudioType type{};
    std::uint16_t line = 0;
    audio_.GetEmbedderAtIndex(e).GetPairNonPcmInfo(3, &type, &line);
    EXPECT_EQ(type, AudioType::DolbyE) << e;
    EXPECT_EQ(board_.embedder[e].Get("nonPcmSelect"), 0b11U << 6) << e;
  }
  EXPECT_EQ(board_.aesTx.Get("perChannelNonPcm"), 0b11U << 6);
  EXPECT_EQ(seenByEmbedders.size(), 4U);
  ASSERT_EQ(seenByMadi.size(), 4U);
  EXPECT_EQ(seenByMadi.back()[3][3], AudioType::DolbyE);
  const std::vector<std::string> info = Take(6);
  EXPECT_EQ(
      std::count(info.begin(), info.end(), "Embedder audio type changed to audio type NON-PCM"), 4);
  EXPECT_EQ(board_.madi.Get("nonPcmChannels1To32"), 0b11U << 22 | 0b11U << 6);
  EXPECT_EQ(board_.madi.Get("nonPcmChannels33To64"), 0b11U << 22 | 0b11U << 6);
  EXPECT_TRUE(board_.mainMixer.AwaitCoeff((2 * 16 + 6) * 16, Passed(5, 6)));

  audio_.GetInputAudioPathFacadeAtIndex(1)->GetDeembedder().UpdatePairTypes();  // nothing new
  EXPECT_EQ(seenByEmbedders.size(), 4U);

  Plug(1, 3, {});
  EXPECT_EQ(board_.audioDelay[1].Get("route_pairs_via_nonsrc"), 0U);
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(2, 6), 1);
  EXPECT_EQ(board_.embedder[0].Get("nonPcmSelect"), 0U);
  EXPECT_EQ(board_.aesTx.Get("perChannelNonPcm"), 0U);
  EXPECT_EQ(seenByEmbedders.size(), 8U);
}

TEST_F(AudioPath, FollowsTheAesLinesThatAreInputs) {
  BringUp();
  RouteAllFrom(16);
  for (const std::uint32_t line : {0U, 7U}) {
    board_.aesRx.Plug(line, kDolbyE);
  }
  audio_.SetAes5To8Enable(false);
  EXPECT_EQ(board_.audioPath.Word(8), 0b0110U);
  audio_.UnmaskAesRxIrq();
  board_.clock.Advance(std::chrono::seconds(3));  // what an unlock held back is over
  board_.aesRx.Plug(1, kDolbyE);
  audio_.HandleAesRxIrq();
  EXPECT_EQ(board_.embedder[0].Get("nonPcmSelect"), 0x000FU);  // lines 1 and 2
  audio_.SetAes5To8Enable(true);
  audio_.SetAes1To4Enable(false);
  board_.clock.Advance(std::chrono::seconds(3));
  board_.aesRx.Plug(1, {});
  audio_.HandleAesRxIrq();
  EXPECT_EQ(board_.embedder[0].Get("nonPcmSelect"), 0xC00FU);  // line 2 is no input any more
}

TEST_F(AudioPath, SetsAnInputUpForItsStandard) {
  BringUp();
  Take(6);
  board_.registers.StartTrace();
  input_->HandleInputVideoTypeChange(0, 0);  // the standard that it has
  EXPECT_TRUE(board_.registers.TakeTrace().empty());
  EXPECT_EQ(Take(6), (std::vector<std::string>{"in_aud_1_control link 0 is now \"Unknown\""}));

  input_->HandleInputVideoTypeChange(2, kStandard);
  EXPECT_FALSE(input_->GetDelay().IsHeldInReset());
  EXPECT_FALSE(input_->GetDelaySrc().IsHeldInReset());
  EXPECT_EQ(board_.deembedder[1].Get("reset"), 0U);
  EXPECT_EQ(board_.deembedder[1].Get("deembed_en"), 1U);
  EXPECT_EQ(Take(6).front(), "in_aud_1_control link 2 is now \"1920x1080p 60 A\"");

  board_.registers.StartTrace();
  input_->HandleInputVideoTypeChange(0, kStandard);
  EXPECT_TRUE(board_.registers.TakeTrace().empty());

  input_->HandleInputVideoTypeChange(0, 0);
  EXPECT_TRUE(input_->GetDelay().IsHeldInReset());
  EXPECT_EQ(board_.deembedder[1].Get("reset"), 1U);
  EXPECT_EQ(board_.deembedder[1].Get("deembed_en"), 1U);  // as it was
  input_->HandleInputVideoTypeChange(0, 4'000'000'000U);  // no row
  EXPECT_EQ(Take(6).back().find("is now"), std::string::npos);
}

TEST_F(AudioPath, FlapsAThousandTimesAndEndsWithTheLastEvent) {
  Run();
  board_.audioDelay[1].SetRestartTime(std::nullopt);  // a restart never ends
  for (int i = 0; i < 1000; ++i) {
    input_->HandleInputVideoTypeChange(0, i % 2 == 0 ? 0 : kStandard);
    Plug(1, 2, i % 3 == 0 ? kDolbyE : sim::AudioPair{});
  }
  board_.audioDelay[1].SetRestartTime(std::chrono::microseconds(0));
  input_->HandleInputVideoTypeChange(0, 18);
  Plug(1, 2, kDolbyE);
  Plug(1, 5, kDolbyE);
  EXPECT_EQ(board_.audioDelay[1].Get("route_pairs_via_nonsrc"), 0b100100U);
  EXPECT_EQ(board_.embedder[3].Get("nonPcmSelect"), 0b11'00'00'11'00'00U);
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(3, 11), 5);
}

TEST_F(AudioPath, AnswersAChangeOfTheOutputClock) {
  Run();
  int calls = 0;
  audio_.AddAudioOutputClkIrqCallback({});
  audio_.AddAudioOutputClkIrqCallback([&] { ++calls; });
  board_.registers.StartTrace();
  audio_.HandleAudioOutputClkIrq();  // nothing is pending
  EXPECT_TRUE(board_.registers.TakeStores().empty());
  EXPECT_EQ(calls, 0);

  board_.outputClkGen.Set("irqStatus", 1);
  Take(6);
  board_.registers.StartTrace();
  audio_.HandleAudioOutputClkIrq();
  EXPECT_EQ(SlotsInOrder(board_.registers.TakeStores()),
            (std::vector<std::uint32_t>{36, 37, 29, 33, 52, 53, 54, 55, 42, 38}));
  EXPECT_EQ(calls, 1);
  const std::vector<std::string> info = Take(6);
  EXPECT_EQ(std::count(info.begin(), info.end(), "Resetting audioEmbedders due to clock IRQ"), 1);
}

TEST_F(AudioPath, PutsADolbyEFrameBackOnItsLine) {
  Run();
  const auto update = [&](std::size_t embedder, std::size_t pair, AudioType* type,
                          std::uint16_t* line) {
    std::uint8_t embedded = 7;
    audio_.UpdateEmbedderNonPcmLineNum(embedder, pair, type, line, &embedded);
    return embedded;
  };
  AudioType type{};
  std::uint16_t line = 0;
  board_.registers.StartTrace();
  audio_.SetEmbedderGroupEnable(2, 1, 1);
  audio_.SetEmbedderGroupEnable(4, 1, 1);  // there is no such embedder
  EXPECT_EQ(update(2, 3, &type, &line), 1);
  EXPECT_EQ(type, AudioType::Pcm);
  for (const std::uint32_t slot : SlotsInOrder(board_.registers.TakeTrace())) {
    EXPECT_EQ(slot, 54U);
  }

  Plug(1, 3, kDolbyE);
  const std::uint32_t ideal = GetVideoStandard(kStandard).auxLines;
  input_->GetDelayControl().SetChannelDelay(6, 20.0F);
  const std::uint32_t before = board_.audioDelay[1].Get("per_ch_init_delay_6");
  board_.embedder[2].SetBurstLine(3, ideal + 2);  // within tolerance
  update(2, 3, &type, &line);
  EXPECT_EQ(type, AudioType::DolbyE);
  EXPECT_EQ(line, ideal + 2);
  EXPECT_EQ(board_.audioDelay[1].Get("per_ch_init_delay_6"), before);

  // 100 lines late of 1125 at 60 frames: 20 ms less 1.48 ms are 888.9 samples.
  board_.embedder[2].SetBurstLine(3, ideal + 100);
  update(2, 3, &type, &line);
  EXPECT_EQ(before, 960U);
  EXPECT_EQ(board_.audioDelay[1].Get("per_ch_init_delay_6"), 888U);
  EXPECT_EQ(board_.audioDelay[1].Get("per_ch_init_delay_7"),
            board_.audioDelay[1].Get("per_ch_init_delay_6"));

  // A pair of which one channel comes from elsewhere is PCM there.
  audio_.GetMixer(0)->UpdateSourceControl(2, 7, {.srcIndex = 0x020});
  update(2, 3, &type, &line);
  EXPECT_EQ(type, AudioType::Pcm);

  EXPECT_THROW(update(4, 3, &type, &line), std::out_of_range);
}

TEST_F(AudioPath, RefusesToMoveAPairWithoutARoute) {
  BringUp();
  AudioTypeArray types{};
  types[0] = AudioType::DolbyE;
  AudioEmbedderDriverControl& embedder = audio_.GetEmbedderAtIndex(0);
  embedder.OnVideoTypeChange(0, kStandard);
  embedder.OnAudioTypeChange(types);
  board_.embedder[0].SetBurstLine(0, 500);
  Take(3);
  AudioType type{};
  std::uint16_t line = 0;
  std::uint8_t embedded = 0;
  board_.registers.StartTrace();
  audio_.UpdateEmbedderNonPcmLineNum(0, 0, &type, &line, &embedded);
  EXPECT_TRUE(board_.registers.TakeStores().empty());
  EXPECT_EQ(Take(3),
            (std::vector<std::string>{"Trying to apply Dolby E alignment to invalid channels"}));
}

TEST_F(AudioPath, FindsItsPartsByNumber) {
  AudioMixerDriverControl* main = audio_.GetMixer(0);
  EXPECT_EQ(audio_.GetMixer(5), main);
  EXPECT_EQ(audio_.GetMixer(-1), main);
  EXPECT_EQ(audio_.GetMixer(1), &audio_.GetInputAudioPathFacadeAtIndex(0)->GetMixer());
  EXPECT_EQ(audio_.GetMixer(4), &audio_.GetInputAudioPathFacadeAtIndex(3)->GetMixer());
  board_.log.Clear();
  EXPECT_EQ(audio_.GetInputAudioPathFacadeAtIndex(4), audio_.GetInputAudioPathFacadeAtIndex(0));
  EXPECT_EQ(
      Take(4),
      (std::vector<std::string>{
          "Trying to access input audio path that doesn't exist. Returning first audio path"}));
  EXPECT_EQ(audio_.GetEmbedderIrq(3), 55U);
  EXPECT_EQ(audio_.GetAudioOutputClkIrq(), 36U);
  EXPECT_EQ(audio_.GetAesRxIrq(), 41U);
  board_.registers.StartTrace();
  EXPECT_THROW(audio_.GetEmbedderIrq(4), std::out_of_range);
  EXPECT_THROW(audio_.HandleEmbedderIrq(4), std::out_of_range);
  EXPECT_THROW(audio_.UnmaskEmbedderIrq(4), std::out_of_range);
  EXPECT_TRUE(board_.registers.TakeTrace().empty());
}

TEST_F(AudioPath, MetersShowEachInputAndTheOutput) {
  BringUp();
  board_.inputPeakMeters[2].SetLevel(5, 8388607);
  std::vector<std::int16_t> meters;
  for (int i = 0; i < 20; ++i) {
    audio_.UpdateMeters(3, meters);
  }
  ASSERT_EQ(meters.size(), 16U);
  EXPECT_EQ(meters[5], 0);
  EXPECT_EQ(meters[4], -40);
  audio_.UpdateMeters(0, meters);
  EXPECT_EQ(meters.size(), 64U);
}

}  // namespace
