// What the output follows and shows, and how its alignment and delay are watched.

#include <array>
#include <optional>
#include <string>

#include "FramesyncFixture.h"

namespace {

using sim::LogRecord;

class FramesyncLockTest : public FramesyncFixture {
 protected:
  void LockTo(std::uint32_t format, std::uint16_t mode, std::int32_t lock) {
    framesync.SetupFormat(format);
    framesync.SetupLockMode(mode, lock);
  }
};

TEST_F(FramesyncLockTest, LockModes) {
  struct Case {
    std::uint16_t mode;
    std::uint32_t freeRun, alignGen, toInput, toRef, refSelect;
  };
  for (const Case c :
       {Case{0, 0, 0, 0, 1, 0}, Case{1, 0, 0, 0, 1, 1}, Case{2, 0, 0, 1, 0, 0},
        Case{3, 1, 1, 0, 0, 0}, Case{4, 0, 0, 0, 0, 0}, Case{0xFFFF, 0, 0, 0, 0, 0}}) {
    const auto writes = Writes({{"freeRunCsr", c.freeRun},
                                {"refAlignGen", c.alignGen},
                                {"lockToInput", c.toInput},
                                {"lockToRef", c.toRef},
                                {"refSelect", c.refSelect},
                                {"LockSelect", 1}});
    EXPECT_EQ(AccessesOf([&] { framesync.SetupLockMode(c.mode, 15); }), writes) << c.mode;
    EXPECT_EQ(board.log.WithoutOrigins(), (std::vector<LogRecord>{{6, "Lock Mode Changed"}}));
    EXPECT_TRUE(AccessesOf([&] { framesync.SetupLockMode(c.mode, 15); }).empty()) << c.mode;
    EXPECT_TRUE(board.log.All().empty());
  }
  EXPECT_FALSE(AccessesOf([&] { framesync.SetupLockMode(0xFFFF, -1); }).empty());
}

TEST_F(FramesyncLockTest, NoLockIsWhereItStarts) {
  EXPECT_TRUE(AccessesOf([&] { framesync.SetupLockMode(4, 0); }).empty());
}

TEST_F(FramesyncLockTest, OutputModes) {
  struct Case {
    std::uint16_t mode;
    std::uint32_t pattGen, flatField, snow;
    std::optional<std::uint32_t> freeze;
  };
  for (const Case c : {Case{2, 0, 0, 0, 1}, Case{3, 1, 0, 0, {}}, Case{1, 1, 1, 0, {}},
                       Case{4, 1, 0, 1, {}}, Case{0, 0, 0, 0, 0}}) {
    // Forced, with the same mode as the one for backup.
    std::vector<FieldWrite> fields{
        {"forcePattGen", c.pattGen}, {"forceFlatField", c.flatField}, {"forceSnow", c.snow}};
    if (c.freeze) {
      fields.push_back({"forceFreeze", *c.freeze});
    }
    fields.insert(fields.end(), {{"forceVideoType", 0},
                                 {"backupPattGen", c.pattGen},
                                 {"backupFlatField", c.flatField},
                                 {"backupSnow", c.snow}});
    const auto writes = Writes(fields);
    EXPECT_EQ(AccessesOf([&] { framesync.SetupOutputMode(c.mode, c.mode); }), writes) << c.mode;
    EXPECT_EQ(board.log.WithoutOrigins(), (std::vector<LogRecord>{{6, "Output Mode Changed"}}));
  }
  const auto writes = Writes({{"forceVideoType", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetupOutputMode(5, 5); }), writes);
}

TEST_F(FramesyncLockTest, FrozenPictureStaysUntilNormalVideo) {
  framesync.SetupOutputMode(2, 0);
  framesync.SetupOutputMode(3, 0);
  EXPECT_EQ(core.Get("forceFreeze"), 1U);
  EXPECT_EQ(core.Get("forcePattGen"), 1U);
  framesync.SetupOutputMode(0, 0);
  EXPECT_EQ(core.Get("forceFreeze"), 0U);
}

TEST_F(FramesyncLockTest, FlatColours) {
  const std::vector<std::array<std::uint32_t, 3>> colours{
      {64, 512, 512}, {512, 512, 512}, {959, 512, 512}, {250, 409, 959},
      {877, 64, 553}, {127, 960, 471}, {691, 167, 105}};
  std::uint16_t index = 0;
  for (const auto& [y, cb, cr] : colours) {
    const auto writes = Writes(
        {{"yVal", y}, {"cbVal", cb}, {"crVal", cr}, {"yVal2", y}, {"cbVal2", cb}, {"crVal2", cr}});
    EXPECT_EQ(AccessesOf([&] { framesync.SetFlatFieldColour(index); }), writes) << index;
    ++index;
  }
  EXPECT_TRUE(AccessesOf([&] { framesync.SetFlatFieldColour(7); }).empty());
}

TEST_F(FramesyncLockTest, NewReferenceAlignmentResetsTheOutput) {
  std::string calls;
  framesync.RegisterOutputResetCallback([&] {
    EXPECT_EQ(core.Get("resetOutputRequest"), 0U);
    calls += 'a';
  });
  framesync.RegisterOutputResetCallback(nullptr);
  framesync.RegisterOutputResetCallback([&] { calls += 'b'; });
  LockTo(15, 1, 15);
  EXPECT_FALSE(framesync.IsLockCompatible());

  const auto align = Writes({{"videoSkipPulse", 0},
                             {"refSkipPulse", 0},
                             {"refIsP", 0},
                             {"refDelay", 14658},
                             {"resetOutputRequest", 1},
                             {"resetOutputRequest", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetOutputOffset(0, 0.0F); }), align);
  EXPECT_TRUE(board.log.All().empty());
  EXPECT_EQ(calls, "ab");
  EXPECT_TRUE(framesync.IsLockCompatible());

  // The same alignment is not written again, even if the core has lost it.
  core.Set("refDelay", 1);
  const auto skips = Writes({{"videoSkipPulse", 0}, {"refSkipPulse", 0}, {"refIsP", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetOutputOffset(0, 0.0F); }), skips);
  EXPECT_EQ(calls, "ab");

  framesync.SetOutputOffset(-2, 100.0F);
  EXPECT_EQ(core.Get("refDelay"), 14658U - 5280 + 7425);
  EXPECT_EQ(calls, "abab");
}

TEST_F(FramesyncLockTest, InputAlignmentTellsItsSteps) {
  LockTo(39, 2, 39);
  const auto align = Writes({{"videoSkipPulse", 0},
                             {"refSkipPulse", 0},
                             {"refIsP", 1},
                             {"startSampleNumber", 2969946},
                             {"resetOutputRequest", 1},
                             {"resetOutputRequest", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetOutputOffset(0, 0.0F); }), align);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{
                {6, "Lock Video Format Is 1920x1080p 50 A, FS Video Format Is 1920x1080p 50 A"},
                {7, "lockVideoFvToSyncLockVideoSampes is -16032"},
                {7, "lockVideoFvToSyncFsVideoSamples is -16032"},
                {7, "videoSyncToStartSampleOffset is 16032"},
                {7, "lockToInputAlignStart is -54"}}));
}

