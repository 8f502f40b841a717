#include <stdexcept>

#include "audio/AudioPathFacadeImpl.h"
#include "sim/FieldModel.h"
#include "sim/models/AesRxModel.h"
#include "sim/models/AudioDeembedderModel.h"
#include "sim/models/AudioDelayModel.h"
#include "sim/models/AudioEmbedderModel.h"
#include "sim/models/AudioMixerModel.h"
#include "support/CoreTest.h"
#include "video/Video.h"

namespace {

using AudioType = AudioChannelInfo::AudioType;
using Lines = std::vector<std::string>;
using Slots = std::vector<std::uint32_t>;

constexpr sim::AudioPair kDolbyE{.burstType = 28, .line = 11};
constexpr std::uint32_t kStandard = 41;  // 1920x1080p 60

class AudioPath : public CoreTest<sim::FieldModel> {
 protected:
  AudioPath() : CoreTest("out_aud", kLogInfo) { board.clock.TakeOver(); }

  void BringUp() {
    audio.Initialize();
    for (std::size_t i = 0; i < 4; ++i) {
      audio.GetInputAudioPathFacadeAtIndex(i)->GetDelay()._InitializeDramAndCsr(0, 0x1000000);
    }
  }

  // Every output link's channels from those of one source link.
  void RouteAllFrom(unsigned sourceLink) {
    for (std::uint8_t i = 0; i < 13 * 16; ++i) {
      const auto source = static_cast<std::uint16_t>(sourceLink << 4 | i % 16U);
      audio.GetMixer(0)->UpdateSourceControl(i / 16, i % 16, {.srcIndex = source});
    }
  }

  // Sets a pair of input 1 and lets the graph see it.
  void Plug(std::size_t pair, const sim::AudioPair& carried) {
    board.Core<sim::AudioDeembedderModel>("in_aud_1_deemb").Plug(pair, carried);
    input->GetDeembedder().UpdatePairTypes();
  }

