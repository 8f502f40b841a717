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

TEST(ParseSignalTest, WhatAPersonWrites) {
  EXPECT_EQ(sim::ParseSignal("none"), VideoSignal{});
  EXPECT_EQ(sim::ParseSignal("40"), SignalOf(40));
  EXPECT_EQ(sim::ParseSignal("1920X1080P 59.94 a"), SignalOf(40));
  EXPECT_EQ(sim::ParseSignal("1920x1080p 50 B").standardId, 45);
  EXPECT_EQ(sim::ParseSignal("3840x2160p 60 QL A 2SI").standardId, 70);
  EXPECT_EQ(sim::ParseSignal("4096x2160p 50 QL B 2SI link 4").standardId, 156);
  EXPECT_EQ(sim::ParseSignal("41, st352 none , crc 0x10"),
            (VideoSignal{.standardId = 41, .crcErrorsPerSecond = 16}));
  EXPECT_EQ(sim::ParseSignal("41,st352 0xFFFFFFFF"),
            (VideoSignal{.standardId = 41, .st352 = 0xFFFFFFFF}));
  EXPECT_EQ(sim::ParseSignal("1920x1080p \t59.94  A,\tST352\tNone,CRC\t 010"),
            (VideoSignal{.standardId = 40, .crcErrorsPerSecond = 10}));
  for (const char* text : {"", "33", "0", "-1", "1080p", "41,", "41, st352 0x100000000",
                           "41, crc -1", "41, crc 1x", "41, crc 0x", "41, noise 3", "41 crc 3"}) {
    EXPECT_THROW(sim::ParseSignal(text), std::invalid_argument) << text;
  }
}

// The audio that a line may carry, and what is wrong with it otherwise.
struct AudioCase {
  const char* text;
  AudioPair audio;
  const char* complaint = "";
};
const AudioCase kAudioCases[] = {
    {"none", {.present = false}},
    {"PCM", {}},
    {"dolby-e", {.burstType = 28, .line = 11}},
    {"AC-3 line 1", {.burstType = 1, .line = 1}},
    {"e-ac-3\tLINE\t 2047", {.burstType = 16, .line = 2047}},
    {"data 0", {.burstType = 0, .line = 11}},
    {"Data 31 Line 0x10", {.burstType = 31, .line = 16}},
    {"", {}, "the audio is missing"},
    {"mp3", {}, "no such audio"},
    {"none line 3", {}, "no such audio"},
    {"data", {}, "a number is missing"},
    {"data 32", {}, "no such type of data"},
    {"data 4294967296", {}, "not a number of 32 bits"},
    {"dolby-e line", {}, "a number is missing"},
    {"dolby-e line 0", {}, "no such line"},
    {"dolby-e line 2048", {}, "no such line"},
    {"dolby-e line 9 9", {}, "not a number of 32 bits"},
    {"dolby-e 9", {}, "only a line may follow"},
};

TEST(ParseSignalTest, AudioOfAPairAndOfALine) {
  const auto complaintOf = [](const auto& parse, const std::string& text) -> std::string {
    try {
      (void)parse(text);
      return "";
    } catch (const std::invalid_argument& error) {
      return error.what();
    }
  };
  const auto parseLine = [](const std::string& text) { return sim::ParseAudioPair(text, 11); };
  for (const AudioCase& c : kAudioCases) {
    EXPECT_EQ(complaintOf(parseLine, c.text), c.complaint) << c.text;
    // The bursts of a pair start in the standard's own line, here 11.
    const std::string pair = std::string("625i 50, Pair 7 ") + c.text;
    EXPECT_EQ(complaintOf(sim::ParseSignal, pair), c.complaint) << pair;
    if (*c.complaint == 0) {
      EXPECT_EQ(parseLine(c.text), c.audio) << c.text;
      VideoSignal expected = SignalOf(6);
      expected.audio[7] = c.audio;
      EXPECT_EQ(sim::ParseSignal(pair), expected) << pair;
    }
  }
  EXPECT_EQ(sim::ParseAudioPair("ac-3", 0).line, 1U);
  EXPECT_EQ(complaintOf(sim::ParseSignal, "41, pair 8 pcm"), "no such pair");
  EXPECT_EQ(complaintOf(sim::ParseSignal, "41, pair"), "a number is missing");
  EXPECT_EQ(complaintOf(sim::ParseSignal, "41, crc"), "a number is missing");
  EXPECT_EQ(complaintOf(sim::ParseSignal, "41, st352"), "a number is missing");
}