TEST_F(FramesyncLockTest, AlignmentsOfPairs) {
  struct Case {
    std::uint32_t format;
    std::uint16_t mode;
    std::int32_t lock;
    std::int16_t lines;
    std::uint32_t alignment, videoSkip, refSkip;
  };
  for (const Case c : {
           Case{16, 0, 5, 0, 11273, 0, 0}, Case{40, 1, 24, 0, 8938, 1, 0},  // 13392 - 54 - 2200 x 2
           Case{5, 2, 40, 0, 8293, 0, 1},      // 10784 - 54 - 13392 x 0.182
           Case{5, 2, 16, 0, 5856, 0, 0},      // 10784 - 54 - 13392 x 0.364
           Case{16, 2, 5, 0, 13338, 0, 0},     // an SD input counts from its sync
           Case{6, 0, 6, -10, 1079730, 0, 0},  // two frames - 270
       }) {
    LockTo(c.format, c.mode, c.lock);
    framesync.SetOutputOffset(c.lines, 0.0F);
    EXPECT_EQ(core.Get(c.mode == 2 ? "startSampleNumber" : "refDelay"), c.alignment)
        << c.format << " to " << c.lock;
    EXPECT_EQ(core.Get("videoSkipPulse"), c.videoSkip) << c.format << " to " << c.lock;
    EXPECT_EQ(core.Get("refSkipPulse"), c.refSkip) << c.format << " to " << c.lock;
  }
}

