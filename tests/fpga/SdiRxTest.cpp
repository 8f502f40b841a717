#include "modules/SdiRx.h"

#include <gtest/gtest.h>

#include <chrono>
#include <random>
#include <stdexcept>

#include "log/Log.h"
#include "sim/Board.h"
#include "support/Accesses.h"

namespace {

using sim::Loaded;
using sim::RegisterAccess;
using sim::Stored;

// A slot without a core: plain memory, so that words of any content can be looked at, the bits
// beside a field among them.
constexpr std::uint32_t kBase = 0x3A00000;
constexpr std::uint32_t kControl = kBase + 4;
constexpr std::uint32_t kMode = kBase + 12;
constexpr std::uint32_t kStatus = kBase + 24;
constexpr std::uint32_t kPacket = kBase + 28;
constexpr std::uint32_t kCrcErrors = kBase + 32;
constexpr std::uint32_t kIrqMask = kBase + 44;
constexpr std::uint32_t kIrqStatus = kBase + 48;
constexpr std::uint32_t kIrqClear = kBase + 52;
constexpr std::uint32_t kReconfigPort = kBase + 56;
constexpr std::uint32_t kReconfigWrData = kBase + 60;
constexpr std::uint32_t kReconfigRdData = kBase + 64;

// Status words: both locks, 3G level A, two streams, 1920x1080 progressive; rate codes 9 and 11.
constexpr std::uint32_t kBothLocks = 0x81;
constexpr std::uint32_t k1080p50 = kBothLocks | 2U << 1 | 1U << 4 | 1U << 15 | 9U << 11;
constexpr std::uint32_t k1080p60 = kBothLocks | 2U << 1 | 1U << 4 | 1U << 15 | 11U << 11;
constexpr std::uint32_t kPacketValid = 1U << 19;

// What a lost signal leaves: clrSt352Flags and clrErrCnt pulsed, and clrErrCnt once more by the
// update.
const std::vector kLostSignalStores{Stored(kControl, 4), Stored(kControl, 0), Stored(kControl, 2),
                                    Stored(kControl, 0), Stored(kControl, 2), Stored(kControl, 0)};

class SdiRxTest : public testing::Test {
 protected:
  void SetUp() override {
    MeanStrayAccesses();
    board.clock.TakeOver();
    board.log.Clear();  // the mapping of the registers
  }

  void Poke(std::uint32_t address, std::uint32_t value) { board.registers.Poke(address, value); }

  template <typename Operation>
  std::vector<RegisterAccess> TraceOf(Operation operation) {
    board.registers.StartTrace();
    operation();
    return board.registers.TakeTrace();
  }
  template <typename Operation>
  std::vector<RegisterAccess> StoresOf(Operation operation) {
    board.registers.StartTrace();
    operation();
    return board.registers.TakeStores();
  }

