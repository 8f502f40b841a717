#include "regaccess/BitfieldManager.h"

#include <gtest/gtest.h>

#include <stdexcept>
#include <thread>

#include "log/Log.h"
#include "sim/Board.h"
#include "support/Accesses.h"
#include "support/Emulator.h"

namespace {

using sim::Loaded;
using sim::LogRecord;
using sim::Stored;
using Lines = std::vector<std::string>;

constexpr std::array<Field, 6> kFields{{{"whole", 0x00, 0, 32},
                                        {"low", 0x04, 0, 4},
                                        {"middle", 0x04, 4, 12},
                                        {"top", 0x04, 31, 1},
                                        {"wide31", 0x08, 0, 31},
                                        {"status_a", 0x0C, 8, 8}}};

constexpr std::uint32_t kBase = 0x3A00000;  // a slot without a core: plain memory

class BitfieldManagerTest : public testing::Test {
 protected:
  BitfieldManagerTest() {
    MeanStrayAccesses();
    SetLogLevel(kLogDebug);
  }
  Lines Errors() { return board.log.Messages(3); }

  sim::Board& board = sim::Board::Get();
};

class Module : public RegisterBlock<kFields> {
 public:
  explicit Module(const std::string& name = "module") : RegisterBlock(name, kBase) {}
};

TEST_F(BitfieldManagerTest, FieldsAreReadAndWrittenWithinTheirBits) {
  Module module;
  EXPECT_TRUE(board.log.Messages(6).front().starts_with(
      "FPGA CSR bridge mmap success of 0x4000000 bytes at addr 0x"));
  board.registers.Poke(kBase + 4, 0xDEADBEEF);
  EXPECT_EQ(AccessesOf([&] {
              EXPECT_EQ(module.ReadBitfield("middle"), 0xBEEU);
              module.WriteBitfield("middle", 0x123);
              module.WriteBitfieldNoRmw("top", 1);
              module.WriteBitfield("whole", 0xFFFFFFFF);
              module.WriteBitfield("wide31", 0x80000000);  // too wide: refused after the load
              module.WriteBitfieldNoRmw("low", 16);
            }),
            (Accesses{Loaded(kBase + 4, 0xDEADBEEF), Loaded(kBase + 4, 0xDEADBEEF),
                      Stored(kBase + 4, 0xDEAD123F), Stored(kBase + 4, 0x80000000),
                      Loaded(kBase, 0), Stored(kBase, 0xFFFFFFFF), Loaded(kBase + 8, 0)}));
  EXPECT_EQ(
      board.log.WithoutOrigins(),
      (std::vector<LogRecord>{
          {7, "raw 0xe80001: 0x80000000"},
          {3, "Write data 0x80000000 exceeds bitfield width of 31 lsb 0 for address 0x3a00008"},
          {3, "Write data 0x10 exceeds bitfield width for address 0x3a00004"}}));

  BitfieldManager& manager = module;  // names that come at run time reach the same fields
  manager.WriteBitfield(std::string("middle"), 0x321);
  EXPECT_EQ(module.ReadBitfield("middle"), 0x321U);
  EXPECT_EQ(manager.GetBitfield("top").address, kBase + 4);
}

// Two threads write two fields of one word: neither may undo what the other wrote.
TEST_F(BitfieldManagerTest, FieldWritesAreAtomicWithinAManager) {
  Module module;
  std::uint32_t lost = 0;
  std::thread other([&module] {
    for (std::uint32_t i = 0; i <= 2000; ++i) {
      module.WriteBitfield("middle", i);
    }
  });
  for (std::uint32_t i = 0; i <= 2000; ++i) {
    static_cast<BitfieldManager&>(module).WriteBitfield(std::string("low"), i % 16);
    lost += module.ReadBitfield("low") != i % 16 ? 1U : 0U;
  }
  other.join();
  EXPECT_EQ(lost, 0U);
  EXPECT_EQ(module.ReadBitfield("middle"), 2000U);
}

TEST_F(BitfieldManagerTest, AddressesAreCheckedBeforeTheyAreTouched) {
  BitfieldManager manager("manager", 0);
  manager.AddBitfield("last", 0x3FFFFFC, 0, 32);
  manager.AddBitfield("past", 0x4000000, 0, 32);
  manager.AddBitfield("askew", 0x4000002, 0, 32);
  manager.AddBitfield("empty", 0x3A00000, 5, 0);
  manager.WriteBitfield("last", 7);
  EXPECT_EQ(manager.ReadBitfield("last"), 7U);
  manager.WriteBitfield("empty", 0);
  EXPECT_EQ(manager.ReadBitfield("empty"), 0U);
  EXPECT_TRUE(Errors().empty());
  std::uint32_t value = 99;
  EXPECT_EQ(AccessesOf([&] {
              EXPECT_EQ(manager.ReadBitfield("past", &value), -1);
              EXPECT_EQ(manager.ReadBitfield("askew"), 0xFFFFFFFFU);
              manager.WriteBitfield("past", 1);
              manager.WriteBitfieldNoRmw("past", 1);
              manager.WriteBitfield("askew", 1);
              manager.WriteBitfieldNoRmw("askew", 1);
              manager.RawWrite(0x4000002, 1);
              manager.RawWrite(0x4000000, 1);
              EXPECT_EQ(manager.RawRead(0x4000002), 0U);
              EXPECT_EQ(manager.RawRead(0x4000000), 0U);
            }),
            Accesses{});
  EXPECT_EQ(value, 99U);
  EXPECT_EQ(
      Errors(),
      (Lines{"Attempt to read illegal FPGA CSR address", "Non-aligned FPGA CSR read access",
             "Attempt to write illegal FPGA CSR address",
             "Attempt to write illegal FPGA CSR address",
             "Non-aligned FPGA CSR write access to addr 0x4000002",
             "Non-aligned FPGA CSR write access", "Non-aligned FPGA CSR write access to 0x4000002",
             "Attempt to write illegal FPGA CSR address", "Non-aligned FPGA CSR read access",
             "Attempt to read illegal FPGA CSR address"}));
}

TEST_F(BitfieldManagerTest, DeclarationsAreChecked) {
  BitfieldManager manager("manager", 0);
  manager.AddBitfield("a", 0, 0, 1);
  const auto refusal = [&](const std::function<void()>& operation) {
    board.log.Clear();
    try {
      operation();
    } catch (const std::invalid_argument& error) {
      return Lines{error.what(), board.log.Messages(2).at(0)};
    }
    return Lines{};
  };
  const Lines outOfRange{
      "Bitfield parameters out of range. Failed to add Bitfield.",
      "Bitfield parameters out of range. Failed to add Bitfield. Throwing exception!"};
  EXPECT_EQ(refusal([&] { manager.AddBitfield("b", 0, 0, 33); }), outOfRange);
  EXPECT_EQ(refusal([&] { manager.AddBitfield("b", 0, 32, 1); }), outOfRange);
  EXPECT_EQ(
      refusal([&] { manager.AddBitfield("a", 4, 0, 1); }),
      (Lines{
          "Failed to add bitfield.",
          "Failed to add bitfield. Bitfield with this name already exists. Throwing exception!"}));
  EXPECT_EQ(refusal([&] { manager.ReadBitfield("b"); }),
            (Lines{"Cannot find specified bitfield b",
                   "Bitfield manager cannot find bitfield b. Throwing Exception!"}));
  EXPECT_EQ(
      refusal([] { BitfieldManager("manager", 0x100000); }),
      (Lines{
          "Tried instantiating bitfield manager with duplicate name",
          "Bitfield Manager manager already exists. This is not supported! Throwing exception!"}));
}

TEST_F(BitfieldManagerTest, ReportsListByNameAndFilter) {
  Module first("module_b");
  BitfieldManager second(std::string(40, 'm'), 0x3B00000);
  EXPECT_THROW(Module("module_b"), std::invalid_argument);
  board.registers.Poke(kBase + 12, 0x2A00);
  Lines lines{"old"};
  BitfieldManager::ListModules(lines, "nothing");
  EXPECT_TRUE(lines.empty());
  BitfieldManager::ListModules(lines, "m");
  EXPECT_EQ(lines, (Lines{std::string(40, 'm') + "<03B00000>",
                          "module_b................................<03A00000>"}));
  EXPECT_EQ(BitfieldManager::ListBitfields(lines, "module_b", "w"), 0);
  EXPECT_EQ(lines, (Lines{"low.....................................<03A00004>",
                          "whole...................................<03A00000>",
                          "wide31..................................<03A00008>"}));
  EXPECT_EQ(BitfieldManager::ListBitfieldValues(lines, "module_b", "status"), 0);
  EXPECT_EQ(lines, (Lines{"status_a................................<03A0000C> Value:<0000002A>"}));
  for (const auto& list : {BitfieldManager::ListBitfields, BitfieldManager::ListBitfieldValues}) {
    lines = {"old"};
    EXPECT_EQ(list(lines, "module_c", ""), -1);
    EXPECT_TRUE(lines.empty());
  }

  std::string report = "untouched";
  EXPECT_EQ(BitfieldManager::WriteBitfieldAndReport(report, "module_b", "none", 1), -1);
  EXPECT_EQ(BitfieldManager::WriteBitfieldAndReport(report, "none", "low", 1), -1);
  EXPECT_EQ(report, "untouched");
  EXPECT_EQ(board.log.Messages(2).size(), 1U);  // of the second "module_b"
  EXPECT_EQ(BitfieldManager::WriteBitfieldAndReport(report, "module_b", "low", 5), 0);
  EXPECT_EQ(BitfieldManager::WriteBitfieldAndReport(report, "module_b", "low", 16), 0);
  EXPECT_EQ(report, "low.....................................<03A00004> Value:<00000005>");
}

TEST_F(BitfieldManagerTest, WindowIsMappedByTheFirstManagerAndOnlyOnce) {
  FpgaCsrAccess bridge;
  const Bitfield field(kBase, 0, 8);
  std::uint32_t value = 99;
  EXPECT_EQ(bridge.Read(field, &value), -1);
  EXPECT_EQ(bridge.Write(field, 1), -1);
  EXPECT_EQ(bridge.WriteNoRmw(field, 1), -1);
  EXPECT_EQ(bridge.RawUnsafeRead(kBase), 0U);
  EXPECT_EQ(bridge.Shutdown(), -1);
  Module module;
  EXPECT_TRUE(bridge.IsInitialized());
  EXPECT_EQ(bridge.Init(), -1);
  board.settings.unmappingRefused = true;
  EXPECT_EQ(bridge.Shutdown(), -1);
  EXPECT_TRUE(bridge.IsInitialized());
  board.settings.unmappingRefused = false;
  EXPECT_EQ(bridge.Shutdown(), 0);
  EXPECT_EQ(module.ReadBitfield("low"), 0xFFFFFFFFU);
  EXPECT_EQ(Errors(),
            (Lines{"Attempt to read from un-initialized FPGA CSR bridge",
                   "Attempt to write to un-initialized FPGA CSR bridge",
                   "Attempt to write to un-initialized FPGA CSR bridge",
                   "Attempt to read illegal FPGA CSR address",
                   "Attempt to shutdown uninitialized FPGA CSR bridge",
                   "Attempt to re-initialize FPGA CSR bridge", "Unable to munmap FPGA CSR bridge",
                   "Attempt to read from un-initialized FPGA CSR bridge"}));
  EXPECT_EQ(board.log.Messages(6).back(), "Successfully munmapped FPGA CSR bridge");
  EXPECT_EQ(bridge.Init(), 0);
}

using BitfieldManagerDeathTest = BitfieldManagerTest;

TEST_F(BitfieldManagerDeathTest, RegisterThatDoesNotAnswerIsNamedWithItsModule) {
  board.settings.busErrorAt = kBase + 4;
  Module module;
  BitfieldManager above("above", kBase + 0x100000);
  EXPECT_EXIT(module.ReadBitfield("low"), testing::KilledBySignal(SIGBUS),
              "Bus error at register address 0x03a00004 of module\n");
  EXPECT_EXIT(raise(SIGBUS), testing::KilledBySignal(SIGBUS), kOnlyTheSignal);
}

}  // namespace
