#include "BoardCommands.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <memory>
#include <sstream>

#include "Program.h"
#include "SysEeprom.h"
#include "cli/Cli.h"
#include "cli/CliSession.h"
#include "cli/HistoryStorage.h"
#include "devices/GS12281_Soc.h"
#include "devices/M23664_Soc.h"
#include "devices/SdiCableEqInterface.h"
#include "interfaces/Spi_Soc.h"
#include "sim/Board.h"
#include "sim/models/SdiTxModel.h"
#include "support/Accesses.h"
#include "top/TopFpga.h"

namespace {

using sim::Stored;

class NoHistory : public cli::HistoryStorage {
 public:
  void Store(const std::vector<std::string>& /*commands*/) override {}
  std::vector<std::string> Commands() const override { return {}; }
  void Clear() override {}
};

// The commands over the board's drivers, in a session whose output is kept.
class BoardCommandsTest : public testing::Test {
 protected:
  BoardCommandsTest() {
    board.clock.TakeOver();
    (void)spi.Initialize("/dev/spidev1.0");
    (void)equalisers.Initialize(&spi, {.mode = 1, .bitsPerWord = 8, .speedHz = 5'000'000});
    for (std::size_t i = 0; i < 5; ++i) {
      auto chip = std::make_unique<M23664_Soc>();
      (void)chip->Initialize(&spi, {}, i, 5);
      equalisers.AddDevice(chip.release());
    }
    auto top = std::make_unique<cli::Menu>("main");
    auto bitfields = std::make_unique<cli::Menu>("bitfields");
    commands.AddTo(*bitfields);
    top->AddSubmenu(std::move(bitfields));
    top->AddSubmenu(commands.EepromMenu());
    top->AddSubmenu(commands.SdiMenu());
    console = std::make_unique<cli::Cli>(std::move(top), std::make_unique<NoHistory>());
    session = std::make_unique<cli::CliSession>(*console, screen, 10);
    board.log.Clear();
  }

  // What a line writes to the session's stream and, behind it, to standard output.
  std::string Run(const std::string& line) {
    screen.str("");
    testing::internal::CaptureStdout();
    session->ProcessLine(line);
    return screen.str() + testing::internal::GetCapturedStdout();
  }

