#include "modules/SdiRx.h"

#include <array>
#include <chrono>
#include <stdexcept>

#include "sim/models/SdiRxModel.h"
#include "support/CoreTest.h"

namespace {

using sim::SignalOf;
using Texts = std::vector<std::string>;

constexpr VideoFormat k1080p50{.standardId = 39};

class SdiRxTest : public CoreTest<sim::SdiRxModel> {
 protected:
  SdiRxTest() : CoreTest("sdi_rx2", kLogInfo) {
    board.clock.TakeOver();
    rx.Init();
  }

  Trace UpdateWith(const sim::VideoSignal& signal) {
    core.Plug(signal);
    return AccessesOf([&] { rx.UpdateVideoFormat(); });
  }

  Accesses ReadWord(std::uint32_t address) const {
    return {W("reconfigAddr", address), W("reconfigRdEn", 1), W("reconfigRdEn", 0),
            R("reconfigRdData")};
  }
  Accesses WriteWord(std::uint32_t address, std::uint32_t value) const {
    return {W("reconfigAddr", address), W("reconfigWrData", value), W("reconfigWrEn", 1),
            W("reconfigWrEn", 0)};
  }

  SdiRxImpl rx{name, base, 2, 5};
  const Accesses hold{W("reset", 1), W("clrErrCnt", 1), W("clrSt352Flags", 1)};
  const Accesses release{W("reset", 0), W("clrErrCnt", 0), W("clrSt352Flags", 0),
                         W("frameUnlockCap", 1), W("rxUnlockCap", 1)};
  // Both locks, and the rest of what a report of 1080p 50 in level A consists of.
  const Accesses locks{R("rxLocked", 1), R("tdLocked", 1)};
  const Accesses seen{R("tdFormat", 0),       R("tdRate", 9),        R("tdProgressive", 1),
                      R("fractionalRate", 0), R("activeStreams", 1), R("sdiMode", 2)};
  // The errors are cleared with the signal's flags, and once more by the update.
  const Accesses lost{R("rxLocked", 0),  W("clrSt352Flags", 1), W("clrSt352Flags", 0),
                      W("clrErrCnt", 1), W("clrErrCnt", 0),     W("clrErrCnt", 1),
                      W("clrErrCnt", 0)};
};

TEST_F(SdiRxTest, InitHoldsOpensAllModesAndReleases) {
  FillWithGarbage();
  const Accesses modes{W("modeDetectEn", 0), W("modeEnable", 31), W("modeDetectEn", 1)};
  EXPECT_EQ(AccessesOf([&] { rx.Init(); }), hold + modes + release);
  EXPECT_EQ(AccessesOf([&] { rx.Reset(); }), hold + release);
  EXPECT_EQ(AccessesOf([&] { rx.SetForcedMode(5); }),
            (Accesses{W("modeDetectEn", 0), W("forcedMode", 5)}));
  EXPECT_EQ(AccessesOf([&] { rx.ArmUnlockCapture(); }),
            (Accesses{W("rxUnlockCap", 1), W("frameUnlockCap", 1)}));
  EXPECT_EQ(board.clock.SleptMicroseconds(), 0U);
}

TEST_F(SdiRxTest, UpdateReadsEachFieldOnceAndTheLocksTwice) {
  const Accesses told{W("videoType", 18)};
  const Accesses packet{R("st352Valid", 1), R("st352Packet", 0x2180C997)};
  EXPECT_EQ(UpdateWith(SignalOf(63)), locks + packet + seen + locks + told + locks + seen);
  EXPECT_EQ(rx.GetVideoFormat(), VideoFormat{.standardId = 63});
  EXPECT_EQ(board.log.Messages(6),
            (Texts{"Called Read Video Type and we are locked: transportType is 0, rate is 9, prog "
                   "is 1, mode is 2, fractional is 0, streams 1, and vpid is 2180c997",
                   "sdi_rx2 Locked 3G (A) 1920x1080 2 Streams 50 FPS Frac:0 Prog:1"}));
  // Without a packet it isn't read, and the log's threshold changes nothing.
  SetLogLevel(kLogError);
  EXPECT_EQ(UpdateWith({.standardId = 39}),
            locks + Accesses{R("st352Valid", 0)} + seen + locks + told + locks + seen);
  EXPECT_EQ(rx.GetVideoFormat(), k1080p50);
}

TEST_F(SdiRxTest, LostSignalClearsAndKeepsTheVideoType) {
  UpdateWith(SignalOf(39));
  EXPECT_EQ(UpdateWith({}), lost + Accesses{R("rxLocked", 0)});
  EXPECT_EQ(rx.GetVideoFormat(), VideoFormat{});
  EXPECT_EQ(core.Get("videoType"), 18U);
  EXPECT_EQ(board.log.Messages(6), Texts{"sdi_rx2 No TRS lock"});
  UpdateWith(SignalOf(39));
  UpdateWith(SignalOf(2));  // a raster that no detector knows
  EXPECT_EQ(rx.GetVideoFormat(), VideoFormat{});
  EXPECT_EQ(board.log.Messages(6), Texts{"sdi_rx2 TRS Lock, No Transport Detect Lock"});

  int loads = 0;  // two of the locks, two of the packet, six fields; then the second look
  board.registers.BeforeLoad([&] {
    if (++loads == 11) {
      core.Plug({});
    }
  });
  EXPECT_EQ(UpdateWith(SignalOf(39)),
            (locks + Accesses{R("st352Valid"), R("st352Packet")} + seen + lost));
  EXPECT_EQ(rx.GetVideoFormat(), VideoFormat{});
  EXPECT_EQ(board.log.Messages(6).size(), 1U);
}

TEST_F(SdiRxTest, ListenersHearEachChangeOnce) {
  Texts calls;
  for (const char* listener : {"a", "b"}) {
    rx.RegisterVideoFormatCallback([&, listener](std::uint32_t index, const VideoFormat& format) {
      calls.push_back(FormatMessage("%s %u %u", listener, index, format.standardId));
    });
  }
  EXPECT_THROW(rx.RegisterVideoFormatCallback({}), std::invalid_argument);
  UpdateWith({});  // no signal, as before
  EXPECT_TRUE(board.log.All().empty());
  UpdateWith(SignalOf(39));
  EXPECT_EQ(board.log.Messages(6).size(), 2U);
  UpdateWith(SignalOf(39));
  EXPECT_EQ(board.log.Messages(6).size(), 1U);
  EXPECT_EQ(calls, (Texts{"a 2 39", "b 2 39"}));

  // One stream of an HD raster tells nothing: what was known holds, and nobody hears of it.
  core.Plug(SignalOf(41));
  core.Set("activeStreams", 0);
  rx.UpdateVideoFormat();
  EXPECT_EQ(rx.GetVideoFormat(), k1080p50);
  EXPECT_EQ(calls.size(), 2U);

  UpdateWith({.standardId = 39, .st352 = 0x0120E989});  // the picture alone is a change, too
  EXPECT_EQ(rx.GetVideoFormat(), (VideoFormat{39, 0, 2, 0, 1, 1, 0}));
  EXPECT_EQ(calls.size(), 4U);
  rx.NotifyVideoFormatCallbacks(1, VideoFormat{});
  EXPECT_EQ(calls.size(), 4U);
  rx.NotifyVideoFormatCallbacks(2, VideoFormat{});
  EXPECT_EQ(calls.back(), "b 2 0");
}

TEST_F(SdiRxTest, AgeCountsFromTheLastFormatSeen) {
  using namespace std::chrono_literals;
  EXPECT_EQ(rx.GetVideoFormatAge(), board.clock.Steady().time_since_epoch() / 1s);
  UpdateWith(SignalOf(39));
  board.clock.Advance(2999ms);
  EXPECT_EQ(rx.GetVideoFormatAge(), 2);
  UpdateWith({});
  board.clock.Advance(1ms);
  EXPECT_EQ(rx.GetVideoFormatAge(), 3);
}

TEST_F(SdiRxTest, InterruptIsClearedBeforeTheUpdate) {
  EXPECT_EQ(AccessesOf([&] { rx.HandleIrq(); }), Accesses{R("irqStatus", 0)});
  core.Set("irqStatus", 0x8001);
  EXPECT_EQ(AccessesOf([&] { rx.HandleIrq(); }),
            (Accesses{R("irqStatus", 0x8001), W("irqClr", 0x8001)} + lost));
  EXPECT_EQ(AccessesOf([&] { rx.EnableIrq(); }), Accesses{W("irqMask", 0)});
  EXPECT_EQ(AccessesOf([&] { rx.DisableIrq(); }), Accesses{W("irqMask", 0xFFFF)});
  EXPECT_EQ(rx.GetIrqNumber(), 5U);
}

TEST_F(SdiRxTest, StateQueries) {
  EXPECT_EQ(rx.GetTransportFormat(), 7U);
  core.Plug(SignalOf(39));
  for (std::uint32_t raster = 0; raster < 8; ++raster) {
    core.Set("tdFormat", raster);
    EXPECT_EQ(rx.GetTransportFormat(), raster == 3 || raster == 6 ? 7 : raster);
  }
  core.Set("tdFormat", 0);
  core.Set("tdLocked", 0);
  EXPECT_TRUE(rx.IsRxLocked());
  EXPECT_FALSE(rx.IsTransportLocked());
  EXPECT_EQ(rx.GetTransportFormat(), 7U);
  core.Set("frameUnlockCap", 1);
  EXPECT_TRUE(rx.IsFrameUnlockCaptured());
  EXPECT_FALSE(rx.IsRxUnlockCaptured());
}

TEST_F(SdiRxTest, TransceiverWordsAreChangedInPart) {
  FillWithGarbage();
  const struct {
    bool clearBit;
    std::uint8_t word359;
    std::int16_t word282;
    std::uint8_t word352;
    std::uint32_t old;  // in each word
    std::array<std::uint32_t, 5> written;
  } cases[] = {
      {true, 0xFF, -1, 0xFF, 0x00000000, {0x00, 0x3E, 0x0F, 0xFF, 0x0E}},
      {true, 0x00, 0, 0x00, 0xFFFFFFFF, {0xF7, 0xC1, 0xF0, 0x00, 0xF1}},
      {false, 0x15, 0x0A5C, 0x02, 0xFFFFFF00, {0xFFFFFF08, 0x2A, 0x0A, 0x5C, 0x04}},
  };
  for (const auto& c : cases) {
    Accesses expected;
    const std::array<std::uint16_t, 5> addresses{283, 359, 284, 282, 352};
    for (std::size_t i = 0; i < addresses.size(); ++i) {
      const std::uint16_t address = addresses[i];
      EXPECT_EQ(AccessesOf([&] { EXPECT_EQ(rx.ReconfigWrite(address, c.old), 0); }),
                WriteWord(address, c.old));
      expected =
          expected + ReadWord(address) + WriteWord(address, c.written[i]) + ReadWord(address);
    }
    EXPECT_EQ(
        AccessesOf([&] { rx.ConfigureTransceiver(c.clearBit, c.word359, c.word282, c.word352); }),
        expected);
  }
}

TEST_F(SdiRxTest, RestoreGivesUpAfter500Attempts) {
  std::vector<std::uint64_t> slept;  // before each access
  board.registers.BeforeLoad([&] {
    slept.push_back(board.clock.SleptMicroseconds());
    core.Set("reconfigRdData", 9);  // the first word sticks at once, the second one never
  });
  Accesses expected = release + WriteWord(352, 9) + ReadWord(352);
  for (int attempt = 0; attempt < 500; ++attempt) {
    expected = expected + WriteWord(358, 132) + ReadWord(358);
  }
  EXPECT_EQ(AccessesOf([&] { rx.ReleaseWithReconfigRestore(); }), expected);
  EXPECT_EQ(slept.at(release.size() - 1), 0U);
  EXPECT_EQ(slept.at(release.size()), 1000U);
  EXPECT_EQ(board.clock.SleptMicroseconds(), 1000U + 500U * 1000U);
  EXPECT_TRUE(board.log.All().empty());
}

}  // namespace
