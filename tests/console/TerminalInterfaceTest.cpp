#include "TerminalInterface.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>

#include "Program.h"

namespace {

TEST(TerminalInterface, StopEndsASessionOnAThreadOfItsOwn) {
  const TestFolder folder;
  ASSERT_EQ(chdir(folder.PathOf("").c_str()), 0);
  std::array<int, 2> keys{};
  std::array<int, 2> screen{};
  ASSERT_EQ(pipe2(keys.data(), O_CLOEXEC) | pipe2(screen.data(), O_CLOEXEC), 0);
  const int ownOutput = dup(STDOUT_FILENO);
  (void)dup2(keys[0], STDIN_FILENO);
  (void)dup2(screen[1], STDOUT_FILENO);

  std::string prompt(6, ' ');
  {
    TerminalInterface console(nullptr, nullptr, nullptr, nullptr);
    console.Stop();  // there is nothing to stop yet
    console.Start();
    prompt.resize(static_cast<std::size_t>(
        std::max<ssize_t>(0, read(screen[0], prompt.data(), prompt.size()))));
    console.Stop();
    console.Stop();
  }  // waits for the session's thread
  (void)dup2(ownOutput, STDOUT_FILENO);
  EXPECT_EQ(prompt, "main> ");
  EXPECT_EQ(folder.Read(".cli"), "");
}

}  // namespace
