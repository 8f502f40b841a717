#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <span>
#include <stdexcept>

#include "audio/AudioPathFacadeImpl.h"
#include "log/Log.h"
#include "sim/Board.h"
#include "sim/FieldModel.h"
#include "sim/models/AesRxModel.h"
#include "sim/models/AudioDeembedderModel.h"
#include "sim/models/AudioDelayModel.h"
#include "sim/models/AudioDelaySrcModel.h"
#include "sim/models/AudioEmbedderModel.h"
#include "sim/models/AudioInputClkGenModel.h"
#include "sim/models/AudioMixerModel.h"
#include "sim/models/AudioOutputClkGenModel.h"
#include "sim/models/AudioPeakMeterModel.h"
#include "sim/models/MadiModel.h"
#include "support/Accesses.h"
#include "video/Video.h"

namespace {

using AudioType = AudioChannelInfo::AudioType;

constexpr sim::AudioPair kDolbyE{.burstType = 28, .line = 11};
constexpr std::uint32_t kStandard = 41;  // 1920x1080p 60

// The coefficient that passes a source channel on untouched.
constexpr std::uint64_t Passed(std::uint64_t link, std::uint64_t channel) {
  return (link * 16 + channel) << 24 | 0x10000;
}

using Slots = std::vector<std::uint32_t>;

// The order in which things come to reset and out of it: an input by the slots of input 0, then
// what follows the inputs.
constexpr std::array kHoldOfInput{20U, 12U, 16U, 28U, 32U, 43U};     // the mixer first
constexpr std::array kReleaseOfInput{16U, 20U, 12U, 28U, 32U, 43U};  // from the clock on
constexpr std::array kOutputClocked{37U, 36U, 40U};                  // only if all is meant
constexpr std::array kOutputs{41U, 52U, 53U, 54U, 55U};

void Append(Slots& slots, std::span<const std::uint32_t> more, std::uint32_t input = 0) {
  for (const std::uint32_t slot : more) {
    slots.push_back(slot + input);
  }
}

// Where HoldInReset or ReleaseFromReset of the whole goes.
Slots OfTheWhole(std::span<const std::uint32_t> ofInput, bool all) {
  Slots slots;
  for (std::uint32_t input = 0; input < 4; ++input) {
    Append(slots, ofInput, input);
  }
  if (all) {
    Append(slots, kOutputClocked);
  }
  Append(slots, kOutputs);
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
    board_.Core<sim::AudioDeembedderModel>("in_aud_#_deemb", input).Plug(pair, audio);
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
    ASSERT_TRUE(
        board_.Core<sim::AudioMixerModel>("in_aud_1_mixer").AwaitCoeff(15 * 16, Passed(0, 15)));
    ASSERT_TRUE(board_.Core<sim::AudioMixerModel>("out_aud_mixer")
                    .AwaitCoeff((12 * 16 + 15) * 16, Passed(1, 15)));
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

  Slots expected = OfTheWhole(kHoldOfInput, true);
  Append(expected, OfTheWhole(kReleaseOfInput, true));
  for (std::uint32_t i = 0; i < 4; ++i) {  // each input anew, left with its delay line in reset
    Append(expected, kHoldOfInput, i);
    Append(expected, kReleaseOfInput, i);
    Append(expected, std::array{20U, 28U, 43U, 28U, 32U}, i);
  }
  Append(expected, std::array{37U, 47U, 38U, 42U, 11U});
  EXPECT_EQ(ModulesInOrder(board_.registers.TakeTrace()), expected);

  // Each input finds no memory for its delay line twice: when all is reset, and when it is set up.
  const sim::LogRecord noMemory{
      3, "Attempt to setup audio delay line before DRAM space was allocated to it"};
  std::vector<sim::LogRecord> steps(4, noMemory);
  for (std::size_t i = 0; i < 4; ++i) {
    steps.push_back(noMemory);
    steps.push_back({6, "INPUT AUDIO PATH INITIALIZE"});
  }
  steps.push_back({6, "AUDIO PATH INITIALIZE"});
  steps.push_back({6, "Finished Audio Path Facade Initialize"});
  std::vector<sim::LogRecord> seen = board_.log.WithoutOrigins();
  std::erase_if(seen, [](const sim::LogRecord& record) {
    return record.severity > 4 && record.text.find("INITIALIZE") == std::string::npos &&
           record.text.find("Facade Initialize") == std::string::npos;
  });
  EXPECT_EQ(seen, steps);
  for (std::size_t i = 0; i < 4; ++i) {
    EXPECT_TRUE(audio_.GetInputAudioPathFacadeAtIndex(i)->GetDelay().IsHeldInReset()) << i;
    EXPECT_TRUE(audio_.GetInputAudioPathFacadeAtIndex(i)->GetDelaySrc().IsHeldInReset()) << i;
    EXPECT_EQ(board_.Core<sim::AudioDeembedderModel>("in_aud_#_deemb", i).Get("reset"), 0U) << i;
  }
  EXPECT_EQ(board_.Core<sim::FieldModel>("out_aud").Word(8),
            0b1010U);  // both groups enabled as inputs
}

TEST_F(AudioPath, LeavesTheMainMixerAndClocksAloneUnlessAllIsReset) {
  BringUp();
  SetLogLevel(kLogDebug);
  Take(7);
  const Slots hold = OfTheWhole(kHoldOfInput, false);
  const Slots release = OfTheWhole(kReleaseOfInput, false);
  const std::vector<std::string> resetting{
      "Resetting out_aud_control", "Resetting in_aud_0_control", "Resetting in_aud_1_control",
      "Resetting in_aud_2_control", "Resetting in_aud_3_control"};
  const auto expectResets = [&](std::uint32_t held) {
    for (std::size_t i = 0; i < 4; ++i) {
      EXPECT_EQ(board_.Core<sim::AudioMixerModel>("in_aud_#_mixer", i).Get("reset"), held) << i;
      EXPECT_EQ(board_.Core<sim::AudioDeembedderModel>("in_aud_#_deemb", i).Get("reset"), held)
          << i;
      EXPECT_EQ(board_.Core<sim::AudioInputClkGenModel>("in_aud_#_clk_gen", i).Get("reset"), held)
          << i;
      EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_#_audio_delay", i).Get("glbl_reset"),
                held)
          << i;
      EXPECT_EQ(
          board_.Core<sim::AudioDelaySrcModel>("in_aud_#_audio_delay_src", i).Get("logic_reset"),
          held)
          << i;
      EXPECT_EQ(board_.Core<sim::AudioPeakMeterModel>("in_aud_#_peak_meters", i).Get("reset"), held)
          << i;
      EXPECT_EQ(board_.Core<sim::AudioEmbedderModel>("emb_#", i).Get("reset"), held) << i;
    }
    EXPECT_EQ(board_.Core<sim::AesRxModel>("out_aud_aes_rx").Get("reset"), held);
  };

