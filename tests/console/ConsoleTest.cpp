#include <gtest/gtest.h>

#include <algorithm>

#include "Program.h"

// What an operator does and sees, on the simulated board.
namespace {

constexpr const char* kGoodbye = "Closing App...\nGoodbye and thanks for all the fish.\n";
constexpr ProgramEnd kNormalEnd{.exitStatus = 0};

int CountOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (std::size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
    ++count;
  }
  return count;
}

TEST(Console, HelpShowsTheCommandsOfEachMenu) {
  const TestFolder folder;
  TerminalProgram console(folder);
  EXPECT_EQ(console.Banner(), "main> ");
  EXPECT_EQ(console.Run("help"),
            "Commands available:\n"
            " - help\n\tThis help message\n"
            " - exit\n\tQuit the session\n"
            " - color\n\tEnable colors in the cli\n"
            " - removecmds\n\t\n"
            " - bitfields\n\t(menu)\n"
            " - eeprom\n\t(menu)\n"
            " - sdi\n\t(menu)\n");
  EXPECT_EQ(console.Run("bitfields", "bitfields> "), "");
  EXPECT_EQ(console.Run("help", "bitfields> "),
            "Commands available:\n"
            " - help\n\tThis help message\n"
            " - exit\n\tQuit the session\n"
            " - ls\n\tList all bitfield modules\n"
            " - ls <string>\n\tList all bitfield modules that match arg\n"
            " - lsbf <string>\n\tList all bitfields of the specified module\n"
            " - lsbf <string> <string>\n\tFrom module arg1 list all bitfields that match arg2\n"
            " - read <string>\n\tFrom module arg1 read the values of all bitfields\n"
            " - read <string> <string>\n"
            "\tFrom module arg1 read the values of all bitfields that match arg2\n"
            " - write <string> <string> <string>\n"
            "\tWrite module arg1, bitfield arg2, the value of arg3 (can be decimal or hex)\n"
            " - txsdisetup <string>\n\tSetup the SDI transmitter\n"
            " - readraw <string>\n\tRead the raw data value from the address given\n"
            " - writeraw <string> <string>\n\tWrite the raw data value to the address given\n"
            " - rxgetroute <string>\n\tGet the route of the SDI receiver\n"
            " - txgetroute <string>\n\tGet the route of the SDI transmitter\n"
            " - rxsetroute <string> <string>\n\tSet the route of the SDI receiver\n"
            " - txsetroute <string> <string>\n\tSet the route of the SDI transmitter\n"
            " - main\n\t(menu)\n");
  EXPECT_EQ(console.Run("main"), "");
  EXPECT_EQ(console.Run("eeprom", "eeprom> "), "");
  EXPECT_EQ(console.Run("help", "eeprom> "),
            "Commands available:\n"
            " - help\n\tThis help message\n"
            " - exit\n\tQuit the session\n"
            " - readmac <string>\n\tRead the MAC Address at arg1 from the storage device\n"
            " - writemac <string>\n\tWrite the MAC address arg1 to the storage device\n"
            " - erase\n\tErase the entire EEPROM\n"
            " - writevariant <string>\n\tWrite the board variant arg1 to the storage device\n"
            " - readvariant\n\tRead the board variant from the storage device\n"
            " - writerev <string>\n\tWrite the hardware revision arg1 to the storage device\n"
            " - readrev\n\tRead the hardware revision from the storage device\n"
            " - readsn\n\tRead the serial number from the storage device\n"
            " - writesn <string>\n\tWrite the serial number arg1 to the storage device\n"
            " - main\n\t(menu)\n");
  EXPECT_EQ(console.Run("main"), "");
  EXPECT_EQ(console.Run("sdi", "sdi> "), "");
  EXPECT_EQ(console.Run("help", "sdi> "),
            "Commands available:\n"
            " - help\n\tThis help message\n"
            " - exit\n\tQuit the session\n"
            " - eqmode <string>\n\tSet equalizer to forced mode\n"
            " - eqrate <string>\n\tReturn SDI equalizer rate\n"
            " - drvsignaldetect <string>\n\tReturn debug information for SDI receiver\n"
            " - main\n\t(menu)\n");
}