  sim::Board& board = sim::Board::Get();
  SdiRxImpl rx{"sdi_rx2", kBase, 2, 5};
};

TEST_F(SdiRxTest, InitHoldsOpensAllModesAndReleases) {
  Poke(kControl, 0xFFFFFFF8);
  Poke(kMode, 0xFFFFFFC1);
  Poke(kStatus, 0x3F3FFFFF);
  EXPECT_EQ(
      StoresOf([&] { rx.Init(); }),
      (std::vector{
          Stored(kControl, 0xFFFFFFF9), Stored(kControl, 0xFFFFFFFB), Stored(kControl, 0xFFFFFFFF),
          Stored(kMode, 0xFFFFFFC0), Stored(kMode, 0xFFFFFFFE), Stored(kMode, 0xFFFFFFFF),
          Stored(kControl, 0xFFFFFFFE), Stored(kControl, 0xFFFFFFFC), Stored(kControl, 0xFFFFFFF8),
          Stored(kStatus, 0x3FBFFFFF), Stored(kStatus, 0x3FFFFFFF)}));
  EXPECT_EQ(StoresOf([&] { rx.SetForcedMode(5); }),
            (std::vector{Stored(kMode, 0xFFFFFFFE), Stored(kMode, 0xFFFFFEFE)}));
}

TEST_F(SdiRxTest, ResetIsHoldAndReleaseWithoutDelay) {
  EXPECT_EQ(StoresOf([&] { rx.Reset(); }),
            (std::vector{Stored(kControl, 1), Stored(kControl, 3), Stored(kControl, 7),
                         Stored(kControl, 6), Stored(kControl, 4), Stored(kControl, 0),
                         Stored(kStatus, 0x00800000), Stored(kStatus, 0x00C00000)}));
  EXPECT_EQ(board.clock.SleptMicroseconds(), 0U);
}

TEST_F(SdiRxTest, UpdateReadsEachFieldOnceAndTheLocksTwice) {
  const std::uint32_t word = k1080p50 | kPacketValid;
  Poke(kStatus, word);
  Poke(kPacket, 0x2180C997);
  Poke(kMode, 0xFFC0003F);
  std::vector<RegisterAccess> expected(3, Loaded(kStatus, word));  // locks, st352Valid
  expected.push_back(Loaded(kPacket, 0x2180C997));
  expected.insert(expected.end(), 6 + 2, Loaded(kStatus, word));  // what is seen, locks again
  expected.push_back(Loaded(kMode, 0xFFC0003F));
  expected.push_back(Stored(kMode, 0xFFC4803F));              // video type 18
  expected.insert(expected.end(), 8, Loaded(kStatus, word));  // the status text
  EXPECT_EQ(TraceOf([&] { rx.UpdateVideoFormat(); }), expected);
  EXPECT_EQ(rx.GetVideoFormat(), (VideoFormat{63, 0, 1, 0, 0, 1, 0}));
  EXPECT_EQ(board.log.Messages(6).back(),
            "sdi_rx2 Locked 3G (A) 1920x1080 2 Streams 50 FPS Frac:0 Prog:1");
}

// Neither the log's threshold nor an absent packet changes which registers are read.
TEST_F(SdiRxTest, PacketIsReadOnlyWhenValid) {
  SetLogLevel(kLogError);
  Poke(kStatus, k1080p50);
  Poke(kPacket, 0x2180C997);
  std::vector<RegisterAccess> expected(2 + 1 + 6 + 2, Loaded(kStatus, k1080p50));
  expected.push_back(Loaded(kMode, 0));
  expected.push_back(Stored(kMode, 18U << 14));
  expected.insert(expected.end(), 8, Loaded(kStatus, k1080p50));
  EXPECT_EQ(TraceOf([&] { rx.UpdateVideoFormat(); }), expected);
  EXPECT_EQ(rx.GetVideoFormat(), (VideoFormat{39, 0, 1, 0, 0, 1, 0}));
}

TEST_F(SdiRxTest, LostSignalClearsAndKeepsTheVideoType) {
  Poke(kStatus, k1080p50);
  rx.UpdateVideoFormat();
  Poke(kStatus, k1080p50 & ~1U);
  EXPECT_EQ(StoresOf([&] { rx.UpdateVideoFormat(); }), kLostSignalStores);
  EXPECT_EQ(rx.GetVideoFormat(), VideoFormat{});
  EXPECT_EQ(board.registers.Peek(kMode), 18U << 14);
  EXPECT_EQ(board.log.Messages(6).back(), "sdi_rx2 No TRS lock");
  // Without TRS lock the transport's lock isn't looked at.
  EXPECT_EQ(TraceOf([&] { rx.UpdateVideoFormat(); }).at(1).address, kControl);
}

/// A receiver that loses its TRS lock behind a number of loads of its status.
class FadingReceiver : public sim::CoreModel {
 public:
  explicit FadingReceiver(int goodLoads) : goodLoads_(goodLoads) {}

  std::uint32_t Load(std::uint32_t offset) override {
    if (kBase + offset != kStatus) {
      return 0;
    }
    return goodLoads_-- > 0 ? k1080p50 : k1080p50 & ~1U;
  }
  void Store(std::uint32_t /*offset*/, std::uint32_t /*value*/) override {}