  board_.registers.StartTrace();
  audio_.HoldInReset(false);
  EXPECT_EQ(ModulesInOrder(board_.registers.TakeTrace()), hold);
  EXPECT_EQ(Take(7), resetting);
  expectResets(1);

  board_.registers.StartTrace();
  audio_.ReleaseFromReset(false);
  EXPECT_EQ(ModulesInOrder(board_.registers.TakeTrace()), release);
  for (const std::string& line : Take(7)) {
    EXPECT_FALSE(line.starts_with("Resetting")) << line;
  }
  expectResets(0);

  Slots both = hold;
  Append(both, release);
  board_.registers.StartTrace();
  audio_.ResetAndRelease(false);
  EXPECT_EQ(ModulesInOrder(board_.registers.TakeTrace()), both);
  std::vector<std::string> lines = Take(7);
  lines.resize(std::min(lines.size(), resetting.size()));  // the delay lines' setup follows
  EXPECT_EQ(lines, resetting);
  expectResets(0);
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
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("route_pairs_via_nonsrc"),
            1U << 3);
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(2, 6), 5);  // moved to the way around the converter
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(2, 7), 5);
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(2, 5), 1);
  for (std::size_t e = 0; e < 4; ++e) {
    AudioType type{};
    std::uint16_t line = 0;
    audio_.GetEmbedderAtIndex(e).GetPairNonPcmInfo(3, &type, &line);
    EXPECT_EQ(type, AudioType::DolbyE) << e;
    EXPECT_EQ(board_.Core<sim::AudioEmbedderModel>("emb_#", e).Get("nonPcmSelect"), 0b11U << 6)
        << e;
  }
  EXPECT_EQ(board_.Core<sim::FieldModel>("out_aud_aes_tx").Get("perChannelNonPcm"), 0b11U << 6);
  EXPECT_EQ(seenByEmbedders.size(), 4U);
  ASSERT_EQ(seenByMadi.size(), 4U);
  EXPECT_EQ(seenByMadi.back()[3][3], AudioType::DolbyE);
  const std::vector<std::string> info = Take(6);
  EXPECT_EQ(
      std::count(info.begin(), info.end(), "Embedder audio type changed to audio type NON-PCM"), 4);
  EXPECT_EQ(board_.Core<sim::MadiModel>("out_aud_madi_rx").Get("nonPcmChannels1To32"),
            0b11U << 22 | 0b11U << 6);
  EXPECT_EQ(board_.Core<sim::MadiModel>("out_aud_madi_rx").Get("nonPcmChannels33To64"),
            0b11U << 22 | 0b11U << 6);
  EXPECT_TRUE(board_.Core<sim::AudioMixerModel>("out_aud_mixer")
                  .AwaitCoeff((2 * 16 + 6) * 16, Passed(5, 6)));

  audio_.GetInputAudioPathFacadeAtIndex(1)->GetDeembedder().UpdatePairTypes();  // nothing new
  EXPECT_EQ(seenByEmbedders.size(), 4U);

  Plug(1, 3, {});
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("route_pairs_via_nonsrc"),
            0U);
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(2, 6), 1);
  EXPECT_EQ(board_.Core<sim::AudioEmbedderModel>("emb_0").Get("nonPcmSelect"), 0U);
  EXPECT_EQ(board_.Core<sim::FieldModel>("out_aud_aes_tx").Get("perChannelNonPcm"), 0U);
  EXPECT_EQ(seenByEmbedders.size(), 8U);
}