  // Input 1 runs, its channels pass straight through its mixer and to all outputs.
  void Run() {
    BringUp();
    audio.GetMixer(2)->UpdateSourceControl(0, 0, {});
    RouteAllFrom(1);
    input->HandleInputVideoTypeChange(0, kStandard);
    for (std::size_t embedder = 0; embedder < 4; ++embedder) {
      audio.GetEmbedderAtIndex(embedder).OnVideoTypeChange(0, kStandard);
    }
    // From here on the mixers' threads rest: the last route of each is heard.
    ASSERT_TRUE(board.Core<sim::AudioMixerModel>("in_aud_1_mixer").AwaitCoeff(240, 0xF'010000));
    ASSERT_TRUE(board.Core<sim::AudioMixerModel>("out_aud_mixer").AwaitCoeff(3312, 0x1F'010000));
  }

  // The log's lines that hold a text: the mixers' threads log theirs when they get to it.
  Lines Logged(int severity, std::string_view text) {
    Lines lines = board.log.Messages(severity);
    std::erase_if(lines, [text](const auto& line) { return line.find(text) == line.npos; });
    return lines;
  }

  std::uint32_t Get(std::string_view module, std::string_view field) {
    return board.Core<sim::FieldModel>(module).Get(field);
  }
  std::uint32_t OfDelay(std::string_view field) { return Get("in_aud_1_audio_delay", field); }

  // Which cores of an input, and its embedder, are held in reset: a digit each.
  std::string Held(std::size_t path) {
    constexpr const char* kResets[][2] = {{"in_aud_#_audio_delay", "glbl_reset"},
                                          {"in_aud_#_audio_delay_src", "logic_reset"},
                                          {"in_aud_#_mixer", "reset"},
                                          {"in_aud_#_deemb", "reset"},
                                          {"in_aud_#_clk_gen", "reset"},
                                          {"in_aud_#_peak_meters", "reset"},
                                          {"emb_#", "reset"}};
    std::string held;
    for (const auto& [module, field] : kResets) {
      held += std::to_string(board.Core<sim::FieldModel>(module, path).Get(field));
    }
    return held;
  }

  AudioPathFacadeImpl audio{name, base, 0, 0x100000, 11};
  InputAudioPathFacade* input = audio.GetInputAudioPathFacadeAtIndex(1);
};

TEST_F(AudioPath, ComesUpInOrder) {
  EXPECT_EQ(
      ModulesInOrder(AccessesOf([&] { audio.Initialize(); })),
      (Slots{// all held: the inputs, what runs on the output's clock, the AES receiver, embedders
             20, 12, 16, 28, 32, 43, 21, 13, 17, 29, 33, 44, 22, 14, 18, 30, 34, 45, 23, 15, 19, 31,
             35, 46, 37, 36, 40, 41, 52, 53, 54, 55,
             // all released
             16, 20, 12, 28, 32, 43, 17, 21, 13, 29, 33, 44, 18, 22, 14, 30, 34, 45, 19, 23, 15, 31,
             35, 46, 37, 36, 40, 41, 52, 53, 54, 55,
             // each input anew, left with its delay line in reset
             20, 12, 16, 28, 32, 43, 16, 20, 12, 28, 32, 43, 20, 28, 43, 28, 32,  //
             21, 13, 17, 29, 33, 44, 17, 21, 13, 29, 33, 44, 21, 29, 44, 29, 33,  //
             22, 14, 18, 30, 34, 45, 18, 22, 14, 30, 34, 45, 22, 30, 45, 30, 34,  //
             23, 15, 19, 31, 35, 46, 19, 23, 15, 31, 35, 46, 23, 31, 46, 31, 35,  //
             37, 47, 38, 42, 11}));
  // Each input finds no memory for its delay line twice: when all is reset, and when it is set up.
  EXPECT_EQ(board.log.Messages(3),
            Lines(8, "Attempt to setup audio delay line before DRAM space was allocated to it"));
  const std::string anInput = "INPUT AUDIO PATH INITIALIZE";
  EXPECT_EQ(Logged(6, "INITIALIZE"),
            (Lines{anInput, anInput, anInput, anInput, "AUDIO PATH INITIALIZE"}));
  EXPECT_EQ(Logged(6, "Finished"), Lines{"Finished Audio Path Facade Initialize"});
  for (std::size_t path = 0; path < 4; ++path) {
    EXPECT_EQ(Held(path), "1100000");
  }
  EXPECT_EQ(core.Word(8), 0b1010U);  // all AES lines are inputs
}

TEST_F(AudioPath, LeavesTheMainMixerAndClocksAloneUnlessAllIsReset) {
  BringUp();
  SetLogLevel(kLogDebug);
  const Slots hold{20, 12, 16, 28, 32, 43, 21, 13, 17, 29, 33, 44, 22, 14, 18,
                   30, 34, 45, 23, 15, 19, 31, 35, 46, 41, 52, 53, 54, 55};
  Slots both = hold;
  both.insert(both.end(), {16, 20, 12, 28, 32, 43, 17, 21, 13, 29, 33, 44, 18, 22, 14,
                           30, 34, 45, 19, 23, 15, 31, 35, 46, 41, 52, 53, 54, 55});
  EXPECT_EQ(ModulesInOrder(AccessesOf([&] { audio.HoldInReset(false); })), hold);
  EXPECT_EQ(Held(0) + Held(3), "11111111111111");
  EXPECT_EQ(Get("out_aud_aes_rx", "reset"), 1U);
  EXPECT_EQ(Logged(7, "Resetting"),
            (Lines{"Resetting out_aud_control", "Resetting in_aud_0_control",
                   "Resetting in_aud_1_control", "Resetting in_aud_2_control",
                   "Resetting in_aud_3_control"}));
  EXPECT_EQ(ModulesInOrder(AccessesOf([&] { audio.ResetAndRelease(false); })), both);
  EXPECT_EQ(Held(0) + Held(3), "00000000000000");
  EXPECT_EQ(Get("out_aud_aes_rx", "reset"), 0U);
}

TEST_F(AudioPath, CarriesATypeToEveryTransmitterAndBack) {
  Run();
  int changes = 0;
  MadiAudioTypeArray seen{};
  audio.AddEmbedderAudioTypeCallback({});
  audio.AddEmbedderAudioTypeCallback([&](const AudioTypeArray&) { ++changes; });
  audio.AddMadiTxAudioTypeCallback([&](const MadiAudioTypeArray& types) { seen = types; });
  Plug(3, kDolbyE);
  EXPECT_EQ(Logged(6, "Embedder"), Lines(4, "Embedder audio type changed to audio type NON-PCM"));
  EXPECT_EQ(OfDelay("route_pairs_via_nonsrc"), 1U << 3);
  const AudioMixerDriverControl& main = *audio.GetMixer(0);
  EXPECT_EQ(main.GetLinkAtDest(2, 6), 5);  // moved to the way around the converter
  EXPECT_EQ(main.GetLinkAtDest(2, 7), 5);
  EXPECT_EQ(main.GetLinkAtDest(2, 5), 1);
  for (const char* embedder : {"emb_0", "emb_1", "emb_2", "emb_3"}) {
    EXPECT_EQ(Get(embedder, "nonPcmSelect"), 0b11U << 6);
  }
  EXPECT_EQ(Get("out_aud_aes_tx", "perChannelNonPcm"), 0b11U << 6);
  EXPECT_EQ(Get("out_aud_madi_rx", "nonPcmChannels1To32"), 0b11U << 22 | 0b11U << 6);
  EXPECT_EQ(Get("out_aud_madi_rx", "nonPcmChannels33To64"), 0b11U << 22 | 0b11U << 6);
  EXPECT_EQ(seen[3][3], AudioType::DolbyE);
  EXPECT_TRUE(board.Core<sim::AudioMixerModel>("out_aud_mixer").AwaitCoeff(608, 0x56'010000));

  input->GetDeembedder().UpdatePairTypes();  // nothing new
  EXPECT_EQ(changes, 4);
  Plug(3, {});
  EXPECT_EQ(changes, 8);
  EXPECT_EQ(OfDelay("route_pairs_via_nonsrc"), 0U);
  EXPECT_EQ(main.GetLinkAtDest(2, 6), 1);
  EXPECT_EQ(Get("emb_0", "nonPcmSelect"), 0U);
  EXPECT_EQ(Get("out_aud_aes_tx", "perChannelNonPcm"), 0U);
}

TEST_F(AudioPath, FollowsTheAesLinesThatAreInputs) {
  BringUp();
  RouteAllFrom(16);
  auto& aes = board.Core<sim::AesRxModel>("out_aud_aes_rx");
  const auto plug = [&](std::uint32_t line, const sim::AudioPair& carried) {
    board.clock.Advance(std::chrono::seconds(3));  // what an unlock held back is over
    aes.Plug(line, carried);
    audio.HandleAesRxIrq();
    return Get("emb_0", "nonPcmSelect");
  };
  aes.Plug(0, kDolbyE);
  aes.Plug(7, kDolbyE);
  audio.SetAes5To8Enable(false);
  EXPECT_EQ(core.Word(8), 0b0110U);
  audio.UnmaskAesRxIrq();
  EXPECT_EQ(Get("out_aud_aes_rx", "irqMask"), 0U);
  EXPECT_EQ(plug(1, kDolbyE), 0x000FU);  // lines 1 and 2
  audio.SetAes5To8Enable(true);
  audio.SetAes1To4Enable(false);
  EXPECT_EQ(plug(1, {}), 0xC00FU);  // line 2 is no input any more
}

TEST_F(AudioPath, SetsAnInputUpForItsStandard) {
  BringUp();
  const Slots stop{21, 13, 17, 29, 33, 44, 13};
  const Slots setUp{21, 13, 17, 29, 33, 44, 13, 29, 33, 17, 21, 13, 29, 33, 44};
  const struct {
    std::uint32_t link, standard;
    const char* called;
    Slots slots;
    const char* held;
    std::uint32_t enabled;
  } reports[] = {{0, 0, "Unknown", {}, "1100000", 0},  // the standard that it has
                 {2, kStandard, "1920x1080p 60 A", setUp, "0000000", 1},
                 {1, kStandard, "1920x1080p 60 A", {}, "0000000", 1},
                 {0, 18, "1920x1080p 23.98", setUp, "0000000", 1},
                 {0, 0, "Unknown", stop, "1111110", 1},  // still enabled
                 {0, 26, "Unknown", {}, "1111110", 1},   // no row: no signal either
                 {0, 18, "1920x1080p 23.98", setUp, "0000000", 1},
                 {0, 4'000'000'000U, "Unknown", stop, "1111110", 1},
                 {3, kStandard, "1920x1080p 60 A", setUp, "0000000", 1}};
  for (const auto& report : reports) {
    SCOPED_TRACE(&report - reports);
    EXPECT_EQ(ModulesInOrder(AccessesOf(
                  [&] { input->HandleInputVideoTypeChange(report.link, report.standard); })),
              report.slots);
    EXPECT_EQ(Logged(6, "link"), Lines{FormatMessage("in_aud_1_control link %u is now \"%s\"",
                                                     report.link, report.called)});
    EXPECT_EQ(Held(1), report.held);
    EXPECT_EQ(Get("in_aud_1_deemb", "deembed_en"), report.enabled);
  }
}

TEST_F(AudioPath, FlapsAThousandTimesAndEndsWithTheLastEvent) {
  Run();
  board.Core<sim::AudioDelayModel>("in_aud_1_audio_delay").SetRestartTime(std::nullopt);
  std::array<Trace, 6> first;
  for (std::size_t i = 0; i < 1000; ++i) {
    Trace trace = AccessesOf([&] {
      input->HandleInputVideoTypeChange(0, i % 2 == 0 ? 0 : kStandard);
      Plug(2, i % 3 == 0 ? kDolbyE : sim::AudioPair{});
    });
    std::erase_if(trace, [](const sim::RegisterAccess& access) {
      return access.address >> 20 == 21 || access.address >> 20 == 37;  // mixers' threads
    });
    if (i >= 6 && i < 12) {
      first[i % 6] = trace;
    }
    EXPECT_EQ(trace.size(), i < 6 ? trace.size() : first[i % 6].size());  // no more and more
  }
  EXPECT_EQ(OfDelay("restart"), 0b11U << 4);  // still runs
  EXPECT_EQ(OfDelay("route_pairs_via_nonsrc"), 1U << 2);
  EXPECT_EQ(Get("emb_3", "nonPcmSelect"), 0b11U << 4);
  EXPECT_EQ(audio.GetMixer(0)->GetLinkAtDest(3, 4), 5);
  EXPECT_EQ(audio.GetMixer(0)->GetLinkAtDest(3, 11), 1);
}

TEST_F(AudioPath, AnswersAChangeOfTheOutputClock) {
  Run();
  int calls = 0;
  audio.AddAudioOutputClkIrqCallback({});
  audio.AddAudioOutputClkIrqCallback([&] { ++calls; });
  const auto answer = [&] { audio.HandleAudioOutputClkIrq(); };
  EXPECT_TRUE(StoresOf(answer).empty());  // nothing is pending
  EXPECT_EQ(calls, 0);
  board.Core<sim::FieldModel>("out_aud_clk_gen").Set("irqStatus", 1);
  EXPECT_EQ(ModulesInOrder(StoresOf(answer)), (Slots{36, 37, 29, 33, 52, 53, 54, 55, 42, 38}));
  EXPECT_EQ(calls, 1);
  EXPECT_EQ(Logged(6, "audioEmb"), Lines{"Resetting audioEmbedders due to clock IRQ"});
}

TEST_F(AudioPath, PutsADolbyEFrameBackOnItsLine) {
  Run();
  AudioType type{};
  std::uint16_t line = 0;
  std::uint8_t embedded = 7;
  const auto update = [&](std::size_t embedder, std::size_t pair) {
    audio.UpdateEmbedderNonPcmLineNum(embedder, pair, &type, &line, &embedded);
  };
  EXPECT_EQ(ModulesInOrder(AccessesOf([&] {
              audio.SetEmbedderGroupEnable(2, 1, 1);
              audio.SetEmbedderGroupEnable(4, 1, 1);  // there is no such embedder
              update(2, 3);
            })),
            Slots{54});
  EXPECT_EQ(embedded, 1);
  EXPECT_EQ(type, AudioType::Pcm);

  Plug(3, kDolbyE);
  input->GetDelayControl().SetChannelDelay(6, 20.0F);
  const std::uint32_t ideal = GetVideoStandard(kStandard).auxLines;
  // Within tolerance; 1.48 ms late, 100 lines of 1125 at 60 frames; past the frame's end.
  for (const auto& [at, samples] :
       {std::pair{ideal + 2, 960U}, {ideal + 100, 888U}, {4101U, 888U}}) {
    board.Core<sim::AudioEmbedderModel>("emb_2").SetBurstLine(3, at);
    update(2, 3);
    EXPECT_EQ(type, AudioType::DolbyE);
    EXPECT_EQ(line, at);
    EXPECT_EQ(OfDelay("per_ch_init_delay_6"), samples);
    EXPECT_EQ(OfDelay("per_ch_init_delay_7"), samples);
  }
  // A pair of which one channel comes from elsewhere is PCM there.
  audio.GetMixer(0)->UpdateSourceControl(2, 7, {.srcIndex = 0x020});
  update(2, 3);
  EXPECT_EQ(type, AudioType::Pcm);
  EXPECT_THROW(update(4, 3), std::out_of_range);

  // A pair that the graph knows nothing of can't be moved.
  audio.GetEmbedderAtIndex(0).OnAudioTypeChange({AudioType::DolbyE});
  board.Core<sim::AudioEmbedderModel>("emb_0").SetBurstLine(0, 500);
  for (const sim::RegisterAccess& store : StoresOf([&] { update(0, 0); })) {
    // The mixer's thread may still be at work.
    EXPECT_EQ(store.address / sim::RegisterFile::kSlotBytes, 37U) << ToText(store);
  }
  EXPECT_EQ(Logged(3, ""), Lines{"Trying to apply Dolby E alignment to invalid channels"});
}

TEST_F(AudioPath, FindsItsPartsByNumber) {
  BringUp();
  EXPECT_EQ(audio.GetMixer(5), audio.GetMixer(0));
  EXPECT_EQ(audio.GetMixer(-1), audio.GetMixer(0));
  EXPECT_EQ(audio.GetMixer(1), &audio.GetInputAudioPathFacadeAtIndex(0)->GetMixer());
  EXPECT_EQ(audio.GetMixer(4), &audio.GetInputAudioPathFacadeAtIndex(3)->GetMixer());
  EXPECT_EQ(audio.GetInputAudioPathFacadeAtIndex(4), audio.GetInputAudioPathFacadeAtIndex(0));
  EXPECT_EQ(
      Logged(4, "Returning"),
      Lines{"Trying to access input audio path that doesn't exist. Returning first audio path"});
  EXPECT_EQ(audio.GetEmbedderIrq(3), 55U);
  EXPECT_EQ(audio.GetAudioOutputClkIrq(), 36U);
  EXPECT_EQ(audio.GetAesRxIrq(), 41U);
  EXPECT_EQ(AccessesOf([&] {
              EXPECT_THROW(audio.GetEmbedderIrq(4), std::out_of_range);
              EXPECT_THROW(audio.HandleEmbedderIrq(4), std::out_of_range);
              EXPECT_THROW(audio.UnmaskEmbedderIrq(4), std::out_of_range);
            }),
            Accesses{});

  std::vector<std::int16_t> meters;
  EXPECT_EQ(ModulesInOrder(AccessesOf([&] {
              audio.UpdateMeters(3, meters);
              audio.UpdateMeters(5, meters);
              audio.UpdateMeters(1, meters);
              audio.UpdateMeters(0, meters);
              audio.UpdateMeters(4, meters);
            })),
            (Slots{45, 47, 43, 47, 46}));
}

}  // namespace