TEST_F(FramesyncLockTest, IncompatibleLockClearsTheOffsetWithoutAReset) {
  LockTo(20, 0, 20);
  framesync.SetOutputOffset(0, 0.0F);
  framesync.SetupLockMode(0, 25);
  auto writes = Writes({{"refIsP", 1}, {"refDelay", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetOutputOffset(0, 0.0F); }), writes);
  EXPECT_FALSE(framesync.IsLockCompatible());
  EXPECT_TRUE(AccessesOf([&] { framesync.CheckAlignment(true); }).empty());

  framesync.SetupLockMode(2, 25);
  writes = Writes({{"refIsP", 1}, {"startSampleNumber", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetOutputOffset(0, 0.0F); }), writes);
  EXPECT_TRUE(board.log.All().empty());

  // The stored alignment went to 0 as well: back at the first standard, it is new.
  framesync.SetupLockMode(0, 20);
  framesync.SetOutputOffset(0, 0.0F);
  EXPECT_EQ(core.Get("refDelay"), 16032U - 2640 - 54);
}

TEST_F(FramesyncLockTest, NothingToLockTo) {
  // Before a set-up, or against an id without a row, the pair counts as incompatible.
  framesync.SetupLockMode(0, 15);
  auto writes = Writes({{"refDelay", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetOutputOffset(0, 0.0F); }), writes);
  LockTo(15, 2, -7);
  writes = Writes({{"startSampleNumber", 0}});
  EXPECT_EQ(AccessesOf([&] { framesync.SetOutputOffset(0, 0.0F); }), writes);

  for (const std::uint16_t mode : {std::uint16_t{3}, std::uint16_t{4}, std::uint16_t{9}}) {
    framesync.SetupLockMode(mode, 15);
    EXPECT_TRUE(AccessesOf([&] {
                  framesync.SetOutputOffset(1, 1.0F);
                  framesync.CheckAlignment(true);
                }).empty());
  }
}

TEST_F(FramesyncLockTest, ReferenceCheckRepairsWhatHasDrifted) {
  int resets = 0;
  framesync.RegisterOutputResetCallback([&] { ++resets; });
  LockTo(40, 0, 24);  // two output frames to one of the reference
  framesync.SetOutputOffset(0, 0.0F);
  resets = 0;

  EXPECT_TRUE(AccessesOf([&] { framesync.CheckAlignment(false); }).empty());
  core.DriftOutput(-15);
  core.StretchLockFrames(16);
  EXPECT_EQ(AccessesOf([&] { framesync.CheckAlignment(true); }),
            (std::vector{sim::Loaded(kBase + 76, 4950016), sim::Loaded(kBase + 72, 8973)}));
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{
                {7, "Reference alignment is OK: alignment set to 8938, reported is 8923"}}));

  // An interval that is off is told and no more.
  core.StretchLockFrames(-17);
  AccessesOf([&] { framesync.CheckAlignment(true); });
  EXPECT_EQ(board.log.Messages(6),
            (std::vector<std::string>{
                "Reference interval was 4949983, which is outside of the allowed range"}));
  EXPECT_EQ(resets, 0);

  core.StretchLockFrames(0);
  core.DriftOutput(16);
  std::vector<sim::RegisterAccess> accesses{sim::Loaded(kBase + 76, 4950000),
                                            sim::Loaded(kBase + 72, 9004)};
  const auto pulse = Writes({{"resetOutputRequest", 1}, {"resetOutputRequest", 0}});
  accesses.insert(accesses.end(), pulse.begin(), pulse.end());
  EXPECT_EQ(AccessesOf([&] { framesync.CheckAlignment(true); }), accesses);
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{6,
                                     "Reference alignment is off, resetting: alignment set to "
                                     "8938, reported is 8954"}}));
  EXPECT_EQ(resets, 1);
  framesync.CheckAlignment(true);  // the reset took the drift away
  EXPECT_EQ(resets, 1);
}

