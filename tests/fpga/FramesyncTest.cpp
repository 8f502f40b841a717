#include "modules/Framesync.h"

#include <sstream>

#include "sim/models/FramesyncModel.h"
#include "sim/models/RefDetectModel.h"
#include "support/CoreTest.h"
#include "video/VideoStandardTable.h"

namespace {

// A driver and its core, whose words hold garbage, with the core's own frame memory.
class FramesyncTest : public CoreTest<sim::FramesyncModel> {
 protected:
  using enum Framesync::LockMode;
  using enum Framesync::OutputMode;

  FramesyncTest() : CoreTest("framesync1") {
    FillWithGarbage();
    framesync.SetMemoryRegion(0x20000000, 0x20000000);
  }

  void Prepare(int format, int mode, int lock) {
    framesync.SetupFormat(static_cast<std::uint32_t>(format));
    framesync.SetupLockMode(static_cast<std::uint16_t>(mode), lock);
  }
  void LockTo(int format, int mode, int lock, int lines = 0) {
    Prepare(format, mode, lock);
    framesync.SetOutputOffset(static_cast<std::int16_t>(lines), 0.0F);
  }

  // What was logged since the last AccessesOf, each line with its severity in front.
  std::string Logged() const {
    std::string text;
    for (const sim::LogRecord& record : board.log.WithoutOrigins()) {
      text += (text.empty() ? "" : "\n") + std::to_string(record.severity) + " " + record.text;
    }
    return text;
  }
  Trace Align() {
    return AccessesOf([&] { framesync.SetOutputOffset(0, 0.0F); });
  }
  Trace Check() {
    return AccessesOf([&] { framesync.CheckAlignment(true); });
  }
  // What a check finds: '=' all well, '!' something off, 'x' nothing to check.
  char Verdict() {
    Check();
    return Logged().empty() ? 'x' : Logged().front() == '6' ? '!' : '=';
  }
  std::string Delay() {
    float milliseconds = 0;
    return framesync.CheckDelay(milliseconds);
  }
  void PlugReferences(int first, int second) {
    auto& references = board.Core<sim::RefDetectModel>("ref_detect");
    references.SetReference(sim::RefDetectModel::Input::kFirst, first);
    references.SetReference(sim::RefDetectModel::Input::kSecond, second);
  }