TEST_F(AudioPath, FollowsTheAesLinesThatAreInputs) {
  BringUp();
  RouteAllFrom(16);
  for (const std::uint32_t line : {0U, 7U}) {
    board_.Core<sim::AesRxModel>("out_aud_aes_rx").Plug(line, kDolbyE);
  }
  audio_.SetAes5To8Enable(false);
  EXPECT_EQ(board_.Core<sim::FieldModel>("out_aud").Word(8), 0b0110U);
  audio_.UnmaskAesRxIrq();
  board_.clock.Advance(std::chrono::seconds(3));  // what an unlock held back is over
  board_.Core<sim::AesRxModel>("out_aud_aes_rx").Plug(1, kDolbyE);
  audio_.HandleAesRxIrq();
  EXPECT_EQ(board_.Core<sim::AudioEmbedderModel>("emb_0").Get("nonPcmSelect"),
            0x000FU);  // lines 1 and 2
  audio_.SetAes5To8Enable(true);
  audio_.SetAes1To4Enable(false);
  board_.clock.Advance(std::chrono::seconds(3));
  board_.Core<sim::AesRxModel>("out_aud_aes_rx").Plug(1, {});
  audio_.HandleAesRxIrq();
  EXPECT_EQ(board_.Core<sim::AudioEmbedderModel>("emb_0").Get("nonPcmSelect"),
            0xC00FU);  // line 2 is no input any more
}

