#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>

#include "modules/RefDetect.h"
#include "modules/SdiRx.h"
#include "sim/Board.h"
#include "sim/SignalFile.h"
#include "sim/models/AesRxModel.h"
#include "sim/models/SdiRxModel.h"

namespace {

using sim::AudioPair;
using sim::SignalOf;
using sim::VideoSignal;
using Texts = std::vector<std::string>;

TEST(ParseSignalTest, WhatAPersonWrites) {
  const std::pair<const char*, VideoSignal> cases[] = {
      {"none", {}},
      {"40", SignalOf(40)},
      {"1920X1080P 59.94 a", SignalOf(40)},
      {"1920x1080p 50 B", SignalOf(45)},
      {"3840x2160p 60 QL A 2SI", SignalOf(70)},
      {"4096x2160p 50 QL B 2SI link 4", SignalOf(156)},
      {"41, st352 none , crc 0x10", {.standardId = 41, .crcErrorsPerSecond = 16}},
      {"41,st352 0xFFFFFFFF", {.standardId = 41, .st352 = 0xFFFFFFFF}},
      {"1920x1080p \t59.94  A,\tST352\tNone,CRC\t 010",
       {.standardId = 40, .crcErrorsPerSecond = 10}},
  };
  for (const auto& [text, signal] : cases) {
    EXPECT_EQ(sim::ParseSignal(text), signal) << text;
  }
  // The bursts of a pair start in the standard's own line, here 11, unless a line is told.
  const std::pair<const char*, AudioPair> pairs[] = {
      {"none", {.present = false}},
      {"PCM", {}},
      {"dolby-e", {.burstType = 28, .line = 11}},
      {"AC-3 line 1", {.burstType = 1, .line = 1}},
      {"e-ac-3\tLINE\t 2047", {.burstType = 16, .line = 2047}},
      {"data 0", {.burstType = 0, .line = 11}},
      {"Data 31 Line 0x10", {.burstType = 31, .line = 16}},
  };
  for (const auto& [text, audio] : pairs) {
    EXPECT_EQ(sim::ParseSignal(std::string("625i 50, Pair 7 ") + text).audio[7], audio) << text;
  }
  EXPECT_EQ(sim::ParseAudioPair("ac-3", 0).line, 1U);
}

TEST(ParseSignalTest, WhatIsWrongWithIt) {
  const struct {
    const char* complaint;
    Texts texts;
  } cases[] = {
      {"no such standard", {"", "33", "0", "-1", "1080p", "41 crc 3"}},
      {"neither st352 nor crc nor pair", {"41,", "41, noise 3"}},
      {"a number is missing",
       {"41, pair", "41, crc", "41, st352", "41, pair 7 data", "41, pair 7 dolby-e line"}},
      {"not a number of 32 bits",
       {"41, st352 0x100000000", "41, crc -1", "41, crc 1x", "41, crc 0x",
        "41, pair 7 data 4294967296", "41, pair 7 dolby-e line 9 9"}},
      {"no such pair", {"41, pair 8 pcm"}},
      {"the audio is missing", {"41, pair 7"}},
      {"no such audio", {"41, pair 7 mp3", "41, pair 7 none line 3"}},
      {"no such type of data", {"41, pair 7 data 32"}},
      {"no such line", {"41, pair 7 dolby-e line 0", "41, pair 7 dolby-e line 2048"}},
      {"only a line may follow", {"41, pair 7 dolby-e 9"}},
  };
  for (const auto& c : cases) {
    for (const std::string& text : c.texts) {
      try {
        ADD_FAILURE() << text << ": " << sim::ParseSignal(text).standardId;
      } catch (const std::invalid_argument& error) {
        EXPECT_STREQ(error.what(), c.complaint) << text;
      }
    }
  }
}

class SignalFileTest : public testing::Test {
 protected:
  void SetUp() override {
    board.clock.TakeOver();
    std::string pattern = std::filesystem::temp_directory_path() / "signals-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder = pattern;
    board.UseFolder(folder);
    rx.Init();
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  std::string File() const { return folder + "/signals.conf"; }
  VideoSignal PluggedInto(std::size_t input) {
    return board.Core<sim::SdiRxModel>("sdi_rx#", input).Plugged();
  }
  // Looks at the file: any load does after 100 ms.
  std::string StatusText() {
    board.clock.Advance(std::chrono::milliseconds(100));
    return rx.GetStatusText();
  }
  // Changes the file, and gives the warnings of the look at it without the file's name.
  Texts Write(const std::string& text) {
    std::ofstream(File()) << text;
    board.log.Clear();
    (void)StatusText();
    Texts texts = board.log.Messages(4);
    for (std::string& complaint : texts) {
      complaint.erase(0, File().size());
    }
    return texts;
  }

  std::string folder;
  sim::Board& board = sim::Board::Get();
  SdiRxImpl rx{"sdi_rx1", 0x400000, 1, 4};
};

constexpr auto k1080i50 = "Locked 1.5G 1920x1080 2 Streams 25 FPS Frac:0 Prog:0";
constexpr auto k720p60 = "Locked 1.5G 1280x720 2 Streams 60 FPS Frac:0 Prog:1";

TEST_F(SignalFileTest, NewBoardHasSignalsAndFollowsTheFile) {
  EXPECT_EQ(StatusText(), k1080i50);
  std::ofstream(File()) << "sdi1 = 1280x720p 60  # by hand\nsdi0 = none\n";
  board.clock.Advance(std::chrono::milliseconds(99));
  EXPECT_EQ(rx.GetStatusText(), k1080i50);
  EXPECT_EQ(StatusText(), k720p60);
  EXPECT_EQ(PluggedInto(0), VideoSignal{});
  EXPECT_EQ(PluggedInto(2), VideoSignal{});  // its line is gone

  // Another line's change doesn't disturb this one. A file that is being saved says nothing.
  rx.ArmUnlockCapture();
  EXPECT_EQ(Write("SDI1 = 14\nsdi0 = 5\n"), Texts{});
  EXPECT_EQ(PluggedInto(0), SignalOf(5));
  EXPECT_EQ(Write(""), Texts{});
  std::filesystem::remove(File());
  EXPECT_EQ(StatusText(), k720p60);
  EXPECT_FALSE(rx.IsRxUnlockCaptured());
  EXPECT_EQ(Write("# nothing\n"), Texts{});
  EXPECT_EQ(rx.GetStatusText(), "No TRS lock");
  EXPECT_EQ(PluggedInto(0), VideoSignal{});
}

TEST_F(SignalFileTest, LinesThatAreNotUnderstoodLeaveTheirInputs) {
  EXPECT_EQ(Write("sdi0 = 5\nsdi1 = 14\nsdi2 = 138\n"), Texts{});
  rx.ArmUnlockCapture();
  EXPECT_EQ(Write("sdi0 = tartan\nsdi4 = 5\nsdi2\naes2 = data 32\naes9 = pcm\naes0 = pcm\n"
                  "sdi1 = 5\nSdi1 = 14\n"),
            (Texts{":1: 'sdi0 = tartan': no such standard", ":2: 'sdi4 = 5': no such input",
                   ":3: 'sdi2': no '='", ":4: 'aes2 = data 32': no such type of data",
                   ":5: 'aes9 = pcm': no such input", ":6: 'aes0 = pcm': no such input",
                   ":8: 'Sdi1 = 14': takes the place of a line above"}));
  EXPECT_EQ(PluggedInto(0), SignalOf(5));
  EXPECT_EQ(PluggedInto(2), VideoSignal{});  // nothing tells whose line that is
  EXPECT_EQ(Write("sdi1 = 5\nsdi1 = tartan\n"), Texts{":2: 'sdi1 = tartan': no such standard"});
  EXPECT_EQ(rx.GetStatusText(), k720p60);
  EXPECT_FALSE(rx.IsRxUnlockCaptured());  // never plugged anew
}

TEST_F(SignalFileTest, AesLinesAndReferencesFollowTheFile) {
  auto& aes = board.Core<sim::AesRxModel>("out_aud_aes_rx");
  board.registers.Store(0x2900040, 0);  // out of reset
  RefDetect detect("ref_detect", 0x3800000);
  detect.Reset();
  // Both references, then lock and burst of lines 1, 2 and 8.
  using Seen = std::array<std::uint32_t, 8>;
  const auto seen = [&]() -> Seen {
    return {static_cast<std::uint32_t>(detect.GetReferenceFormat(false)),
            static_cast<std::uint32_t>(detect.GetReferenceFormat(true)),
            aes.Word(0),
            aes.Word(4),
            aes.Word(8),
            aes.Word(12),
            aes.Word(56),
            aes.Word(60)};
  };
  EXPECT_EQ(seen(), (Seen{15, 0, 0, 0, 0, 0, 0, 0}));
  Write("aes1 = pcm\nAES8 = Dolby-E line 9\naes3 = none\nref1 = none\nref2 = 525i 59.94\n");
  EXPECT_EQ(seen(), (Seen{0, 5, 1, 0, 0, 0, 1, 0x9C}));
  EXPECT_EQ(Write("aes2 = data 31\naes8 = tartan\nref1 = 625i\t50\nref2 = 525i 59.94, crc 1\n"),
            (Texts{":2: 'aes8 = tartan': no such audio",
                   ":4: 'ref2 = 525i 59.94, crc 1': no such standard"}));
  EXPECT_EQ(seen(), (Seen{6, 5, 0, 0, 1, 0x9F, 1, 0x9C}));
}

// The two bytes of each chip come out in the transfer after the one that asks for them.
TEST_F(SignalFileTest, TransfersFollowTheFile) {
  ASSERT_EQ(board.equaliserSpi.Open() | board.equaliserSpi.SetMode(1), 0);
  const auto statusOfInput1 = [&] {
    std::array<std::uint8_t, 10> bytes{};
    for (int i = 0; i < 2; ++i) {
      bytes = {0x8F, 0, 0x8F, 0, 0x8F, 0, 0x8F, 0, 0x8F, 0};  // reads the status of each
      spi_ioc_transfer transfer{};
      transfer.tx_buf = transfer.rx_buf = reinterpret_cast<std::uintptr_t>(bytes.data());
      transfer.len = bytes.size();
      EXPECT_EQ(board.equaliserSpi.Transfer(transfer), 10);
    }
    return unsigned{bytes[7]};
  };
  EXPECT_EQ(statusOfInput1(), 4U);
  std::ofstream(File()) << "sdi1 = 1920x1080p 50 A\n";
  EXPECT_EQ(statusOfInput1(), 4U);  // looked at a moment ago
  board.clock.Advance(std::chrono::milliseconds(100));
  EXPECT_EQ(statusOfInput1(), 6U);
}

// The names in the file that a new board gets are the ones that it understands.
TEST_F(SignalFileTest, ListOfStandardsCanBeTypedBack) {
  std::ifstream file(File());
  std::set<int> ids;
  for (std::string line; std::getline(file, line);) {
    if (line.size() < 55 || line.compare(0, 2, "# ") != 0 || line.compare(45, 2, "0x") != 0) {
      continue;
    }
    const int id = std::stoi(line.substr(2, 3));
    const std::string name = line.substr(6, line.find_last_not_of(' ', 44) - 5);
    ids.insert(id);
    EXPECT_EQ(sim::ParseSignal(name).Standard().GetLinkName(), GetVideoStandard(id).GetLinkName());
  }
  EXPECT_EQ(ids.size(), 171U);
}

}  // namespace