 private:
  int goodLoads_;
};

TEST_F(SdiRxTest, LockLostWhileTheFieldsWereRead) {
  FadingReceiver fading(9);  // locks, st352Valid and six more; then the second look at the lock
  board.registers.Attach(kBase, fading);
  EXPECT_EQ(StoresOf([&] { rx.UpdateVideoFormat(); }), kLostSignalStores);
  EXPECT_EQ(rx.GetVideoFormat(), VideoFormat{});
  EXPECT_EQ(board.log.Messages(6),
            (std::vector<std::string>{
                "Called Read Video Type and we are locked: transportType is 0, rate is 9, prog is "
                "1, mode is 2, fractional is 0, streams 1, and vpid is 0"}));
}

TEST_F(SdiRxTest, ListenersHearEachChangeOnce) {
  std::vector<std::string> calls;
  rx.RegisterVideoFormatCallback([&](std::uint32_t index, const VideoFormat& format) {
    calls.push_back("a " + std::to_string(index) + " " + std::to_string(format.standardId));
  });
  rx.RegisterVideoFormatCallback([&](std::uint32_t index, const VideoFormat& format) {
    calls.push_back("b " + std::to_string(index) + " " + std::to_string(format.standardId));
  });
  EXPECT_THROW(rx.RegisterVideoFormatCallback({}), std::invalid_argument);

  rx.UpdateVideoFormat();  // no signal, as before
  EXPECT_TRUE(board.log.Messages(6).empty());
  Poke(kStatus, k1080p50 | kPacketValid);
  Poke(kPacket, 0x0100C989);
  rx.UpdateVideoFormat();
  rx.UpdateVideoFormat();
  EXPECT_EQ(calls, (std::vector<std::string>{"a 2 39", "b 2 39"}));
  const std::string report =
      "Called Read Video Type and we are locked: transportType is 0, rate is 9, prog is 1, mode is "
      "2, fractional is 0, streams 1, and vpid is 100c989";
  EXPECT_EQ(board.log.Messages(6),
            (std::vector<std::string>{
                report, "sdi_rx2 Locked 3G (A) 1920x1080 2 Streams 50 FPS Frac:0 Prog:1", report}));

  // One stream of an HD raster tells nothing: what was known holds, and nobody hears of it.
  Poke(kStatus, (k1080p60 & ~(7U << 4)) | kPacketValid);
  rx.UpdateVideoFormat();
  EXPECT_EQ(rx.GetVideoFormat().standardId, 39U);
  EXPECT_EQ(calls.size(), 2U);

  // The picture alone is a change, too.
  Poke(kStatus, k1080p50 | kPacketValid);
  Poke(kPacket, 0x0120C989 | 1U << 13);
  rx.UpdateVideoFormat();
  EXPECT_EQ(rx.GetVideoFormat(), (VideoFormat{39, 0, 2, 0, 1, 1, 0}));
  EXPECT_EQ(calls.size(), 4U);

  calls.clear();
  rx.NotifyVideoFormatCallbacks(1, VideoFormat{});
  EXPECT_TRUE(calls.empty());
  rx.NotifyVideoFormatCallbacks(2, VideoFormat{});
  EXPECT_EQ(calls, (std::vector<std::string>{"a 2 0", "b 2 0"}));
}

TEST_F(SdiRxTest, AgeCountsFromTheLastFormatSeen) {
  const auto sinceOrigin =
      std::chrono::duration_cast<std::chrono::seconds>(board.clock.Steady().time_since_epoch());
  EXPECT_EQ(rx.GetVideoFormatAge(), sinceOrigin.count());
  Poke(kStatus, k1080p50);
  rx.UpdateVideoFormat();
  board.clock.Advance(std::chrono::milliseconds(2999));
  EXPECT_EQ(rx.GetVideoFormatAge(), 2);
  Poke(kStatus, 0);
  rx.UpdateVideoFormat();
  board.clock.Advance(std::chrono::milliseconds(1));
  EXPECT_EQ(rx.GetVideoFormatAge(), 3);
}

TEST_F(SdiRxTest, InterruptIsClearedBeforeTheUpdate) {
  EXPECT_EQ(TraceOf([&] { rx.HandleIrq(); }), (std::vector{Loaded(kIrqStatus, 0)}));
  Poke(kIrqStatus, 0xFFFF8001);
  Poke(kIrqClear, 0xABCD0000);
  std::vector expected{Stored(kIrqClear, 0xABCD8001)};
  expected.insert(expected.end(), kLostSignalStores.begin(), kLostSignalStores.end());
  EXPECT_EQ(StoresOf([&] { rx.HandleIrq(); }), expected);

  Poke(kIrqMask, 0xABCD1234);
  EXPECT_EQ(StoresOf([&] {
              rx.EnableIrq();
              rx.DisableIrq();
            }),
            (std::vector{Stored(kIrqMask, 0xABCD0000), Stored(kIrqMask, 0xABCDFFFF)}));
  EXPECT_EQ(rx.GetIrqNumber(), 5U);
}

TEST_F(SdiRxTest, CrcErrorsAreCountedUpToTheClear) {
  Poke(kCrcErrors, 77);
  EXPECT_EQ(TraceOf([&] { EXPECT_EQ(rx.GetCrcErrorCount(true), 77U); }),
            (std::vector{Loaded(kCrcErrors, 77), Loaded(kControl, 0), Stored(kControl, 2),
                         Loaded(kControl, 2), Stored(kControl, 0)}));
  EXPECT_EQ(TraceOf([&] { EXPECT_EQ(rx.GetCrcErrorCount(false), 77U); }),
            (std::vector{Loaded(kCrcErrors, 77)}));
}

TEST_F(SdiRxTest, StateQueries) {
  EXPECT_EQ(rx.GetTransportFormat(), 7U);
  EXPECT_EQ(rx.GetStatusText(), "No TRS lock");
  Poke(kStatus, 1U | 4U << 8 | 1U << 23);
  EXPECT_TRUE(rx.IsRxLocked());
  EXPECT_FALSE(rx.IsTransportLocked());
  EXPECT_TRUE(rx.IsFrameUnlockCaptured());
  EXPECT_FALSE(rx.IsRxUnlockCaptured());
  EXPECT_EQ(rx.GetTransportFormat(), 7U);
  EXPECT_EQ(rx.GetStatusText(), "TRS Lock, No Transport Detect Lock");
  for (std::uint32_t raster = 0; raster < 8; ++raster) {
    Poke(kStatus, kBothLocks | raster << 8);
    EXPECT_EQ(rx.GetTransportFormat(), raster == 3 || raster == 6 ? 7 : raster);
  }
  Poke(kStatus, 0);
  EXPECT_EQ(StoresOf([&] { rx.ArmUnlockCapture(); }),
            (std::vector{Stored(kStatus, 0x00400000), Stored(kStatus, 0x00C00000)}));
}

TEST_F(SdiRxTest, ReconfigurationPort) {
  Poke(kReconfigPort, 0xFFFFF000);
  Poke(kReconfigRdData, 0x12345678);
  EXPECT_EQ(StoresOf([&] { EXPECT_EQ(rx.ReconfigWrite(0x2A5, 0xFFFFFFFF), 0); }),
            (std::vector{Stored(kReconfigPort, 0xFFFFF2A5), Stored(kReconfigWrData, 0xFFFFFFFF),
                         Stored(kReconfigPort, 0xFFFFFAA5), Stored(kReconfigPort, 0xFFFFF2A5)}));
  std::uint32_t word = 0;
  EXPECT_EQ(StoresOf([&] { EXPECT_EQ(rx.ReconfigRead(0x001, word), 0); }),
            (std::vector{Stored(kReconfigPort, 0xFFFFF001), Stored(kReconfigPort, 0xFFFFF401),
                         Stored(kReconfigPort, 0xFFFFF001)}));
  EXPECT_EQ(word, 0x12345678U);
}

TEST_F(SdiRxTest, TransceiverWordsAreChangedInPart) {
  // The port of plain memory gives the same old word at every address.
  struct Case {
    bool clearBit;
    std::uint8_t word359;
    std::int16_t word282;
    std::uint8_t word352;
    std::uint32_t old;
    std::array<std::uint32_t, 5> written;
  };
  const std::vector<Case> cases{
      {true, 0xFF, -1, 0xFF, 0x00000000, {0x00, 0x3E, 0x0F, 0xFF, 0x0E}},
      {true, 0x00, 0, 0x00, 0xFFFFFFFF, {0xF7, 0xC1, 0xF0, 0x00, 0xF1}},
      {false, 0x15, 0x0A5C, 0x02, 0xFFFFFF00, {0xFFFFFF08, 0x2A, 0x0A, 0x5C, 0x04}},
  };
  for (const Case& c : cases) {
    Poke(kReconfigRdData, c.old);
    const auto trace =
        TraceOf([&] { rx.ConfigureTransceiver(c.clearBit, c.word359, c.word282, c.word352); });
    std::vector<std::uint32_t> written;
    std::vector<std::uint32_t> steps;  // address and kind of each strobe
    for (const RegisterAccess& access : trace) {
      if (access.kind != RegisterAccess::Kind::kStore) {
        continue;
      }
      if (access.address == kReconfigWrData) {
        written.push_back(access.value);
      } else if ((access.value & 0xC00) != 0) {
        steps.push_back(access.value);
      }
    }
    EXPECT_EQ(written, (std::vector<std::uint32_t>(c.written.begin(), c.written.end())));
    std::vector<std::uint32_t> expectedSteps;
    for (const std::uint32_t address : {283U, 359U, 284U, 282U, 352U}) {
      expectedSteps.insert(expectedSteps.end(),
                           {address | 0x400, address | 0x800, address | 0x400});
    }
    EXPECT_EQ(steps, expectedSteps);
  }
}

TEST_F(SdiRxTest, RestoreGivesUpBehind500Attempts) {
  Poke(kReconfigRdData, 9);  // the first word sticks at once, the second one never
  const auto stores = StoresOf([&] { rx.ReleaseWithReconfigRestore(); });
  EXPECT_EQ(board.clock.SleptMicroseconds(), 1000U + 500U * 1000U);
  // The release, and seven stores for each attempt: four to write, three to read.
  EXPECT_EQ(stores.size(), 5U + 7U + 500U * 7U);
  EXPECT_EQ(stores.at(6), Stored(kReconfigWrData, 9));
  EXPECT_EQ(stores.at(13), Stored(kReconfigWrData, 132));
  EXPECT_TRUE(board.log.All().empty());
}

// Whatever the registers hold, the format is one of the table and the core is told its code.
TEST_F(SdiRxTest, AnyRegisterContentGivesAFormatOfTheTable) {
  SetLogLevel(kLogError);
  constexpr std::uint32_t kSeed = 20240229;
  std::mt19937 random(kSeed);
  int known = 0;
  for (int i = 0; i < 20000; ++i) {
    const std::uint32_t status = static_cast<std::uint32_t>(random()) | kBothLocks;
    Poke(kStatus, status);
    Poke(kPacket, static_cast<std::uint32_t>(random()));
    rx.UpdateVideoFormat();
    const auto id = static_cast<int>(rx.GetVideoFormat().standardId);
    if (id != 0) {
      ++known;
      ASSERT_STRNE(GetVideoStandard(id).name.c_str(), "Unknown") << std::hex << status;
      ASSERT_EQ(board.registers.Peek(kMode) >> 14, GetVideoStandard(id).sdiRxVideoType);
    }
  }
  EXPECT_GT(known, 1000);
}

}  // namespace