TEST_F(AudioPath, SetsAnInputUpForItsStandard) {
  BringUp();
  Slots stop;
  Append(stop, kHoldOfInput, 1);
  stop.push_back(13);  // the de-embedder is told that there is no signal
  Slots setUp = stop;  // or what it carries, and what is behind it is set up
  Append(setUp, std::array{29U, 33U});
  Append(setUp, kReleaseOfInput, 1);
  const struct {
    std::uint32_t link, standard;
    const char* name;
    Slots slots;
    std::uint32_t held, enabled;
  } reports[] = {
      {0, 0, "Unknown", {}, 0, 0},  // the standard that it has
      {2, kStandard, "1920x1080p 60 A", setUp, 0, 1},
      {1, kStandard, "1920x1080p 60 A", {}, 0, 1},
      {0, 18, "1920x1080p 23.98", setUp, 0, 1},
      {0, 0, "Unknown", stop, 1, 1},  // still enabled
      {0, 26, "Unknown", {}, 1, 1},   // no row: no signal either
      {0, 18, "1920x1080p 23.98", setUp, 0, 1},
      {0, 4'000'000'000U, "Unknown", stop, 1, 1},
      {0, 0, "Unknown", {}, 1, 1},
      {3, kStandard, "1920x1080p 60 A", setUp, 0, 1},
  };
  for (std::size_t i = 0; i < std::size(reports); ++i) {
    SCOPED_TRACE(i);
    const auto& report = reports[i];
    Take(6);
    board_.registers.StartTrace();
    input_->HandleInputVideoTypeChange(report.link, report.standard);
    EXPECT_EQ(ModulesInOrder(board_.registers.TakeTrace()), report.slots);
    const std::vector<std::string> lines = Take(6);
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.front(), "in_aud_1_control link " + std::to_string(report.link) + " is now \"" +
                                 report.name + "\"");
    EXPECT_EQ(lines.size() == 1, report.slots.empty());

    // Until the first standard comes, only the delay line and its converter are held.
    const std::uint32_t delayHeld = i == 0 ? 1 : report.held;
    EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("glbl_reset"),
              delayHeld);
    EXPECT_EQ(board_.Core<sim::AudioDelaySrcModel>("in_aud_1_audio_delay_src").Get("logic_reset"),
              delayHeld);
    EXPECT_EQ(board_.Core<sim::AudioMixerModel>("in_aud_1_mixer").Get("reset"), report.held);
    EXPECT_EQ(board_.Core<sim::AudioDeembedderModel>("in_aud_1_deemb").Get("reset"), report.held);
    EXPECT_EQ(board_.Core<sim::AudioInputClkGenModel>("in_aud_1_clk_gen").Get("reset"),
              report.held);
    EXPECT_EQ(board_.Core<sim::AudioPeakMeterModel>("in_aud_1_peak_meters").Get("reset"),
              report.held);
    EXPECT_EQ(board_.Core<sim::AudioDeembedderModel>("in_aud_1_deemb").Get("deembed_en"),
              report.enabled);
  }
}