TEST_F(FramesyncLockTest, ReferenceReportsAreSigned) {
  LockTo(15, 0, 15);
  framesync.SetOutputOffset(0, 0.0F);
  core.Set("reset", 1);  // the model's reports stand still
  core.Set("debugRefInterval", 0xFFFFFFFF);
  core.Set("refReportDelay", 0xFFFFFFFF);
  AccessesOf([&] { framesync.CheckAlignment(true); });
  EXPECT_EQ(board.log.Messages(6),
            (std::vector<std::string>{
                "Reference interval was -1, which is outside of the allowed range",
                "Reference alignment is off, resetting: alignment set to 14658, reported is "
                "2969949"}));
}

TEST_F(FramesyncLockTest, InputCheckCountsAroundTheFrame) {
  int resets = 0;
  framesync.RegisterOutputResetCallback([&] { ++resets; });
  LockTo(39, 2, 39);
  framesync.SetOutputOffset(1125, 0.364F);  // a frame and 54 samples: exactly the frame's length
  ASSERT_EQ(core.Get("startSampleNumber"), 2970000U);
  resets = 0;

  core.DriftOutput(15);
  EXPECT_EQ(AccessesOf([&] { framesync.CheckAlignment(true); }),
            (std::vector{sim::Loaded(kBase + 112, 65)}));
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{7,
                                     "Framesync 1: Lock to input alignment is OK: alignment set "
                                     "to 2970000, reported is 15"}}));
  core.DriftOutput(-65);  // reports less than what it counts too far
  AccessesOf([&] { framesync.CheckAlignment(true); });
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{6,
                                     "Framesync 1: Lock to input alignment is off, resetting: "
                                     "alignment set to 2970000, reported is 2969935"}}));
  EXPECT_EQ(resets, 1);
}

TEST_F(FramesyncLockTest, DelayIsMeasuredAndDescribed) {
  framesync.SetFrameDelay(2);
  framesync.SetupFormat(39);
  core.SetInputPhase(93);
  float milliseconds = 0;
  std::string text;
  EXPECT_EQ(AccessesOf([&] { text = framesync.CheckDelay(milliseconds); }),
            (std::vector{sim::Loaded(kBase + 68, 2U << 14 | 100)}));
  EXPECT_EQ(text, "41.65 ms   Framesync: 41.65 ms / 2 frames 93 lines");
  EXPECT_EQ(milliseconds, 0x1.4d3a06p+5F);
  const std::string start =
      "write_line 100 read_line 7 line_delta 93 write_buf 2 read_buf 0 buf_delta 2";
  EXPECT_EQ(board.log.WithoutOrigins(),
            (std::vector<LogRecord>{{7, start}, {7, start + " time_delay_fs_only 41.653332"}}));

  framesync.SetExternalDelay(0.5F);
  EXPECT_EQ(framesync.CheckDelay(milliseconds),
            "42.15 ms   Framesync: 41.65 ms / 2 frames 93 lines");
  EXPECT_EQ(milliseconds, 0x1.4d3a06p+5F);
}