  FramesyncImpl framesync{name, base, 1};
};

TEST_F(FramesyncTest, ResetsAndBypassAreSingleWrites) {
  EXPECT_EQ(
      AccessesOf([&] {
        framesync.Reset();
        framesync.SetBypass(true);
        framesync.SetBypass(false);
      }),
      (Accesses{W("reset", 1), W("reset", 0), W("bypassFramesync", 1), W("bypassFramesync", 0)}));
  EXPECT_EQ(Logged(), "7 Hold In Reset\n7 Release From Reset");
}

TEST_F(FramesyncTest, SetupLoadsTheWholeImageInOrderOnce) {
  // clang-format off
  const Accesses image{
      W("reset", 1), W("loadRegs", 0), W("validLineNumber", 7), W("feSofResetSample", 800),
      W("beSofResetSample", 50), W("numBufs", 20), W("baseAddr", 0x800000), W("imgSize", 118528),
      W("maxPending", 1), W("readBurstNum", 463), W("writeBurstNum", 463), W("readBurstSize", 256),
      W("writeBurstSize", 256), W("readThreshold", 260), W("writeThreshold", 255),
      W("totalReadBurstNum", 463), W("totalWriteBurstNum", 463), W("readLastBurstSize", 15),
      W("writeLastBurstSize", 15), W("readStart", 0), W("writeStart", 1), W("frameDelay", 1),
      W("readEnable", 1), W("writeEnable", 1), W("packMode", 0), W("loadRegs", 1),
      W("videoType", 10), W("patternVideoType", 10), W("reset", 0)};
  // clang-format on
  const auto setUp = [&] {
    framesync.SetMemoryRegion(0x20000000, 0x20000000);
    for (const std::uint32_t id : {15U, 15U, 0U, 26U, 33U, 180U, 0x8000000FU, 0xFFFFFFFFU, 15U}) {
      framesync.SetupFormat(id);
    }
  };
  EXPECT_EQ(AccessesOf(setUp), image);
  EXPECT_EQ(Logged(),
            "6 Setting up framesync1 for input video 1920x1080i 50\n7 Total samples is 2957160, "
            "memory_line_size is 118287, memory burst num is 463, memory leftover burst size is 15"
            "\n7 Set numBufs to 20\n7 FPGA Video type set to 10");
}

// The core finds the frames of each broadcast format in its memory, and the output on its input.
TEST_F(FramesyncTest, EveryFormatGoesThroughTheStore) {
  for (const VideoStandardRow& row : kVideoStandards) {
    if (row.id >= 5) {
      board.Plug(1, sim::SignalOf(row.id));
      LockTo(row.id, kLockToInput, row.id);
      EXPECT_EQ(Verdict(), '=') << row.id;
      EXPECT_TRUE(Delay().ends_with("/ 1 frames 0 lines")) << row.id << " " << Delay();
      EXPECT_EQ(core.Get("patternVideoType"), core.Get("videoType")) << row.id;
    }
  }
}

TEST_F(FramesyncTest, MemoryBaseIsRoundedUpTo16KiB) {
  const std::uint32_t cases[][2] = {
      {0x4000, 256}, {0x4040, 512}, {0x2000, 256},           {0x3F, 0},
      {0x603F, 512}, {0xC03F, 768}, {0x60000000, 0x1800000}, {0xFFFFBFC0, 0x3FFFF00}};
  std::uint32_t id = 5;
  for (const auto& [bytes, units] : cases) {
    framesync.SetMemoryRegion(bytes, 0x20000000);
    framesync.SetupFormat(id++);
    EXPECT_EQ(core.Get("baseAddr"), units) << std::hex << bytes;
  }
}

TEST_F(FramesyncTest, DelayStaysInsideTheRing) {
  EXPECT_EQ(AccessesOf([&] { framesync.SetFrameDelay(1); }), Accesses{W("frameDelay", 0)});
  framesync.SetFrameDelay(3);
  framesync.SetupFormat(15);
  EXPECT_EQ(core.Get("frameDelay"), 3U);
  framesync.SetFrameDelay(100);
  EXPECT_EQ(core.Get("frameDelay"), 19U);
}

TEST_F(FramesyncTest, LockModes) {
  EXPECT_EQ(AccessesOf([&] { framesync.SetupLockMode(4, 0); }), Accesses{});  // where it starts
  const std::uint16_t modes[] = {
      kLockToFirstReference, kLockToSecondReference, kLockToInput, kFreeRun, kNoLock, 0xFFFF};
  const std::uint32_t fields[][5] = {{0, 0, 0, 1, 0}, {0, 0, 0, 1, 1}, {0, 0, 1, 0, 0},
                                     {1, 1, 0, 0, 0}, {0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}};
  for (std::size_t i = 0; i < 6; ++i) {
    const auto& [freeRun, alignGen, toInput, toRef, second] = fields[i];
    EXPECT_EQ(
        AccessesOf([&] {
          framesync.SetupLockMode(modes[i], 15);
          framesync.SetupLockMode(modes[i], 15);
        }),
        (Accesses{W("freeRunCsr", freeRun), W("refAlignGen", alignGen), W("lockToInput", toInput),
                  W("lockToRef", toRef), W("refSelect", second), W("LockSelect", 1)}));
    EXPECT_EQ(Logged(), "6 Lock Mode Changed");
  }
  EXPECT_NE(AccessesOf([&] { framesync.SetupLockMode(0xFFFF, -1); }), Accesses{});
}

TEST_F(FramesyncTest, OutputModes) {
  const std::uint16_t modes[] = {kShowVideo, kShowFlatField, kShowFrozen, kShowPattern, kShowSnow};
  // Pattern, flat field, snow, freeze, which some leave as it was: 2.
  const std::uint32_t fields[][4] = {
      {0, 0, 0, 0}, {1, 1, 0, 2}, {0, 0, 0, 1}, {1, 0, 0, 2}, {1, 0, 1, 2}};
  const auto show = [&](std::uint16_t force, std::uint16_t backup) {
    return AccessesOf([&] { framesync.SetupOutputMode(force, backup); });
  };
  for (std::size_t i = 0; i < 5; ++i) {
    const auto& [pattern, flat, snow, freeze] = fields[i];
    const auto& backup = fields[(i + 1) % 5];
    Accesses writes{W("forcePattGen", pattern), W("forceFlatField", flat), W("forceSnow", snow)};
    if (freeze != 2) {
      writes.push_back(W("forceFreeze", freeze));
    }
    writes.insert(writes.end(), {W("forceVideoType", 0), W("backupPattGen", backup[0]),
                                 W("backupFlatField", backup[1]), W("backupSnow", backup[2])});
    EXPECT_EQ(show(modes[i], modes[(i + 1) % 5]), writes) << i;
    EXPECT_EQ(Logged(), "6 Output Mode Changed");
  }
  EXPECT_EQ(show(5, 5), Accesses{W("forceVideoType", 0)});
}

TEST_F(FramesyncTest, FlatColours) {
  const std::uint32_t colours[][3] = {{64, 512, 512},  {512, 512, 512}, {959, 512, 512},
                                      {250, 409, 959}, {877, 64, 553},  {127, 960, 471},
                                      {691, 167, 105}};
  std::uint16_t index = 0;
  const auto set = [&] { framesync.SetFlatFieldColour(index); };
  for (const auto& [y, cb, cr] : colours) {
    EXPECT_EQ(AccessesOf(set), (Accesses{W("yVal", y), W("cbVal", cb), W("crVal", cr),
                                         W("yVal2", y), W("cbVal2", cb), W("crVal2", cr)}));
    ++index;
  }
  EXPECT_EQ(AccessesOf(set), Accesses{});
}

TEST_F(FramesyncTest, NewReferenceAlignmentResetsTheOutput) {
  std::string calls;
  framesync.RegisterOutputResetCallback(
      [&] { calls += core.Get("resetOutputRequest") == 0 ? 'a' : '!'; });
  framesync.RegisterOutputResetCallback(nullptr);
  framesync.RegisterOutputResetCallback([&] { calls += 'b'; });
  Prepare(15, 1, 15);
  EXPECT_FALSE(framesync.IsLockCompatible());
  EXPECT_EQ(Align(), (Accesses{W("videoSkipPulse", 0), W("refSkipPulse", 0), W("refIsP", 0),
                               W("refDelay", 14658), W("resetOutputRequest", 1),
                               W("resetOutputRequest", 0)}));
  EXPECT_EQ(Logged(), "");
  EXPECT_TRUE(framesync.IsLockCompatible());
  // The same alignment is not written again, even if the core has lost it.
  core.Set("refDelay", 1);
  EXPECT_EQ(Align(), (Accesses{W("videoSkipPulse", 0), W("refSkipPulse", 0), W("refIsP", 0)}));
  EXPECT_EQ(calls, "ab");
  framesync.SetOutputOffset(-2, 100.0F);
  EXPECT_EQ(core.Get("refDelay"), 14658U - 5280 + 7425);
  EXPECT_EQ(calls, "abab");
}

// The output's start, less 54, and the lock signal's sync on the output's clock: towards zero, half
// a line of a segmented one (37), none of an SD input.
TEST_F(FramesyncTest, AlignmentsOfPairs) {
  const int cases[][5] = {{16, 0, 5, 0, 13392 - 54 - 2065},  {40, 1, 24, 0, 13392 - 54 - 4400},
                          {13, 0, 13, 0, 10160 - 54 - 1650}, {37, 0, 37, 0, 13392 - 54 - 1100},
                          {6, 0, 6, -10, 1080000 - 270},     {5, 2, 5, 0, 10784 - 54},
                          {16, 2, 5, 0, 13392 - 54},         {5, 2, 40, 0, 10784 - 54 - 2437},
                          {5, 2, 16, 0, 10784 - 54 - 4874}};
  for (const auto& [format, mode, lock, lines, alignment] : cases) {
    LockTo(format, mode, lock, lines);
    const std::uint32_t written = mode == 2 ? core.Get("startSampleNumber") : core.Get("refDelay");
    EXPECT_EQ(written, static_cast<std::uint32_t>(alignment)) << format << " to " << lock;
  }
}

// 1080 lines at 23.98, 24, 25, 29.97, 30, 50, 59.94 and 60 frames on references of the same rates,
// then on interlaced ones of 25, 29.97 and 30: those that are let through are aligned if their
// frames can fall together with the output's at all.
TEST_F(FramesyncTest, FollowsReferencesWhoseFramesFallTogether) {
  const std::pair<int, const char*> outputs[] = {
      {18, "=xx=xx=xx=x"}, {19, "x=!x=!x=!x="}, {20, "x!=xx=xx=xx"}, {24, "=xx=xx=xx=x"},
      {25, "x=xx=xx=xx="}, {39, "x!=xx=xx=xx"}, {40, "=xx=xx=xx=x"}, {41, "x=xx=xx=xx="}};
  for (const auto& [output, expected] : outputs) {
    std::string found;
    for (const int lock : {18, 19, 20, 24, 25, 39, 40, 41, 15, 16, 17}) {
      const int mode = lock % 2;
      PlugReferences(mode == 0 ? lock : 0, mode == 0 ? 0 : lock);
      LockTo(output, mode, lock);
      found += Verdict();
    }
    EXPECT_EQ(found, expected) << output;
  }
}

TEST_F(FramesyncTest, WrongSetupsAndMissingSignalsShow) {
  BitfieldManager& fields = framesync;
  board.Plug(1, sim::SignalOf(39));
  PlugReferences(0, 39);
  LockTo(39, kLockToSecondReference, 39);
  std::istringstream wrong(
      "LockSelect 0 freeRunCsr 1 refAlignGen 1 lockToInput 1 lockToRef 0 refSelect 0 "
      "videoSkipPulse 1 refSkipPulse 1 refIsP 0 baseAddr 8388672 baseAddr 16777216 imgSize 118272 "
      "imgSize 118529 packMode 1 videoType 17 numBufs 1 frameDelay 20 readEnable 0 writeEnable 0 "
      "readBurstNum 462 readBurstSize 255 totalReadBurstNum 462 readLastBurstSize 91 "
      "writeBurstNum 462 writeBurstSize 255 totalWriteBurstNum 462 writeLastBurstSize 91");
  bool ofStore = false;
  std::string field;
  for (std::uint32_t value = 0; wrong >> field >> value;) {
    SCOPED_TRACE(field);
    ofStore = ofStore || field == "baseAddr";
    const std::uint32_t right = fields.ReadBitfield(field);
    for (const auto& [held, verdict] : {std::pair{value, '!'}, {right, '='}}) {
      fields.WriteBitfield(field, held);
      fields.WriteBitfield("loadRegs", 0);
      fields.WriteBitfield("loadRegs", 1);
      EXPECT_EQ(Verdict(), verdict);
      EXPECT_EQ(Delay().find("/ 0 frames") != std::string::npos, ofStore && verdict == '!');
    }
  }
  PlugReferences(39, 0);
  EXPECT_EQ(Verdict(), '!');
  PlugReferences(0, 39);
  board.Plug(1, {});
  EXPECT_EQ(Verdict(), '=');  // with a picture of its own
  EXPECT_TRUE(Delay().ends_with("/ 0 frames 1118 lines"));
  LockTo(39, kLockToInput, 39);
  for (const auto& [input, verdict] : {std::pair{0, '!'}, {41, '!'}, {39, '='}}) {
    board.Plug(1, sim::SignalOf(input));
    EXPECT_EQ(Verdict(), verdict) << input;
    for (int look = 0; look < 29; ++look) {
      framesync.IsOutputSettled();
    }
    EXPECT_EQ(framesync.IsOutputSettled(), verdict == '=');
  }
}

TEST_F(FramesyncTest, IncompatibleOrNoLockClearsTheOffsetWithoutAReset) {
  framesync.SetupLockMode(0, 15);
  EXPECT_EQ(Align(), Accesses{W("refDelay", 0)});  // nothing is set up
  Prepare(20, 2, -7);
  EXPECT_EQ(Align(), Accesses{W("startSampleNumber", 0)});
  for (const auto& [mode, field] : {std::pair{0, "refDelay"}, {2, "startSampleNumber"}}) {
    LockTo(20, mode, 20);
    Prepare(20, mode, 25);
    EXPECT_EQ(Align(), (Accesses{W("refIsP", 1), W(field, 0)}));
    EXPECT_FALSE(framesync.IsLockCompatible());
    EXPECT_EQ(Check(), Accesses{});
    EXPECT_EQ(Logged(), "");
    Prepare(20, mode, 20);
    EXPECT_EQ(Align().size(), 12U);  // the stored alignment went to 0 as well: here, it is new
  }
  for (const int mode : {3, 4, 9}) {
    Prepare(20, mode, 20);
    EXPECT_EQ(Align(), Accesses{});
    EXPECT_EQ(Check(), Accesses{});
  }
}

TEST_F(FramesyncTest, ReferenceCheckRepairsWhatHasDrifted) {
  PlugReferences(24, 0);
  LockTo(40, 0, 24);  // two output frames to one of the reference
  EXPECT_EQ(AccessesOf([&] { framesync.CheckAlignment(false); }), Accesses{});
  core.DriftOutput(-15);
  core.StretchLockFrames(16);
  EXPECT_EQ(Check(), (Accesses{R("debugRefInterval", 4950016), R("refReportDelay", 8973)}));
  const std::string ok = "7 Reference alignment is OK: alignment set to 8938, reported is 8923";
  EXPECT_EQ(Logged(), ok);
  core.StretchLockFrames(-16);
  EXPECT_EQ(Verdict(), '=');
  // An interval that is off is told and no more.
  for (const auto& [stretch, interval] : {std::pair{17, "4950017"}, {-17, "4949983"}}) {
    core.StretchLockFrames(stretch);
    EXPECT_EQ(Check().size(), 2U);
    EXPECT_EQ(Logged(), std::string("6 Reference interval was ") + interval +
                            ", which is outside of the allowed range\n" + ok);
  }
  core.StretchLockFrames(0);
  core.DriftOutput(16);
  EXPECT_EQ(Check(), (Accesses{R("debugRefInterval", 4950000), R("refReportDelay", 9004),
                               W("resetOutputRequest", 1), W("resetOutputRequest", 0)}));
  EXPECT_EQ(Logged(),
            "6 Reference alignment is off, resetting: alignment set to 8938, reported is 8954");
  EXPECT_EQ(Verdict(), '=');  // the reset took the drift away

  core.Set("reset", 1);  // the model's reports stand still; they are signed
  core.Set("debugRefInterval", 0xFFFFFFFF);
  core.Set("refReportDelay", 0xFFFFFFFF);
  Check();
  EXPECT_EQ(Logged(),
            "6 Reference interval was -1, which is outside of the allowed range\n6 Reference "
            "alignment is off, resetting: alignment set to 8938, reported is 2474949");
}

TEST_F(FramesyncTest, InputAlignmentTellsItsStepsAndIsChecked) {
  Prepare(39, 2, 39);
  EXPECT_EQ(Align(), (Accesses{W("videoSkipPulse", 0), W("refSkipPulse", 0), W("refIsP", 1),
                               W("startSampleNumber", 2969946), W("resetOutputRequest", 1),
                               W("resetOutputRequest", 0)}));
  EXPECT_EQ(Logged(),
            "6 Lock Video Format Is 1920x1080p 50 A, FS Video Format Is 1920x1080p 50 A\n"
            "7 lockVideoFvToSyncLockVideoSampes is -16032\n"
            "7 lockVideoFvToSyncFsVideoSamples is -16032\n"
            "7 videoSyncToStartSampleOffset is 16032\n7 lockToInputAlignStart is -54");
  // Counted around the frame.
  board.Plug(1, sim::SignalOf(39));
  framesync.SetOutputOffset(1125, 0.364F);  // a frame and 54 samples: exactly the frame's length
  core.DriftOutput(15);
  EXPECT_EQ(Check(), Accesses{R("inputReportDelay", 65)});
  EXPECT_EQ(Logged(),
            "7 Framesync 1: Lock to input alignment is OK: alignment set to 2970000, reported is "
            "15");
  core.DriftOutput(-65);  // reports less than what it counts too far
  EXPECT_EQ(Check().size(), 5U);
  EXPECT_EQ(Logged(),
            "6 Framesync 1: Lock to input alignment is off, resetting: alignment set to 2970000, "
            "reported is 2969935");
}

TEST_F(FramesyncTest, DelayIsMeasuredAndDescribed) {
  core.Set("readWriteBufCheck", 3U << 23 | 1);  // one buffer before a set-up: -2 frames
  EXPECT_EQ(Delay(), "-33.33 ms   Framesync: -33.33 ms / -2 frames 0 lines");
  EXPECT_EQ(board.log.Messages(4)[0],
            "framesync1: Reader caught up to the Writer!, reg was 0x01800001");
  EXPECT_EQ(board.log.Messages(7)[0],
            "write_line 1 read_line 1 line_delta 0 write_buf 0 read_buf 3 buf_delta 4294967294");
  board.Plug(1, sim::SignalOf(39));
  framesync.SetFrameDelay(2);
  framesync.SetupFormat(39);
  framesync.SetExternalDelay(0.5F);
  core.SetInputPhase(93);
  float milliseconds = 0;
  const auto measure = [&] {
    EXPECT_EQ(framesync.CheckDelay(milliseconds),
              "42.15 ms   Framesync: 41.65 ms / 2 frames 93 lines");
  };
  EXPECT_EQ(AccessesOf(measure), Accesses{R("readWriteBufCheck", 2U << 14 | 100)});
  EXPECT_EQ(milliseconds, 0x1.4d3a06p+5F);
  const std::string start =
      "7 write_line 100 read_line 7 line_delta 93 write_buf 2 read_buf 0 buf_delta 2";
  EXPECT_EQ(Logged(), start + "\n" + start + " time_delay_fs_only 41.653332");
}

TEST_F(FramesyncTest, FrameCountersAreReadThenCleared) {
  core.Set("clrBadFrameCounter", 0);
  core.CountFrames(7, 3, 1);
  std::uint32_t dup = 0;
  std::uint32_t drop = 0;
  const auto read = [&] { framesync.ReadAndClearFrameCounters(dup, drop); };
  EXPECT_EQ(AccessesOf(read), (Accesses{R("dupFrameAcc", 3), W("clrDupFrameCounter", 1),
                                        W("clrDupFrameCounter", 0), R("dropFrameAcc", 7),
                                        W("clrDropFrameCounter", 1), W("clrDropFrameCounter", 0)}));
  EXPECT_EQ(std::pair(dup, drop), std::pair(3U, 7U));
  read();
  EXPECT_EQ(dup + drop, 0U);
  EXPECT_EQ(core.Get("badFrameAcc"), 1U);
}

TEST_F(FramesyncTest, SettledFromTheSeventeenthReadingOn) {
  const auto look = [&](std::uint32_t in, std::uint32_t out) {
    core.Set("vidInCeCounter", in);
    core.Set("vidOutCeCounter", out);
    return framesync.IsOutputSettled();
  };
  EXPECT_EQ(AccessesOf([&] { look(100, 102); }),
            (Accesses{R("vidInCeCounter", 100), R("vidOutCeCounter", 102)}));
  for (const std::uint32_t away : {102U, 0x80000000U}) {
    for (int i = 0; i < 16; ++i) {
      EXPECT_FALSE(look(100, 101)) << i;
    }
    EXPECT_TRUE(look(101, 100));
    EXPECT_TRUE(look(0xFFFFFFFF, 0));  // around the end of the counters
    EXPECT_FALSE(look(away, 100));
  }
}

}  // namespace