class SignalFileTest : public testing::Test {
 protected:
  void SetUp() override {
    board.clock.TakeOver();
    std::string pattern = std::filesystem::temp_directory_path() / "signals-XXXXXX";
    ASSERT_NE(mkdtemp(pattern.data()), nullptr);
    folder = pattern;
    board.UseFolder(folder);
  }
  void TearDown() override { std::filesystem::remove_all(folder); }

  std::string File() const { return folder + "/signals.conf"; }
  void Write(const std::string& text) const { std::ofstream(File()) << text; }
  std::string StatusText() {
    board.clock.Advance(std::chrono::milliseconds(100));
    return rx.GetStatusText();
  }
  // Looks at the file, and gives the records that this made without the file's name.
  std::vector<std::string> Complaints() {
    board.log.Clear();
    (void)StatusText();
    std::vector<std::string> texts;
    for (const sim::LogRecord& record : board.log.All()) {
      EXPECT_EQ(record.severity, 4);
      texts.push_back(record.text.substr(File().size()));
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
  rx.Init();
  EXPECT_EQ(rx.GetStatusText(), k1080i50);
  Write("sdi1 = 1280x720p 60  # by hand\nsdi0 = none\n");
  board.clock.Advance(std::chrono::milliseconds(99));
  EXPECT_EQ(rx.GetStatusText(), k1080i50);
  EXPECT_EQ(StatusText(), k720p60);
  EXPECT_EQ(board.Core<sim::SdiRxModel>("sdi_rx0").Plugged(), VideoSignal{});
  EXPECT_EQ(board.Core<sim::SdiRxModel>("sdi_rx2").Plugged(), VideoSignal{});  // its line is gone

  // Another line's change doesn't disturb this one. A file that is being saved says nothing.
  rx.ArmUnlockCapture();
  Write("SDI1 = 14\nsdi0 = 5\n");
  EXPECT_TRUE(Complaints().empty());
  EXPECT_EQ(board.Core<sim::SdiRxModel>("sdi_rx0").Plugged(), SignalOf(5));
  Write("");
  EXPECT_EQ(StatusText(), k720p60);
  std::filesystem::remove(File());
  EXPECT_EQ(StatusText(), k720p60);
  EXPECT_FALSE(rx.IsRxUnlockCaptured());
  Write("# nothing\n");
  EXPECT_EQ(StatusText(), "No TRS lock");
  EXPECT_EQ(board.Core<sim::SdiRxModel>("sdi_rx0").Plugged(), VideoSignal{});
}

TEST_F(SignalFileTest, LinesThatAreNotUnderstoodLeaveTheirInputs) {
  Write("sdi0 = 5\nsdi2 = 138\naes2 = pcm\n");
  EXPECT_TRUE(Complaints().empty());
  Write("sdi0 = tartan\nsdi4 = 5\nsdi2\naes2 = data 32\naes9 = pcm\naes0 = pcm\n");
  EXPECT_EQ(Complaints(),
            (std::vector<std::string>{
                ":1: 'sdi0 = tartan': no such standard", ":2: 'sdi4 = 5': no such input",
                ":3: 'sdi2': no '='", ":4: 'aes2 = data 32': no such type of data",
                ":5: 'aes9 = pcm': no such input", ":6: 'aes0 = pcm': no such input"}));
  EXPECT_EQ(board.Core<sim::SdiRxModel>("sdi_rx0").Plugged(), SignalOf(5));
  EXPECT_EQ(board.Core<sim::SdiRxModel>("sdi_rx2").Plugged(),
            VideoSignal{});  // nothing tells whose line that is
}

TEST_F(SignalFileTest, LastOfSeveralLinesCounts) {
  rx.Init();
  Write("sdi1 = 14\n");
  EXPECT_EQ(StatusText(), k720p60);
  rx.ArmUnlockCapture();
  Write("sdi1 = 5\nsdi0 = 5\nSdi1 = 14\n");
  const std::vector<std::string> once{":3: 'Sdi1 = 14': takes the place of a line above"};
  EXPECT_EQ(Complaints(), once);
  EXPECT_EQ(StatusText(), k720p60);
  EXPECT_FALSE(rx.IsRxUnlockCaptured());  // never plugged anew
  Write("sdi1 = 5\nsdi1 = tartan\n");
  EXPECT_EQ(Complaints(), (std::vector<std::string>{":2: 'sdi1 = tartan': no such standard"}));
  EXPECT_EQ(StatusText(), k720p60);
}

TEST_F(SignalFileTest, AesLinesFollowTheFile) {
  board.registers.Store(0x2900040, 0);  // out of reset
  const auto locked = [&] {
    (void)StatusText();
    unsigned lines = 0;
    for (std::uint32_t line = 0; line < 8; ++line) {
      lines |= board.Core<sim::AesRxModel>("out_aud_aes_rx").Word(8 * line) << line;
    }
    return lines;
  };
  EXPECT_EQ(locked(), 0U);
  Write("aes1 = pcm\nAES8 = Dolby-E line 9\naes3 = none\n");
  EXPECT_EQ(locked(), 0x81U);
  EXPECT_EQ(board.Core<sim::AesRxModel>("out_aud_aes_rx").Word(4), 0U);
  EXPECT_EQ(board.Core<sim::AesRxModel>("out_aud_aes_rx").Word(60), 0x9CU);
  Write("aes2 = data 31\naes8 = tartan\n");
  EXPECT_EQ(locked(), 0x82U);
  EXPECT_EQ(board.Core<sim::AesRxModel>("out_aud_aes_rx").Word(12), 0x9FU);
}

// The two bytes of each chip come out in the transfer behind the one that asks for them.
TEST_F(SignalFileTest, TransfersFollowTheFile) {
  ASSERT_EQ(board.equaliserSpi.Open(), 0);
  ASSERT_EQ(board.equaliserSpi.SetMode(1), 0);
  const auto statusOfInput1 = [&] {
    constexpr std::uint8_t kReadStatus = 0x8F;
    std::array<std::uint8_t, 10> bytes{};
    for (int i = 0; i < 2; ++i) {
      bytes = {kReadStatus, 0, kReadStatus, 0, kReadStatus, 0, kReadStatus, 0, kReadStatus, 0};
      spi_ioc_transfer transfer{};
      transfer.tx_buf = transfer.rx_buf = reinterpret_cast<std::uintptr_t>(bytes.data());
      transfer.len = bytes.size();
      EXPECT_EQ(board.equaliserSpi.Transfer(transfer), 10);
    }
    return unsigned{bytes[7]};
  };
  EXPECT_EQ(statusOfInput1(), 4U);
  Write("sdi1 = 1920x1080p 50 A\n");
  EXPECT_EQ(statusOfInput1(), 4U);  // looked at a moment ago
  board.clock.Advance(std::chrono::milliseconds(100));
  EXPECT_EQ(statusOfInput1(), 6U);
  Write("sdi0 = 5\n");
  board.clock.Advance(std::chrono::milliseconds(100));
  EXPECT_EQ(statusOfInput1(), 1U);
}

TEST_F(SignalFileTest, ReferencesFollowTheFile) {
  RefDetect detect("ref_detect", 0x3800000);
  detect.Reset();
  const auto formats = [&] {
    board.clock.Advance(std::chrono::milliseconds(100));
    (void)rx.GetStatusText();  // any load looks at the file
    return std::pair(detect.GetReferenceFormat(false), detect.GetReferenceFormat(true));
  };
  EXPECT_EQ(formats(), std::pair(15, 0));
  Write("ref1 = none\nref2 = 525i 59.94\n");
  EXPECT_EQ(formats(), std::pair(0, 5));
  Write("ref1 = none\nref2 = 525i 59.94, crc 1\n");
  EXPECT_EQ(formats(), std::pair(0, 5));
  EXPECT_EQ(board.log.Messages(4).back(),
            File() + ":2: 'ref2 = 525i 59.94, crc 1': no such standard");
  Write("ref1 = 625i\t50\n");
  EXPECT_EQ(formats(), std::pair(6, 0));
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
