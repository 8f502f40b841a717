#include "cli/Colors.h"

#include <gtest/gtest.h>
#include <pty.h>
#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>

namespace {

std::string PromptOn(std::ostream& stream, std::ostringstream& text) {
  text.str("");
  stream << cli::BeforePrompt << "main" << cli::AfterPrompt << "> ";
  stream << cli::BeforeInput << 'x' << cli::AfterInput;
  return text.str();
}

/// Standard output is a pseudo-terminal for as long as this stands.
class TerminalOnStdout {
 public:
  TerminalOnStdout() : saved(dup(STDOUT_FILENO)) {
    int slave = -1;
    if (openpty(&master, &slave, nullptr, nullptr, nullptr) != 0) {
      std::abort();
    }
    std::cout.flush();
    dup2(slave, STDOUT_FILENO);
    close(slave);
  }
  ~TerminalOnStdout() {
    std::cout.flush();
    dup2(saved, STDOUT_FILENO);
    close(saved);
    close(master);
  }
  TerminalOnStdout(const TerminalOnStdout&) = delete;
  TerminalOnStdout& operator=(const TerminalOnStdout&) = delete;

 private:
  int saved;
  int master = -1;
};

TEST(ColorsTest, NothingIsWrittenUntilColoursWereOnOnceAndResetsForEverAfter) {
  setenv("TERM", "xterm", 1);
  std::ostringstream text;
  EXPECT_EQ(PromptOn(text, text), "main> x") << "a string is no terminal";
  cli::SetColorEnabled(true);
  text << std::hex << std::showbase;  // a command may leave the stream in any number format
  EXPECT_EQ(PromptOn(text, text), "\x1b[32m\x1b[1mmain\x1b[0m> \x1b[97mx\x1b[0m");
  cli::SetColorEnabled(false);
  EXPECT_EQ(PromptOn(text, text), "main\x1b[0m> x\x1b[0m");
  std::ostringstream other;
  EXPECT_EQ(PromptOn(other, other), "main> x");
}

TEST(ColorsTest, ATerminalThatKnowsColoursGetsTheResets) {
  const TerminalOnStdout terminal;
  unsetenv("TERM");
  EXPECT_FALSE(cli::EscapesAllowed(std::cout));
  setenv("TERM", "xterm-256color", 1);
  EXPECT_TRUE(cli::EscapesAllowed(std::cout)) << "an unset TERM is no answer yet";
  std::ostream sameBuffer(std::cout.rdbuf());
  EXPECT_TRUE(cli::EscapesAllowed(sameBuffer));
  setenv("TERM", "dumb", 1);
  EXPECT_TRUE(cli::EscapesAllowed(std::cout)) << "the first answer holds";
  std::ostringstream text;
  EXPECT_FALSE(cli::EscapesAllowed(text));
}

class TermTest : public testing::TestWithParam<const char*> {};

TEST_P(TermTest, KnownAsPartOfAName) {
  const std::string term = GetParam();
  setenv("TERM", ("my" + term + "-2").c_str(), 1);
  EXPECT_EQ(cli::TerminalSupportsColor(), term != "dumb" && term != "XTERM");
}

INSTANTIATE_TEST_SUITE_P(Names, TermTest,
                         testing::Values("ansi", "color", "console", "cygwin", "gnome", "konsole",
                                         "kterm", "linux", "msys", "putty", "rxvt", "screen",
                                         "vt100", "xterm", "dumb", "XTERM"));

}  // namespace