TEST_F(AudioPath, FlapsAThousandTimesAndEndsWithTheLastEvent) {
  Run();
  std::array<int, 3> calls{};  // for the embedders, for MADI and for AES
  audio_.AddEmbedderAudioTypeCallback([&](const AudioTypeArray&) { ++calls[0]; });
  audio_.AddMadiTxAudioTypeCallback([&](const MadiAudioTypeArray&) { ++calls[1]; });
  audio_.AddAesTxAudioTypeCallback([&](const AudioTypeArray&) { ++calls[2]; });
  const auto flap = [&](int times) {
    board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay")
        .SetRestartTime(std::nullopt);  // a restart never ends
    for (int i = 0; i < times; ++i) {
      input_->HandleInputVideoTypeChange(0, i % 2 == 0 ? 0 : kStandard);
      Plug(1, 2, i % 3 == 0 ? kDolbyE : sim::AudioPair{});
    }
  };
  // The accesses with which a pair gets its signal and turns from PCM to data. The mixers are left
  // out: their threads program them at a time of their own.
  const auto accessesOfAChange = [&] {
    board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay")
        .SetRestartTime(std::chrono::microseconds(0));
    input_->HandleInputVideoTypeChange(0, 0);
    Plug(1, 2, kDolbyE);
    calls = {};
    board_.registers.StartTrace();
    input_->HandleInputVideoTypeChange(0, 18);
    input_->GetDeembedder().UpdatePairTypes();
    std::vector<sim::RegisterAccess> trace = board_.registers.TakeTrace();
    std::erase_if(trace, [](const sim::RegisterAccess& access) {
      const std::uint32_t slot = access.address / sim::RegisterFile::kSlotBytes;
      return (slot >= 20 && slot <= 23) || slot == 37;
    });
    EXPECT_EQ(calls, (std::array{4, 4, 1}));  // once for each link
    return trace;
  };

  flap(10);
  const std::vector<sim::RegisterAccess> early = accessesOfAChange();
  flap(1000);
  // The last event put the pair on its way and began a restart of it that still runs.
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("restart"), 0b11U << 4);
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("route_pairs_via_nonsrc"),
            1U << 2);
  EXPECT_EQ(board_.Core<sim::AudioEmbedderModel>("emb_3").Get("nonPcmSelect"), 0b11U << 4);
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(3, 4), 5);
  EXPECT_EQ(audio_.GetMixer(0)->GetLinkAtDest(3, 11), 1);
  EXPECT_EQ(accessesOfAChange(), early);  // no more than at first

  Plug(1, 5, kDolbyE);
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("route_pairs_via_nonsrc"),
            0b100100U);
  EXPECT_EQ(board_.Core<sim::AudioEmbedderModel>("emb_3").Get("nonPcmSelect"),
            0b11'00'00'11'00'00U);
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

  board_.Core<sim::AudioOutputClkGenModel>("out_aud_clk_gen").Set("irqStatus", 1);
  Take(6);
  board_.registers.StartTrace();
  audio_.HandleAudioOutputClkIrq();
  EXPECT_EQ(ModulesInOrder(board_.registers.TakeStores()),
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
  for (const std::uint32_t slot : ModulesInOrder(board_.registers.TakeTrace())) {
    EXPECT_EQ(slot, 54U);
  }

  Plug(1, 3, kDolbyE);
  const std::uint32_t ideal = GetVideoStandard(kStandard).auxLines;
  input_->GetDelayControl().SetChannelDelay(6, 20.0F);
  const std::uint32_t before =
      board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("per_ch_init_delay_6");
  board_.Core<sim::AudioEmbedderModel>("emb_2").SetBurstLine(3, ideal + 2);  // within tolerance
  update(2, 3, &type, &line);
  EXPECT_EQ(type, AudioType::DolbyE);
  EXPECT_EQ(line, ideal + 2);
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("per_ch_init_delay_6"),
            before);

  // 100 lines late of 1125 at 60 frames: 20 ms less 1.48 ms are 888.9 samples.
  board_.Core<sim::AudioEmbedderModel>("emb_2").SetBurstLine(3, ideal + 100);
  update(2, 3, &type, &line);
  EXPECT_EQ(before, 960U);
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("per_ch_init_delay_6"),
            888U);
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("per_ch_init_delay_7"),
            board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("per_ch_init_delay_6"));

  board_.Core<sim::AudioEmbedderModel>("emb_2").SetBurstLine(3, 4101);  // behind the frame's end
  update(2, 3, &type, &line);
  EXPECT_EQ(board_.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").Get("per_ch_init_delay_6"),
            888U);

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
  board_.Core<sim::AudioEmbedderModel>("emb_0").SetBurstLine(0, 500);
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
  board_.Core<sim::AudioPeakMeterModel>("in_aud_2_peak_meters").SetLevel(5, 8388607);
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
