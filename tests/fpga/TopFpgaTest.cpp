#include "top/TopFpga.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <optional>

#include "sim/Board.h"
#include "sim/FieldModel.h"
#include "support/Accesses.h"
#include "support/RegisterFacts.h"

namespace {

TEST(TopFpga, BringsTheDesignUpInOrder) {
  sim::Board& board = sim::Board::Get();
  board.clock.TakeOver();
  std::optional<TopFpgaImpl> fpga;
  const std::vector<std::uint32_t> slots = ModulesInOrder(AccessesOf([&] { fpga.emplace(4); }));
  // The audio path is first, and the enabling of the AES lines is its last step.
  const auto audioEnd = std::find(slots.begin(), slots.end(), 11U);
  ASSERT_NE(audioEnd, slots.end());
  EXPECT_EQ(
      std::vector<std::uint32_t>(audioEnd + 1, slots.end()),
      (std::vector<std::uint32_t>{3, 4, 5, 6, 48, 49, 50, 51, 7, 8, 9, 10, 52, 53, 54, 55, 56}));
  for (std::size_t i = 0; i < 4; ++i) {  // of 3 KiB each in 16 MiB
    AudioPathFacade& audio = fpga->GetAudioPathFacade();
    EXPECT_EQ(audio.GetInputAudioPathFacadeAtIndex(i)->GetDelay().GetChunkCount(), 5461U);
  }
  EXPECT_EQ(fpga->GetSdiRxs()[2]->GetIrqNumber(), 5U);
  EXPECT_EQ(fpga->GetSdiRxCrosspoint().GetNumDest(), 4U);

  std::vector<std::string> listed;
  std::vector<std::string> expected;
  BitfieldManager::ListModules(listed, "");
  for (const auto& [name, module] : facts::AllModules()) {
    expected.push_back(name + std::string(40 - name.size(), '.') +
                       FormatMessage("<%08X>", module.base));
  }
  EXPECT_EQ(listed, expected);
  EXPECT_EQ(AccessesOf([&] { fpga.reset(); }), Accesses{});
}

class TopFpgaPaths : public testing::TestWithParam<std::size_t> {};

TEST_P(TopFpgaPaths, InactivePathsAreSetUpAndStayInReset) {
  sim::Board& board = sim::Board::Get();
  board.clock.TakeOver();
  const auto core = [&](const char* module, std::size_t path) -> sim::FieldModel& {
    return board.Core<sim::FieldModel>(module, path);
  };
  for (std::size_t i = 0; i < 4; ++i) {
    core("sdi_tx#", i).FillWritable(0xA5C3965A);
    core("emb_#", i).Set("avAlignTpgEn", 1);  // a test pattern from before
    core("emb_#", i).Set("avAlignTpgNumFrames", 77);
  }
  std::optional<TopFpgaImpl> fpga;
  const auto stores = StoresOf([&] { fpga.emplace(static_cast<std::uint8_t>(GetParam())); });
  const std::size_t active = std::min(GetParam(), std::size_t{4});
  EXPECT_EQ(fpga->GetFramesyncs().size(), active);
  EXPECT_EQ(fpga->GetSdiRxs().size(), active);
  EXPECT_EQ(fpga->GetSdiTxs().size(), active);
  // What each module's initialisation, reset or holding writes to the word of its resets.
  constexpr struct {
    const char* module;
    std::ptrdiff_t ifActive, ifNot;
  } kWrites[] = {{"sdi_rx#", 12, 9}, {"framesync#", 2, 1}, {"sdi_tx#", 15, 11}};
  for (std::size_t i = 0; i < 4; ++i) {
    SCOPED_TRACE(i);
    for (const auto& [module, ifActive, ifNot] : kWrites) {
      const std::uint32_t word =
          facts::PlaceOf(std::string_view(NumberedName(module, i)), "reset").address;
      EXPECT_EQ(std::count_if(stores.begin(), stores.end(),
                              [&](const auto& store) { return store.address == word; }),
                i < active ? ifActive : ifNot)
          << module;
      EXPECT_EQ(core(module, i).Get("reset"), i < active ? 0U : 1U) << module;
    }
    EXPECT_EQ(core("sdi_rx#", i).Get("modeEnable"), 31U);
    EXPECT_EQ(core("sdi_tx#", i).Get("ncoV"), 958U);
    EXPECT_EQ(core("sdi_tx#", i).Get("picxoRefSelect"), 4U);
    EXPECT_EQ(core("emb_#", i).Get("reset"), 0U);  // audio comes up in any case
    EXPECT_EQ(core("emb_#", i).Get("avAlignTpgEn"), 0U);
    EXPECT_EQ(core("emb_#", i).Get("avAlignTpgNumFrames"), 10U);  // the shortest cycle
  }
  for (std::size_t i = 0; i < active; ++i) {
    fpga->GetFramesyncs()[i]->SetupFormat(18);  // lays its memory out, in units of 64 bytes
    EXPECT_EQ(core("framesync#", i).Get("baseAddr"), 0x800000U * i);
  }
}

INSTANTIATE_TEST_SUITE_P(Channels, TopFpgaPaths, testing::Values(0, 2, 4, 255));

}  // namespace
