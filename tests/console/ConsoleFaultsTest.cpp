#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <sstream>
#include <vector>

#include "Program.h"
#include "support/Emulator.h"

// What the console survives, and how it ends where it can't.
namespace {

constexpr ProgramEnd kNormalEnd{.exitStatus = 0};

// The severities and texts of the log, without where they come from.
std::vector<std::string> LogOf(const TestFolder& folder) {
  std::vector<std::string> records;
  std::istringstream log(folder.Read("board/log.txt"));
  for (std::string line; std::getline(log, line);) {
    records.push_back(line.substr(0, 2) + line.substr(line.find(") ") + 2));
  }
  return records;
}

TEST(ConsoleFaults, BadArgumentsGetTheirTextAndTouchNoRegister) {
  const std::string million(1'000'000, '7');
  const std::string zero(1, '\0');
  const struct {
    std::string line;
    std::string reply;
  } cases[] = {
      {"lsbf nobody", "Module nobody not found\n"},
      {"lsbf irq_handler xyz", "No Bitfields Found\n"},
      {"lsbf sdi_rx_crosspoint", "No Bitfields Found\n"},
      {"read nobody mask", "Module nobody not found\n"},
      {"read irq_handler xyz", "No bitfields found\n"},
      {"read %s%n%s", "Module %s%n%s not found\n"},
      {"ls %n", "No Modules Found\n"},
      {"read " + million, "Module " + million + " not found\n"},
      {"write nobody irq_mask_0_31 1", "Module nobody or bitfield irq_mask_0_31 not found\n"},
      {"write irq_handler nothing 1", "Module irq_handler or bitfield nothing not found\n"},
      {"write irq_handler irq_mask_0_31 " + million,
       "Value argument <" + million + "> cannot be converted to integer\n"},
      {"write irq_handler irq_mask_0_31 0x80000000",
       "Value argument <0x80000000> cannot be converted to integer\n"},
      {"write irq_handler irq_mask_0_31 %n",
       "Value argument <%n> cannot be converted to integer\n"},
      {"write irq_handler irq_mask_0_31 " + zero,
       "Value argument <" + zero + "> cannot be converted to integer\n"},
      {"write irq_handler irq_mask_0_31", "wrong command: write irq_handler irq_mask_0_31\n"},
      {"write irq_handler irq_mask_0_31 \"\"",
       "wrong command: write irq_handler irq_mask_0_31 \"\"\n"},
      {"write irq_handler irq_mask_0_31 1 2",
       "wrong command: write irq_handler irq_mask_0_31 1 2\n"},
      {"Read irq_handler", "wrong command: Read irq_handler\n"},
      {"lsbf", "wrong command: lsbf\n"},
  };
  const TestFolder folder;
  folder.Write("board/board.conf", "trace = yes\n");
  (void)RunScript(folder, "exit\n");
  const std::string bringUp = folder.Read("board/trace.txt");
  std::string script = "bitfields\n";
  std::string session = "main> bitfields\nbitfields> ";
  for (const auto& [line, reply] : cases) {
    script += line + '\n';
    session += line + '\n' + reply + "bitfields> ";
  }
  const ScriptResult result = RunScript(folder, script);
  EXPECT_EQ(result.output.substr(0, session.size()), session);
  EXPECT_EQ(result.end, kNormalEnd);
  EXPECT_EQ(folder.Read("board/trace.txt"), bringUp);

  // The trace does hold what a command that is in order does.
  (void)RunScript(folder, "bitfields write irq_handler irq_mask_0_31 3\n");
  EXPECT_EQ(folder.Read("board/trace.txt"),
            bringUp + "R 00000000 ffffffff\nW 00000000 00000003\nR 00000000 00000003\n");
}

TEST(ConsoleFaults, ClosedTerminalEndsTheSessionInOrder) {
  const TestFolder folder;
  TerminalProgram console(folder);
  (void)console.Run("bitfields ls");
  console.HangUp();
  EXPECT_EQ(console.Wait(), kNormalEnd);
  EXPECT_EQ(folder.Read(".cli"), "bitfields ls\n");
  EXPECT_EQ(LogOf(folder).back(), "6 Successfully munmapped FPGA CSR bridge");
}

// Without standard input there is nobody to serve; what the program opens is not taken for it.
TEST(ConsoleFaults, MissingStandardInputIsTheEndOfInput) {
  const TestFolder folder;
  const std::string command = "cd " + folder.PathOf("") + " && BOARD_SIM_DIR=board timeout 60 " +
                              kEmulator + " " + CONSOLE_SIM_PROGRAM + " <&- >output";
  EXPECT_EQ(std::system(command.c_str()), 0);
  EXPECT_EQ(folder.Read("output"), "main> Closing App...\nGoodbye and thanks for all the fish.\n");
}

TEST(ConsoleFaults, RegistersThatCannotBeReachedEndTheProgramBeforeThePrompt) {
  const struct {
    const char* settings;
    std::vector<std::string> log;
  } cases[] = {
      {"memory_missing = yes\n",
       {"3 Failed to open file /dev/mem for mmaping, FPGA CSR bridge is not usable",
        "3 FPGA CSR bridge mmap failed",
        "2 Failed to initialize FpgaCsrAccess. Throwing exception."}},
      {"mapping_refused = yes\n",
       {"3 FPGA CSR bridge mmap failed",
        "2 Failed to initialize FpgaCsrAccess. Throwing exception."}},
  };
  for (const auto& [settings, log] : cases) {
    const TestFolder folder;
    folder.Write("board/board.conf", settings);
    const ScriptResult result = RunScript(folder, "exit\n");
    EXPECT_EQ(result.end, ProgramEnd{.signal = SIGABRT});
    EXPECT_EQ(result.output, "");
    const std::vector<std::string> records = LogOf(folder);
    ASSERT_GE(records.size(), log.size());  // behind those of the inventory
    EXPECT_EQ(std::vector(records.end() - static_cast<std::ptrdiff_t>(log.size()), records.end()),
              log);
    EXPECT_NE(folder.Read("stderr.txt").find("Failed to initialize FpgaCsrACcess."),
              std::string::npos);
  }
}

TEST(ConsoleFaults, BusErrorNamesTheRegisterAndRestoresTheTerminal) {
  const TestFolder folder;
  folder.Write("board/board.conf", "bus_error_at = 0x14\n");
  TerminalProgram console(folder);
  EXPECT_EQ(console.Run("bitfields read irq_handler mask_0"),
            "irq_mask_0_31...........................<00000000> Value:<FFFFFFFF>\n");
  console.Type("bitfields read irq_handler<return>");
  EXPECT_EQ(console.Wait(), ProgramEnd{.signal = SIGBUS});
  EXPECT_EQ(console.Modes(), console.InitialModes());
  EXPECT_EQ(WithoutEmulator(folder.Read("stderr.txt")),
            "Bus error at register address 0x00000014 of irq_handler\n");
}

TEST(ConsoleFaults, ExceptionInTheConsoleIsReportedAndTheExitStatusStays) {
  if (kEmulated) {
    GTEST_SKIP() << "the emulator offers no filter of system calls";
  }
  const TestFolder folder;
  // The keyboard's wake-up pipe can't be opened.
  const ScriptResult result =
      RunScript(folder, "help\n", ScriptSource::kFile, {.refusesPipes = true});
  EXPECT_EQ(result.end, kNormalEnd);
  EXPECT_EQ(result.output, "");
  EXPECT_EQ(folder.Read("stderr.txt"),
            "Exception caught in main: stop pipe of the keyboard: Too many open files\n");
  EXPECT_EQ(LogOf(folder).back(), "6 Successfully munmapped FPGA CSR bridge");
}

}  // namespace