TEST(Console, ListsReadsAndWritesRegisterFields) {
  const TestFolder folder;
  TerminalProgram console(folder);
  const std::string modules = console.Run("bitfields ls");
  EXPECT_EQ(std::count(modules.begin(), modules.end(), '\n'), 53);
  EXPECT_EQ(modules.substr(0, modules.find('\n')),
            "emb_0...................................<03400000>");
  EXPECT_EQ(console.Run("bitfields ls x_c"),
            "sdi_rx_crosspoint.......................<00100000>\n"
            "sdi_tx_crosspoint.......................<00200000>\n");
  EXPECT_EQ(console.Run("bitfields ls nothing"), "No Modules Found\n");

  EXPECT_EQ(console.Run("bitfields", "bitfields> "), "");
  const std::string fields = console.Run("lsbf irq_handler", "bitfields> ");
  EXPECT_EQ(std::count(fields.begin(), fields.end(), '\n'), 25);
  EXPECT_EQ(fields.substr(0, fields.find('\n')),
            "irqOutputStatus.........................<00000060>");
  EXPECT_EQ(console.Run("lsbf irq_handler clr_3", "bitfields> "),
            "irq_clr_32_63...........................<00000044>\n");
  EXPECT_EQ(console.Run("read irq_handler mask_1", "bitfields> "),
            "irq_mask_128_159........................<00000010> Value:<FFFFFFFF>\n"
            "irq_mask_160_191........................<00000014> Value:<FFFFFFFF>\n"
            "irq_mask_192_223........................<00000018> Value:<FFFFFFFF>\n");

  EXPECT_EQ(console.Run("write irq_handler irq_mask_0_31 0x55", "bitfields> "),
            "Value 0X00000055 was written successfully, read back:\n"
            "irq_mask_0_31...........................<00000000> Value:<00000055>\n");
  EXPECT_EQ(console.Run("write irq_handler irq_mask_0_31 -1", "bitfields> "),
            "Value 0XFFFFFFFF was written successfully, read back:\n"
            "irq_mask_0_31...........................<00000000> Value:<FFFFFFFF>\n");
  // A value that doesn't fit is the log's business.
  EXPECT_EQ(console.Run("write irq_handler irqOutputStatus 2", "bitfields> "),
            "Value 0X00000002 was written successfully, read back:\n"
            "irqOutputStatus.........................<00000060> Value:<00000000>\n");
  const std::string log = folder.Read("board/log.txt");
  EXPECT_NE(log.find(") Write data 0x2 exceeds bitfield width of 1 lsb 0 for address 0x60\n"),
            std::string::npos)
      << log;
}

TEST(Console, ColorCommandsTakeTurnsUntilTheyAreRemoved) {
  const TestFolder folder;
  TerminalProgram console(folder, {.term = "xterm"});
  const std::string plain = "main\x1b[0m> ";
  const std::string colored = "\x1b[32m\x1b[1mmain\x1b[0m> ";
  EXPECT_EQ(console.Banner(), plain);

  console.Type("nocolor<return>");
  EXPECT_NE(console.ReadUntil('\n' + plain).find("wrong command: nocolor\n"), std::string::npos);
  console.Type("color<return>");
  EXPECT_NE(console.ReadUntil(colored).find("\nColors ON\n"), std::string::npos);
  console.Type("color<return>");
  EXPECT_NE(console.ReadUntil('\n' + colored).find("wrong command: color\n"), std::string::npos);
  console.Type("nocolor<return>");
  EXPECT_NE(console.ReadUntil('\n' + plain).find("\nColors OFF\n"), std::string::npos);
  console.Type("removecmds<return>");
  (void)console.ReadUntil('\n' + plain);
  console.Type("color<return>");
  EXPECT_NE(console.ReadUntil('\n' + plain).find("wrong command: color\n"), std::string::npos);
  console.Type("help<return>");
  EXPECT_EQ(console.ReadUntil('\n' + plain).find("color"), std::string::npos);
}