TEST_F(FramesyncLockTest, ReaderAheadOfItsWriterIsTold) {
  core.Set("readWriteBufCheck", 3U << 23 | 1);  // one buffer before a set-up: -2 frames
  float milliseconds = 0;
  EXPECT_EQ(framesync.CheckDelay(milliseconds),
            "-33.33 ms   Framesync: -33.33 ms / -2 frames 0 lines");
  EXPECT_EQ(board.log.Messages(4),
            (std::vector<std::string>{
                "framesync1: Reader caught up to the Writer!, reg was 0x01800001"}));
  EXPECT_EQ(board.log.Messages(7)[0],
            "write_line 1 read_line 1 line_delta 0 write_buf 0 read_buf 3 buf_delta 4294967294");
}

TEST_F(FramesyncLockTest, FrameCountersAreReadThenCleared) {
  core.SetWord(60, kGarbage & ~7U);
  core.CountFrames(7, 3, 1);
  std::uint32_t dup = 0;
  std::uint32_t drop = 0;
  const auto accesses = AccessesOf([&] { framesync.ReadAndClearFrameCounters(dup, drop); });
  EXPECT_EQ(dup, 3U);
  EXPECT_EQ(drop, 7U);
  const std::uint32_t rest = kGarbage & ~7U;
  EXPECT_EQ(accesses,
            (std::vector{sim::Loaded(kBase + 92, 3), sim::Loaded(kBase + 60, rest),
                         sim::Stored(kBase + 60, rest | 2), sim::Loaded(kBase + 60, rest | 2),
                         sim::Stored(kBase + 60, rest), sim::Loaded(kBase + 84, 7),
                         sim::Loaded(kBase + 60, rest), sim::Stored(kBase + 60, rest | 1),
                         sim::Loaded(kBase + 60, rest | 1), sim::Stored(kBase + 60, rest)}));
  framesync.ReadAndClearFrameCounters(dup, drop);
  EXPECT_EQ(dup + drop, 0U);
  EXPECT_EQ(core.Get("badFrameAcc"), 1U);
}

TEST_F(FramesyncLockTest, SettledFromTheSeventeenthReadingOn) {
  const auto look = [&](std::uint32_t in, std::uint32_t out) {
    core.Set("vidInCeCounter", in);
    core.Set("vidOutCeCounter", out);
    return framesync.IsOutputSettled();
  };
  EXPECT_EQ(AccessesOf([&] { look(100, 102); }),
            (std::vector{sim::Loaded(kBase + 132, 100), sim::Loaded(kBase + 128, 102)}));
  for (int i = 0; i < 16; ++i) {
    EXPECT_FALSE(look(100, 101)) << i;
  }
  EXPECT_TRUE(look(101, 100));
  EXPECT_TRUE(look(0xFFFFFFFF, 0));  // around the end of the counters
  EXPECT_FALSE(look(0x80000000, 0));
  for (int i = 0; i < 16; ++i) {
    EXPECT_FALSE(look(5, 5)) << i;
  }
  EXPECT_TRUE(look(5, 5));
  EXPECT_FALSE(look(102, 100));
  EXPECT_FALSE(look(5, 5));
}

TEST_F(FramesyncLockTest, OutputSettlesAWhileAfterTheSetup) {
  const auto looksUntilSettled = [&] {
    int looks = 1;
    while (!framesync.IsOutputSettled() && looks < 100) {
      ++looks;
    }
    return looks;
  };
  LockTo(39, 0, 39);
  const int looks = looksUntilSettled();
  EXPECT_GT(looks, 17);
  EXPECT_LT(looks, 30);
  framesync.SetOutputOffset(0, 0.0F);  // resets the output
  EXPECT_FALSE(framesync.IsOutputSettled());
  EXPECT_LT(looksUntilSettled(), 30);
}

}  // namespace
