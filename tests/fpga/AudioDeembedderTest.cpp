#include "controls/AudioDeembedderDriverControl.h"
#include "sim/models/AudioDeembedderModel.h"
#include "support/CoreTest.h"

namespace {

using Error = sim::AudioDeembedderModel::Error;
using Type = AudioChannelInfo::AudioType;

constexpr std::uint32_t k1080i50 = 15;
constexpr sim::AudioPair kDolbyE{.burstType = 28, .line = 9};
constexpr sim::AudioPair kAc3{.burstType = 1, .line = 9};

class AudioDeembedderTest : public CoreTest<sim::AudioDeembedderModel> {
 protected:
  AudioDeembedderTest() : CoreTest("in_aud_1_deemb") {}

  Texts Results() {
    Texts lines;
    deembedder.GetAvSyncResults(lines);
    return lines;
  }

  AudioDeembedderDriverControl control{name, base, 0, 13};
  AudioDeembedder& deembedder = control;
  const Accesses setup = Accesses{W("reset", 1)} + W("switch_line", 7) + W("fifo_auto_reset", 1) +
                         W("lines_to_wait", 10) + W("avSyncStripeWidthMinus1", 191) +
                         W("avSyncTestLineToSample", 100) + W("reset", 0) +
                         W("sampleErrorMask", 0) + W("deembed_en", 1);
};

TEST_F(AudioDeembedderTest, SetupGoesThroughReset) {
  FillWithGarbage();
  EXPECT_EQ(AccessesOf([&] { deembedder.ResetAndRelease(); }),
            (Accesses{W("reset", 1), W("reset", 0)}));
  EXPECT_EQ(AccessesOf([&] { deembedder.Setup(k1080i50); }), setup);
  for (const std::uint32_t none : {0U, 33U, 180U, 0xFFFFFFFFU}) {  // no standard has these
    EXPECT_EQ(AccessesOf([&] { deembedder.OnVideoTypeChange(7, none); }), Accesses{W("reset", 1)});
  }
  deembedder.OnVideoTypeChange(7, 5);
  EXPECT_EQ(core.Get("switch_line"), 10U);
  EXPECT_EQ(core.Get("avSyncStripeWidthMinus1"), 71U);
}

TEST_F(AudioDeembedderTest, TypeNeedsALineAndBothChannels) {
  const struct {
    std::uint32_t presence, line, dataType;
    Type type;
  } cases[] = {
      {3, 9, 28, Type::DolbyE},     {3, 1, 1, Type::Ac3},          {3, 4095, 16, Type::Eac3},
      {3, 9, 0, Type::OtherNonPcm}, {3, 9, 31, Type::OtherNonPcm}, {3, 0, 28, Type::Pcm},
      {2, 9, 28, Type::Pcm},        {1, 9, 28, Type::Pcm},         {0, 9, 28, Type::Pcm}};
  for (const auto& c : cases) {
    core.Set("audioStatus", 0xFFCF | c.presence << 4);
    core.Set("nonpcm_channel_pair_2_line", c.line);
    core.Set("nonpcm_channel_pair_2_type", c.dataType);
    EXPECT_EQ(deembedder.GetPairType(2), c.type);
    EXPECT_EQ(deembedder.IsPairPcm(2), c.type == Type::Pcm);
  }
  deembedder.Setup(k1080i50);
  core.Plug(7, kAc3);
  for (const std::uint8_t pair : std::array<std::uint8_t, 3>{7, 8, 255}) {
    EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(deembedder.GetPairType(pair), Type::Ac3); }),
              (Accesses{R("audioStatus", 0xC000), R("nonpcm_channel_pair_7_line", 9),
                        R("nonpcm_channel_pair_7_type", 1)}));
    EXPECT_EQ(board.log.Messages(7),
              Texts{"in_aud_1_deemb: Deembedder IRQ reported pair 7 as NON-PCM "
                    "line was 9 and type was 1"});
  }
}

TEST_F(AudioDeembedderTest, InterruptClearsLogsAndRestartsOnce) {
  const std::array flags{"fifoOverflow", "fifoUnderflow", "fifoEmpty", "fifoFull",
                         "alignment_err_saved"};
  const struct {
    std::array<std::uint32_t, 5> errors;
    std::uint32_t irq;
    bool restarts;
    Texts logged;
  } cases[] = {{{0, 0, 0xFFFF, 0, 0}, 0x0400, false, {}},
               {{0, 0, 0, 0x8001, 0}, 0x0800, false, {"in_aud_1_deemb FIFO full 0x8001"}},
               {{4, 0, 0, 0, 0}, 0x0100, true, {"in_aud_1_deemb FIFO overflow 0x4"}},
               {{0, 1, 0, 0, 0}, 0x0200, true, {"in_aud_1_deemb FIFO underflow 0x1"}},
               {{0, 0, 0, 0, 2}, 0x1000, true, {"in_aud_1_deemb alignment error"}},
               {{1, 0, 1, 0xC000, 3},
                0x1D00,
                true,
                {"in_aud_1_deemb FIFO overflow 0x1", "in_aud_1_deemb FIFO full 0xc000",
                 "in_aud_1_deemb alignment error"}}};
  for (const std::uint32_t standard : {k1080i50, 180U}) {  // which counts as 0
    deembedder.Setup(standard);
    for (const auto& c : cases) {
      Accesses expected{R("irqStatus", c.irq), W("irqClr", c.irq), W("irqClr", 0)};
      for (std::size_t e = 0; e < flags.size(); ++e) {
        core.Raise(static_cast<Error>(e), c.errors[e]);
        expected.push_back(R(flags[e], c.errors[e]));
        if (c.errors[e] != 0) {
          expected.push_back(W(flags[e], e < 4 ? 0xFFFF : 1));
        }
      }
      if (c.restarts) {
        expected = expected + (standard == k1080i50 ? setup : Accesses{W("reset", 1)});
      }
      EXPECT_EQ(AccessesOf([&] { EXPECT_TRUE(deembedder.HandleIrq()); }), expected);
      EXPECT_EQ(board.log.Messages(6), c.logged);
      EXPECT_EQ(board.log.Messages(7), std::vector{FormatMessage("Got IRQ with status %u", c.irq)});
    }
  }
  core.Raise(Error::kFull, 1);
  EXPECT_FALSE(LineIsRaised(13));
  EXPECT_EQ(AccessesOf([&] { deembedder.UnmaskIrq(); }), Accesses{W("irqMask", 0)});
  EXPECT_TRUE(LineIsRaised(deembedder.GetIrqNumber()));
  EXPECT_EQ(AccessesOf([&] { deembedder.MaskIrq(); }), Accesses{W("irqMask", 0x1FFF)});
}