TEST(Console, LinesAreCompletedEditedAndCalledBack) {
  const TestFolder folder;
  {
    TerminalProgram console(folder);
    console.Type("<tab>");
    EXPECT_EQ(console.ReadUntil("\nmain> "),
              "\n\tbitfields\tcolor\teeprom\texit\thelp\tremovecmds\tsdi\nmain> ");
    console.Type("bi<tab>");
    (void)console.ReadUntil("bitfields ");
    console.Type("ls<left><left>");  // then, in the middle of the line: "bitfields rx ls"
    console.Type("rx <home><end><left><left><left><backspace><backspace><backspace>");
    console.Type("<right><right><right> rx<return>");
    EXPECT_NE(console.ReadUntil("\nmain> ")
                  .find("\nsdi_rx_crosspoint.......................<00100000>\n"),
              std::string::npos);
    EXPECT_EQ(console.Run("first"), "wrong command: first\n");
    console.Type("<up><up><down><home>x<delete><end>!<return>");
    EXPECT_NE(console.ReadUntil("\nmain> ").find("wrong command: xirst!\n"), std::string::npos);
    console.Type("not run<ctrl-d>");
    EXPECT_NE(console.ReadUntil("fish.\n").find(kGoodbye), std::string::npos);
    EXPECT_EQ(console.Wait(), kNormalEnd);
    EXPECT_EQ(console.Modes(), console.InitialModes());
  }
  TerminalProgram console(folder);
  console.Type("<up><up><return>");
  EXPECT_NE(console.ReadUntil("\nmain> ").find("wrong command: first\n"), std::string::npos);
  EXPECT_EQ(console.Run("exit", kGoodbye), "");
  EXPECT_EQ(console.Wait(), kNormalEnd);
  EXPECT_EQ(console.Modes(), console.InitialModes());
  EXPECT_EQ(folder.Read(".cli"), "bitfields ls rx\nfirst\nxirst!\nfirst\nexit\n");
  EXPECT_EQ(folder.Read("stderr.txt"), "");
}

TEST(Console, ScriptRunsToTheEndOfItsInput) {
  const std::string script =
      "bitfields\n"
      "write irq_handler irq_mask_32_63 011\n"
      "main\n"
      "unknown";
  const std::string session =
      "main> bitfields\n"
      "bitfields> write irq_handler irq_mask_32_63 011\n"
      "Value 0X00000009 was written successfully, read back:\n"
      "irq_mask_32_63..........................<00000004> Value:<00000009>\n"
      "bitfields> main\n"
      "main> unknown";
  for (const ScriptSource source : {ScriptSource::kFile, ScriptSource::kPipe}) {
    const TestFolder folder;
    const ScriptResult result = RunScript(folder, script, source);
    EXPECT_EQ(result.output, session + kGoodbye);
    EXPECT_EQ(result.end, kNormalEnd);
    EXPECT_EQ(folder.Read(".cli"), "bitfields\nwrite irq_handler irq_mask_32_63 011\nmain\n");
  }
}

TEST(Console, StartsWithEveryStrapAndLogsWhatItCouldNotRead) {
  const std::string unknown = "Number of devices is unknown, defaulting to 5...";
  const struct {
    const char* settings;
    std::string printed;
    int devices;
    const char* warning;  // behind the record's origin; empty for none
  } cases[] = {
      {"ps_mio2 = 0\nps_mio3 = 1\n", "", 2, ""},
      {"ps_mio2 = 1\nps_mio3 = 0\n", "", 3, ""},
      {"ps_mio2 = 1\nps_mio3 = 1\n", "", 5, ""},
      {"ps_mio2 = 0\nps_mio3 = 0\n", unknown, 5, ""},
      {"ps_mio3 = error\n", unknown, 5,
       "Unable to read the strap pins: gpiod_line_get_value: Input/output error"},
      {"strap_line_busy = yes\n", unknown, 5,
       "Unable to read the strap pins: gpiod_line_request_input: Device or resource busy"},
      {"strap_chip_missing = yes\n", unknown, 5,
       "Unable to read the strap pins: gpiod_chip_open_by_name: No such file or directory"},
  };
  for (const auto& [settings, printed, devices, warning] : cases) {
    const TestFolder folder;
    // Each write to the driver chain fails with a line: one clears the addresses, and each device
    // gets one. A reading of the equalisers names each of them twice.
    folder.Write("board/board.conf", std::string(settings) + "driver_spi_fault = transfer\n");
    const ScriptResult result = RunScript(folder, "sdi eqrate 0\n");
    EXPECT_EQ(result.output.substr(0, printed.size() + 6), printed + "main> ") << settings;
    EXPECT_EQ(result.end, kNormalEnd) << settings;
    const std::string log = folder.Read("board/log.txt");
    const std::size_t found = log.find("\n4 DeviceCount.cpp:ReadDeviceCount(");
    EXPECT_EQ(found != std::string::npos, *warning != '\0') << log;
    EXPECT_NE(log.find(warning), std::string::npos) << log;
    EXPECT_EQ(CountOf(log, ") Unable to write to device\n"), devices + 1) << settings;
    EXPECT_EQ(CountOf(log, " 0x0f: 0x"), 2 * devices) << settings;
  }
}

}  // namespace