  sim::Board& board = sim::Board::Get();
  CSysEeprom eeprom;
  TopFpgaImpl fpga{4};
  Spi_Soc spi;
  SdiCableEqInterface equalisers;
  GS12281_Soc drivers;
  BoardCommands commands{&eeprom, &fpga, &equalisers, &drivers};
  std::ostringstream screen;
  std::unique_ptr<cli::Cli> console;
  std::unique_ptr<cli::CliSession> session;
};

TEST_F(BoardCommandsTest, RawWordsOfAnyModuleAreReadAndWritten) {
  MeanStrayAccesses();
  EXPECT_EQ(Run("bitfields writeraw 0x3A00010 -2"), "Raw Read 0x3A00010: 4294967294");
  EXPECT_EQ(Run("bitfields readraw 0x3A00010"), "Raw Read 0x3A00010: 4294967294");
  EXPECT_EQ(Run("bitfields readraw 2"), "Raw Read 2: 0");
  board.registers.StartTrace();
  EXPECT_EQ(Run("bitfields readraw x"), "Address argument <x> cannot be converted to integer\n");
  EXPECT_EQ(Run("bitfields writeraw x y"), "Address argument <x> cannot be converted to integer\n");
  EXPECT_EQ(Run("bitfields writeraw 0 y"), "Value argument <y> cannot be converted to integer\n");
  EXPECT_EQ(Run("bitfields writeraw 0 0x80000000"),
            "Value argument <0x80000000> cannot be converted to integer\n");
  EXPECT_TRUE(board.registers.TakeTrace().empty());
}

TEST_F(BoardCommandsTest, RoutesAreSetAndThenEnabled) {
  board.registers.StartTrace();
  EXPECT_EQ(Run("bitfields rxsetroute 1 2"), "Source: 1 --> Destination: 2\n");
  EXPECT_EQ(Run("bitfields txsetroute x 3"),
            "Source: 0 --> Destination: 3\n"
            "Source argument <x> cannot be converted to integer\n");
  EXPECT_EQ(Run("bitfields rxsetroute 9 0"), "Source: 9 --> Destination: 0\n");  // refused
  EXPECT_EQ(board.registers.TakeTrace(),
            (std::vector{Stored(0x100008, 0x80000001), Stored(0x100008, 1),
                         Stored(0x20000C, 0x80000000), Stored(0x20000C, 0), Stored(0x100000, 0)}));
  EXPECT_EQ(board.log.Messages(3),
            (std::vector<std::string>{
                "sdi_rx_crosspoint Attempt to route from src 9, only 4 src avail"}));

  EXPECT_EQ(Run("bitfields rxgetroute 2"), "Source: 1 --> Destination: 2\n");
  EXPECT_EQ(Run("bitfields rxgetroute 4"), "Source: 0 --> Destination: 4\n");
  EXPECT_EQ(Run("bitfields rxgetroute x"),
            "Destination argument <x> cannot be converted to integer\n");
  EXPECT_EQ(Run("bitfields txgetroute x"),
            "Source: 0 --> Destination: 0\n"
            "Destination argument <x> cannot be converted to integer\n");
}

TEST_F(BoardCommandsTest, TransmitterIsSetUpInItsOrder) {
  board.registers.StartTrace();
  const std::string fields = Run("bitfields txsdisetup 1");
  const std::vector<sim::RegisterAccess> stores = board.registers.TakeStores();
  ASSERT_EQ(stores.size(), 24U);
  EXPECT_EQ(board.Core<sim::SdiTxModel>("sdi_tx1").Get("ncoV"), 958U);
  EXPECT_EQ(board.Core<sim::SdiTxModel>("sdi_tx1").Get("picxoCeDspRate"), 4095U);
  EXPECT_EQ(board.Core<sim::SdiTxModel>("sdi_tx1").Get("postCursor"), 5U);
  // The last four pulse both resets in the register at 0: core on, loop on, loop off, core off.
  EXPECT_EQ(stores[20].value & 0x81, 0x01U);
  EXPECT_EQ(stores[21].value & 0x81, 0x81U);
  EXPECT_EQ(stores[22].value & 0x81, 0x01U);
  EXPECT_EQ(stores[23].value & 0x81, 0x00U);
  EXPECT_EQ(std::count(fields.begin(), fields.end(), '\n'), 68);
  EXPECT_NE(fields.find("\nncoV....................................<0080002C> Value:<000003BE>\n"),
            std::string::npos)
      << fields;
  board.registers.StartTrace();
  EXPECT_EQ(Run("bitfields txsdisetup 7"), "Module  not found\n");
  EXPECT_EQ(Run("bitfields txsdisetup x"),
            "Destination argument <x> cannot be converted to integer\n");
  EXPECT_TRUE(board.registers.TakeTrace().empty());
}

TEST_F(BoardCommandsTest, MacAddressesAreReadAndWrittenByIndex) {
  EXPECT_EQ(Run("eeprom writemac 7=02:00:5e:10:00:ff"), "MAC Address 7: 02:00:5e:10:00:ff\n");
  EXPECT_EQ(Run("eeprom writemac 0a:1:2:3:4:5"), "MAC Address 0: 0a:01:02:03:04:05\n");
  EXPECT_EQ(Run("eeprom readmac 7"), "MAC Address 7: 02:00:5e:10:00:ff\n");
  for (const char* bad : {"64=1:2:3:4:5:6", "-1=1:2:3:4:5:6", "x=1:2:3:4:5:6", "1:2:3:4:5",
                          "7=", "7=1:2:3:4:5:z", "=1:2:3:4:5:6"}) {
    EXPECT_EQ(Run(std::string("eeprom writemac ") + bad),
              std::string("MAC address argument <") + bad + "> is not valid\n");
  }
  EXPECT_EQ(Run("eeprom readmac 7"), "MAC Address 7: 02:00:5e:10:00:ff\n");
  EXPECT_EQ(Run("eeprom readmac x"), "Index argument <x> cannot be converted to integer\n");
  EXPECT_EQ(Run("eeprom readmac 64"), "MAC Address 64: ERROR\n");
}

// What is read goes to the log alone.
TEST_F(BoardCommandsTest, InventoryIsWrittenReadAndErased) {
  for (const char* line : {"writesn SN-42", "writerev B2", "writevariant v7",
                           "writesn 0123456789abcdef", "readsn", "readrev", "readvariant"}) {
    EXPECT_EQ(Run(std::string("eeprom ") + line), "");
  }
  std::vector<std::string> records = board.log.Messages(6);
  records.erase(records.begin(), records.end() - 3);
  EXPECT_EQ(records, (std::vector<std::string>{"SN: SN-42\n", "REVISION: B2\n", "VARIANT: v7\n"}));
  EXPECT_EQ(Run("eeprom erase"), "");
  EXPECT_EQ(eeprom.ReadSerialNumber(), "");
}

TEST_F(BoardCommandsTest, EqualiserRatesHaveTheirNames) {
  const struct {
    std::uint32_t rate;
    const char* name;
  } cases[] = {{1, "MADI"}, {2, "SD"}, {3, "HD"}, {4, "3G"}, {5, "Unknown"}, {6, "12G"}};
  for (const auto& [rate, name] : cases) {
    board.equaliserChain.SetSignal(3, true, rate);
    EXPECT_EQ(Run("sdi eqrate 3"), std::string("Video Format: ") + name + "\n");
  }
  board.equaliserChain.SetSignal(0, true, 4);
  EXPECT_EQ(Run("sdi eqrate x"),
            "Value argument <x> cannot be converted to integer\nVideo Format: 3G\n");
  EXPECT_EQ(Run("sdi eqrate 5"), "Video Format: Unknown\n");
  EXPECT_EQ(Run("sdi eqrate -1"), "Video Format: Unknown\n");
}

TEST_F(BoardCommandsTest, ForcedModeGoesToEveryReceiverInReset) {
  board.registers.StartTrace();
  EXPECT_EQ(Run("sdi eqmode 2"), "");
  const std::vector<sim::RegisterAccess> trace = board.registers.TakeTrace();
  // Held in reset, detection ended, the mode set, released: of the first receiver.
  std::vector<sim::RegisterAccess> stores;
  for (const sim::RegisterAccess& access : trace) {
    if (access.kind == sim::RegisterAccess::Kind::kStore && stores.size() < 8) {
      stores.push_back(access);
    }
  }
  EXPECT_EQ(stores, (std::vector{Stored(0x300004, 1), Stored(0x300004, 3), Stored(0x300004, 7),
                                 Stored(0x30000C, 0x3E), Stored(0x30000C, 0x13E),
                                 Stored(0x300004, 6), Stored(0x300004, 4), Stored(0x300004, 0)}));
  std::vector<std::uint32_t> slots;
  for (const sim::RegisterAccess& access : trace) {
    if (slots.empty() || slots.back() != access.address / 0x100000) {
      slots.push_back(access.address / 0x100000);
    }
  }
  EXPECT_EQ(slots, (std::vector<std::uint32_t>{3, 4, 5, 6}));
  board.registers.StartTrace();
  EXPECT_EQ(Run("sdi eqmode fast"), "Value argument <fast> cannot be converted to integer\n");
  EXPECT_TRUE(board.registers.TakeTrace().empty());
}

TEST_F(BoardCommandsTest, DebugInformationSaysWhatIsThereAndWhatIsNot) {
  board.equaliserChain.SetSignal(1, true, 3);
  board.registers.StartTrace();
  const std::string text = Run("sdi drvsignaldetect 1");
  EXPECT_TRUE(board.registers.TakeStores().empty());
  EXPECT_EQ(text.substr(0, text.find('\n')), "Equalizer: signal, rate HD");
  EXPECT_NE(text.find("\nReceiver: "), std::string::npos);
  EXPECT_NE(text.find("\nVideo format: Unknown\nCRC errors: 0\n"), std::string::npos);
  EXPECT_EQ(Run("sdi drvsignaldetect 0").substr(0, 21), "Equalizer: no signal\n");
  board.equaliserChain.SetSignal(4, true, 5);
  EXPECT_EQ(Run("sdi drvsignaldetect 4"),
            "Equalizer: signal, rate 6G\nReceiver: none at index 4\n");
  for (const auto fault :
       {sim::SpiFault::kTransfer, sim::SpiFault::kBitsPerWord, sim::SpiFault::kShort}) {
    board.settings.equaliserSpiFault = fault;
    EXPECT_EQ(Run("sdi drvsignaldetect 4"),
              "Equalizer: does not answer\nReceiver: none at index 4\n");
  }
  EXPECT_EQ(Run("sdi drvsignaldetect -1"),
            "Equalizer: none at index -1\nReceiver: none at index -1\n");
  EXPECT_EQ(Run("sdi drvsignaldetect x"), "Value argument <x> cannot be converted to integer\n");
}

TEST(BoardConsole, ChainThatCannotBeInitialisedEndsTheProgramBeforeThePrompt) {
  const TestFolder folder;
  const ScriptResult result =
      RunScript(folder, "exit\n", ScriptSource::kFile, {.program = FAILING_CHAIN_PROGRAM});
  EXPECT_EQ(result.end, ProgramEnd{.exitStatus = 255});
  EXPECT_EQ(result.output, "");
  EXPECT_NE(folder.Read("board/log.txt")
                .find(") Unable to add GS12181 cable driver SPI chain to dev map\n"),
            std::string::npos);
}

}  // namespace