TEST_F(AudioDeembedderTest, AlignmentTestIsReadOnceAndCleared) {
  Texts expected(16, "Audio test pattern not detected");
  core.SetTestResult(1, 30, 3, 300);
  EXPECT_EQ(Results(), expected);  // no standard yet
  deembedder.Setup(k1080i50);
  core.SetTestResult(0, 30, 3, 480);
  core.SetTestResult(1, 593, 4, 450);
  core.SetTestResult(14, 30, 2, 46);
  core.SetTestResult(15, 30, 3, 15);
  expected[0] = "Test Pattern Channel: 1 / Audio delay after video: 0.00 ms [3 30]";
  expected[1] = "Test Pattern Channel: 2 / Audio delay after video: 60.02 ms [4 593]";
  expected[14] = "Test Pattern Channel: 15 / Audio delay after video: -40.00 ms [2 30]";
  EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(Results(), expected); }).size(), 16U * 3 + 2 * 2);
  EXPECT_EQ(core.Get("avSyncClearResults"), 0U);
  EXPECT_EQ(Results(), std::vector(16, expected[15]));
  core.SetTestResult(0, 30, 3, 480);
  deembedder.Setup(0);  // the timing of the last standard stays
  EXPECT_EQ(Results()[0], expected[0]);
}

TEST_F(AudioDeembedderTest, FifoOfFramesIsAskedItsWholeDepth) {
  std::vector<std::uint16_t> frames{7};
  EXPECT_EQ(AccessesOf([&] { deembedder.ReadAvSyncFifo(frames); }),
            Accesses(256, R("avSyncFifoEmpty", 1)));
  Accesses expected;
  for (const std::uint16_t frame : std::array<std::uint16_t, 2>{3, 0xFFFF}) {
    core.PushTestFrame(frame);
    expected =
        expected + R("avSyncFifoEmpty", 0) + W("avSyncFifoRd", 1) + R("avSyncFifoFrameNum", frame);
  }
  EXPECT_EQ(AccessesOf([&] { deembedder.ReadAvSyncFifo(frames); }),
            expected + Accesses(254, R("avSyncFifoEmpty", 1)));
  EXPECT_EQ(frames, (std::vector<std::uint16_t>{7, 3, 0xFFFF}));
}

TEST_F(AudioDeembedderTest, TypesReachBothChannelsOfTheirPair) {
  std::vector<int> changed;  // channels, in order
  std::array<ChInfoPtr, 16> infos;
  for (std::uint8_t c = 0; c < 16; ++c) {
    infos[c] = std::make_shared<AudioChannelInfo>(Type::Pcm);
    infos[c]->AddCallback([&changed, c] { changed.push_back(c); }, nullptr);
    control.SetDestChInfo(c, c == 1 || c == 2 ? nullptr : infos[c]);
  }
  control.SetDestChInfo(16, nullptr);
  EXPECT_EQ(board.log.Messages(4), Texts{"Channel index is out of range"});
  core.Plug(0, kAc3);
  core.Plug(1, kDolbyE);
  core.Plug(2, kDolbyE);
  control.UpdatePairTypes();  // held in reset
  EXPECT_TRUE(changed.empty());
  control.OnVideoTypeChange(0, k1080i50);
  EXPECT_EQ(infos[4]->GetAudioType(), Type::DolbyE);
  std::string report;
  for (int pair = 0; pair < 8; ++pair) {  // as many present as there are channels
    report += FormatMessage("Pair %d is [%s] and reporting [%s]\n", pair,
                            pair < 6 ? "present" : "not present", pair < 3 ? "not PCM" : "PCM");
  }
  EXPECT_EQ(ReportOf(deembedder), report);
  control.HandleIrq();
  EXPECT_EQ(changed, (std::vector{4, 5}));
  core.Plug(2, {});
  core.Plug(7, {.burstType = 3, .line = 9});
  control.HandleIrq();
  EXPECT_EQ(changed, (std::vector{4, 5, 4, 5, 14, 15}));
  EXPECT_EQ(infos[4]->GetAudioType(), Type::Pcm);
  EXPECT_EQ(infos[15]->GetAudioType(), Type::OtherNonPcm);
  EXPECT_EQ(AccessesOf([&] { control.HandleIrq(); }), Accesses{R("irqStatus", 0)});
  control.OnVideoTypeChange(0, 0);
  EXPECT_EQ(changed.size(), 8U);
}

}  // namespace
