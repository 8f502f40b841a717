#include "top/TopFpga.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdio>

#include "sim/Board.h"
#include "sim/models/AudioEmbedderModel.h"
#include "sim/models/FramesyncModel.h"
#include "sim/models/SdiRxModel.h"
#include "sim/models/SdiTxModel.h"
#include "support/Accesses.h"

namespace {

std::vector<std::string> Modules() {
  std::vector<std::string> lines;
  BitfieldManager::ListModules(lines, "");
  return lines;
}

std::string Line(const std::string& name, const char* address) {
  return name + std::string(40 - name.size(), '.') + "<" + address + ">";
}

// Every module that the console lists, at its place in the window.
std::vector<std::string> ExpectedModules() {
  std::vector<std::string> lines{
      Line("irq_handler", "00000000"),       Line("sdi_rx_crosspoint", "00100000"),
      Line("sdi_tx_crosspoint", "00200000"), Line("out_aud", "00B00000"),
      Line("out_aud_clk_gen", "02400000"),   Line("out_aud_mixer", "02500000"),
      Line("out_aud_madi_rx", "02600000"),   Line("out_aud_madi_tx", "02600000"),
      Line("out_aud_dante", "02800000"),     Line("out_aud_aes_rx", "02900000"),
      Line("out_aud_aes_tx", "02A00000"),    Line("out_aud_peak_meters", "02F00000"),
      Line("ref_detect", "03800000"),
  };
  struct OfEachPath {
    const char* before;
    const char* behind;
    std::uint32_t base;
  };
  for (const OfEachPath& kind : {OfEachPath{"sdi_rx", "", 0x300000},
                                 {"sdi_tx", "", 0x700000},
                                 {"in_aud_", "_deemb", 0xC00000},
                                 {"in_aud_", "_clk_gen", 0x1000000},
                                 {"in_aud_", "_mixer", 0x1400000},
                                 {"in_aud_", "_audio_delay", 0x1C00000},
                                 {"in_aud_", "_audio_delay_src", 0x2000000},
                                 {"in_aud_", "_peak_meters", 0x2B00000},
                                 {"framesync", "", 0x3000000},
                                 {"emb_", "", 0x3400000}}) {
    for (std::uint32_t i = 0; i < 4; ++i) {
      std::array<char, 9> address{};
      (void)std::snprintf(address.data(), address.size(), "%08X", kind.base + i * 0x100000);
      lines.push_back(Line(kind.before + std::to_string(i) + kind.behind, address.data()));
    }
  }
  std::sort(lines.begin(), lines.end());
  return lines;
}

TEST(TopFpga, BringsTheDesignUpInOrder) {
  sim::Board& board = sim::Board::Get();
  board.clock.TakeOver();
  board.registers.StartTrace();
  {
    TopFpgaImpl fpga(4);
    std::vector<std::uint32_t> slots = ModulesInOrder(board.registers.TakeTrace());
    // The audio path is first, and the enabling of the AES lines is its last step.
    const auto audioEnd = std::find(slots.begin(), slots.end(), 11U);
    ASSERT_NE(audioEnd, slots.end());
    EXPECT_EQ(
        std::vector<std::uint32_t>(audioEnd + 1, slots.end()),
        (std::vector<std::uint32_t>{3, 4, 5, 6, 48, 49, 50, 51, 7, 8, 9, 10, 52, 53, 54, 55, 56}));
    for (std::size_t i = 0; i < 4; ++i) {
      AudioPathFacade& audio = fpga.GetAudioPathFacade();
      EXPECT_EQ(audio.GetInputAudioPathFacadeAtIndex(i)->GetDelay().GetChunkCount(), 5461U)
          << i;  // of 3 KiB each in 16 MiB
    }
    EXPECT_EQ(fpga.GetFramesyncs().size(), 4U);
    EXPECT_EQ(fpga.GetSdiRxs().size(), 4U);
    EXPECT_EQ(fpga.GetSdiTxs().size(), 4U);
    EXPECT_EQ(fpga.GetSdiRxs()[2]->GetIrqNumber(), 5U);
    EXPECT_EQ(fpga.GetSdiRxCrosspoint().GetNumDest(), 4U);
    EXPECT_EQ(ExpectedModules().size(), 53U);
    EXPECT_EQ(Modules(), ExpectedModules());
    board.registers.StartTrace();
  }
  EXPECT_TRUE(board.registers.TakeTrace().empty());  // the end touches no core
}

struct ActivePaths {
  std::uint8_t channels;
  std::size_t active;
};
void PrintTo(const ActivePaths& paths, std::ostream* out) {
  *out << "channels " << unsigned{paths.channels};
}
class TopFpgaPaths : public testing::TestWithParam<ActivePaths> {};

TEST_P(TopFpgaPaths, InactivePathsStayInReset) {
  sim::Board& board = sim::Board::Get();
  board.clock.TakeOver();
  for (std::size_t i = 0; i < 4; ++i) {  // a test pattern from before
    auto& embedder = board.Core<sim::AudioEmbedderModel>("emb_#", i);
    embedder.Set("avAlignTpgEn", 1);
    embedder.Set("avAlignTpgNumFrames", 77);
  }
  TopFpgaImpl fpga(GetParam().channels);
  EXPECT_EQ(fpga.GetFramesyncs().size(), GetParam().active);
  EXPECT_EQ(fpga.GetSdiRxs().size(), GetParam().active);
  EXPECT_EQ(fpga.GetSdiTxs().size(), GetParam().active);
  for (std::size_t i = 0; i < 4; ++i) {
    const std::uint32_t held = i < GetParam().active ? 0 : 1;
    EXPECT_EQ(board.Core<sim::SdiRxModel>("sdi_rx#", i).Get("reset"), held) << i;
    EXPECT_EQ(board.Core<sim::SdiRxModel>("sdi_rx#", i).Get("modeEnable"), 31U)
        << i;  // set up in any case
    EXPECT_EQ(board.Core<sim::FramesyncModel>("framesync#", i).Get("reset"), held) << i;
    EXPECT_EQ(board.Core<sim::SdiTxModel>("sdi_tx#", i).Get("reset"), held) << i;
    EXPECT_EQ(board.Core<sim::AudioEmbedderModel>("emb_#", i).Get("reset"), 0U)
        << i;  // audio comes up in any case
    EXPECT_EQ(board.Core<sim::AudioEmbedderModel>("emb_#", i).Get("avAlignTpgEn"), 0U) << i;
    EXPECT_EQ(board.Core<sim::AudioEmbedderModel>("emb_#", i).Get("avAlignTpgNumFrames"),
              10U)
        << i;  // the shortest cycle
  }
  for (std::size_t i = 0; i < fpga.GetFramesyncs().size(); ++i) {
    fpga.GetFramesyncs()[i]->SetupFormat(18);  // lays its memory out, in units of 64 bytes
    EXPECT_EQ(board.Core<sim::FramesyncModel>("framesync#", i).Get("baseAddr"), 0x800000U * i) << i;
  }
}

INSTANTIATE_TEST_SUITE_P(Channels, TopFpgaPaths,
                         testing::Values(ActivePaths{0, 0}, ActivePaths{2, 2}, ActivePaths{4, 4},
                                         ActivePaths{255, 4}),
                         [](const auto& paths) { return std::to_string(paths.param.channels); });

}  // namespace
