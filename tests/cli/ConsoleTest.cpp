// The keyboard thread, the terminal's mode and a session together, as a process of its own at a
// pseudo-terminal.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>
#include <utmp.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

#include "TemporaryFolder.h"
#include "cli/JobSignals.h"
#include "support/Emulator.h"

namespace {

using std::chrono::steady_clock;
using std::chrono_literals::operator""ms;
using std::chrono_literals::operator""s;

constexpr auto kPatience = 20s;

/// A child process with its ends of the input and of the output.
class Child {
 public:
  enum class At { kTerminal, kPipes };

  explicit Child(At at, bool ignoreHangUp = false) {
    at == At::kTerminal ? _StartAtTerminal(ignoreHangUp) : _StartAtPipes();
  }
  /// A shell at a terminal.
  explicit Child(const std::vector<const char*>& shell) : command(shell) {
    _StartAtTerminal(false);
  }
  ~Child() {
    if (pid > 0) {
      kill(pid, SIGKILL);
      waitpid(pid, nullptr, 0);
    }
    CloseInput();
    CloseOutput();
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  /// Writes all of `text` and takes in what the child writes meanwhile.
  void Send(std::string_view text) {
    const auto deadline = steady_clock::now() + kPatience;
    while (!text.empty() && steady_clock::now() < deadline) {
      std::array<pollfd, 2> ends{pollfd{input, POLLOUT, 0}, pollfd{output, POLLIN, 0}};
      poll(ends.data(), ends.size(), 100);
      if ((ends[1].revents & POLLIN) != 0) {
        _Take();
      }
      if ((ends[0].revents & POLLOUT) != 0) {
        const ssize_t count = write(input, text.data(), std::min<std::size_t>(text.size(), 1024));
        text.remove_prefix(static_cast<std::size_t>(std::max<ssize_t>(count, 0)));
      }
    }
    EXPECT_TRUE(text.empty()) << "the child doesn't read";
  }

  /// Waits until `text` is written, behind what was awaited before.
  testing::AssertionResult Shows(std::string_view text) {
    const auto deadline = steady_clock::now() + kPatience;
    for (;;) {
      const std::size_t found = screen.find(text, seen);
      if (found != std::string::npos) {
        seen = found + text.size();
        return testing::AssertionSuccess();
      }
      pollfd end{output, POLLIN, 0};
      if (steady_clock::now() > deadline || (poll(&end, 1, 100) > 0 && !_Take())) {
        return testing::AssertionFailure()
               << "not shown: " << text
               << "\nbut: " << screen.substr(std::min(seen, screen.size()), 2000);
      }
    }
  }

  /// Waits for the end of the process: its status as of waitpid.
  int End() {
    const auto deadline = steady_clock::now() + kPatience;
    int status = -1;
    for (;;) {
      if (waitpid(pid, &status, WNOHANG) == pid) {
        pid = -1;
        return status;
      }
      if (steady_clock::now() > deadline) {
        ADD_FAILURE() << "the child doesn't end";
        return -1;
      }
      pollfd end{output, POLLIN, 0};
      if (output < 0 || (poll(&end, 1, 5) > 0 && !_Take())) {
        poll(nullptr, 0, 5);
      }
    }
  }

  tcflag_t LocalFlags() const {
    termios mode{};
    EXPECT_EQ(tcgetattr(keptSlave, &mode), 0);
    return mode.c_lflag;
  }

  /// Waits until every thread of the job in the foreground sleeps. A sanitizer holds a signal back
  /// that finds a thread on its way there, until something else wakes the thread.
  void AwaitSleep() const {
    const std::string tasks = "/proc/" + std::to_string(tcgetpgrp(output)) + "/task";
    const auto sleeps = [](const std::filesystem::directory_entry& task) {
      std::string status;
      std::getline(std::ifstream(task.path() / "stat"), status);
      return status.find(") S ") != std::string::npos;
    };
    const auto deadline = steady_clock::now() + kPatience;
    while (!std::all_of(std::filesystem::directory_iterator(tasks), {}, sleeps)) {
      ASSERT_LT(steady_clock::now(), deadline) << "the child doesn't rest";
    }
  }

  /// Stops the job in the foreground of the terminal without its knowledge.
  void StopJob() const { EXPECT_EQ(kill(-tcgetpgrp(output), SIGSTOP), 0); }

  void CloseInput() {
    if (input >= 0 && input != output) {
      close(input);
    }
    input = -1;
  }
  void CloseOutput() {
    if (output >= 0) {
      close(output);
    }
    output = -1;
  }
  /// Hangs the terminal up.
  void CloseTerminal() {
    close(keptSlave);
    CloseInput();
    CloseOutput();
  }

  bool HasNoFiles() const { return std::filesystem::is_empty(folder.Path()); }

  std::string History() const {
    std::ostringstream content;
    content << std::ifstream(folder.Path() + "/.cli").rdbuf();
    return content.str();
  }

  std::string screen;
  std::size_t seen = 0;
  pid_t pid = -1;

 private:
  [[noreturn]] void _Exec() {
    setenv("TERM", "dumb", 1);
    setenv("PS1", "$ ", 1);
    const rlimit noCore{0, 0};
    setrlimit(RLIMIT_CORE, &noCore);
    if (chdir(folder.Path().c_str()) == 0) {
      if (command.empty()) {
        ExecuteProgram(CONSOLE_CHILD);
      }
      command.push_back(nullptr);
      execv(command.front(), const_cast<char* const*>(command.data()));
    }
    _exit(126);
  }

  void _StartAtTerminal(bool ignoreHangUp) {
    ASSERT_EQ(openpty(&output, &keptSlave, nullptr, nullptr, nullptr), 0);
    fcntl(output, F_SETFD, FD_CLOEXEC);
    fcntl(keptSlave, F_SETFD, FD_CLOEXEC);
    input = output;
    pid = fork();
    if (pid == 0) {
      if (ignoreHangUp) {
        std::signal(SIGHUP, SIG_IGN);
      }
      login_tty(dup(keptSlave));
      _Exec();
    }
  }

  void _StartAtPipes() {
    std::array<int, 2> in{};
    std::array<int, 2> out{};
    ASSERT_EQ(pipe2(in.data(), O_CLOEXEC), 0);
    ASSERT_EQ(pipe2(out.data(), O_CLOEXEC), 0);
    // Less than a long answer, and more is refused.
    fcntl(out[1], F_SETPIPE_SZ, 4096);
    fcntl(out[1], F_SETFL, O_NONBLOCK);
    pid = fork();
    if (pid == 0) {
      dup2(in[0], STDIN_FILENO);
      dup2(out[1], STDOUT_FILENO);
      _Exec();
    }
    close(in[0]);
    close(out[1]);
    input = in[1];
    output = out[0];
  }

  bool _Take() {
    std::array<char, 65536> text{};
    const ssize_t count = read(output, text.data(), text.size());
    if (count <= 0) {
      return false;
    }
    screen.append(text.data(), static_cast<std::size_t>(count));
    return true;
  }

  std::vector<const char*> command;
  TemporaryFolder folder;
  int input = -1;
  int output = -1;
  int keptSlave = -1;  // keeps the mode of the terminal when the child is gone
};

TEST(ConsoleTest, OneSessionAtATerminal) {
  Child child(Child::At::kTerminal);
  ASSERT_TRUE(child.Shows("main> "));
  EXPECT_EQ(child.LocalFlags() & (ICANON | ECHO | ISIG), tcflag_t{ISIG});
  child.Send("say hx\x1b[Da\x1b[3~\n");
  EXPECT_TRUE(child.Shows("say hx\bax\b \b\r\r\n[ha]\r\nmain> "));
  child.Send("throw\n");
  EXPECT_TRUE(child.Shows("thrown\r\nmain> "));
  child.AwaitSleep();
  child.Send("\x1a");
  EXPECT_TRUE(child.Shows("\rmain> ")) << "it isn't stopped where nobody could bring it back";
  child.Send("left over\x04");
  EXPECT_TRUE(child.Shows("left overclosing\r\nbye\r\n"));
  EXPECT_EQ(child.End(), 0);
  EXPECT_EQ(child.LocalFlags() & (ICANON | ECHO), tcflag_t{ICANON | ECHO});
  EXPECT_EQ(child.History(), "say ha\nthrow\n");
}

TEST(ConsoleTest, SequencesMayBeSplitAnywhereAndBreakOff) {
  Child child(Child::At::kTerminal);
  ASSERT_TRUE(child.Shows("main> "));
  for (const char byte : std::string_view("say b\x1b[D\x1b[HX\x1b[3~")) {
    child.Send(std::string_view(&byte, 1));
  }
  child.Send("\n");
  EXPECT_TRUE(child.Shows("wrong command: Xay b\r\n"));

  // A lone escape: only silence tells that it is one, and the bracket then is a character. The
  // wait may be too short on a busy machine, never too long.
  const auto isBrokenOff = [&] {
    EXPECT_TRUE(child.Shows("[2]"));
    return child.screen.find("wrong command: [A\r\n") != std::string::npos;
  };
  child.Send("say 1\n\x1b[A\nsay 2\n");
  EXPECT_FALSE(isBrokenOff());
  const auto isBrokenOffAfter = [&](std::chrono::milliseconds silence) {
    child.Send("say 1\n\x1b");
    poll(nullptr, 0, static_cast<int>(silence.count()));
    child.Send("[A\nsay 2\n");
    return isBrokenOff();
  };
  EXPECT_TRUE(isBrokenOffAfter(600ms) || isBrokenOffAfter(1500ms) || isBrokenOffAfter(5000ms));
  child.Send("exit\n");
  EXPECT_EQ(child.End(), 0);
}

TEST(ConsoleTest, EverySignalThatEndsTheProcessRestoresTheTerminalFirst) {
  struct Death {
    const char* typed;  // or else the signal is sent
    int signal;
  };
  std::vector<Death> deaths{{"\x03", SIGINT},        {"\x1c", SIGQUIT},   {"abort\n", SIGABRT},
                            {"uncaught\n", SIGABRT}, {"segv\n", SIGSEGV}, {"overflow\n", SIGSEGV},
                            {"exit\n", SIGXFSZ}};  // the file size's limit
  for (const int signal : {SIGHUP,    SIGILL,  SIGTRAP, SIGABRT, SIGBUS,  SIGFPE,  SIGUSR1,
                           SIGSEGV,   SIGUSR2, SIGALRM, SIGTERM, SIGXCPU, SIGXFSZ, SIGVTALRM,
                           SIGSTKFLT, SIGPROF, SIGIO,   SIGPWR,  SIGSYS,  SIGRTMIN}) {
    deaths.push_back({nullptr, signal});
  }
  if (!kEmulated) {
    deaths.push_back({nullptr, SIGRTMAX});  // one more than the emulator has
  }
  for (const Death& death : deaths) {
    SCOPED_TRACE(std::to_string(death.signal) + (death.typed != nullptr ? death.typed : " sent"));
    Child child(Child::At::kTerminal);
    ASSERT_TRUE(child.Shows("main> "));
    ASSERT_EQ(child.LocalFlags() & (ICANON | ECHO), tcflag_t{0});
    if (death.signal == SIGXFSZ) {
      const rlimit noFile{0, 0};
      EXPECT_EQ(prlimit(child.pid, RLIMIT_FSIZE, &noFile, nullptr), 0);
    }
    child.AwaitSleep();
    if (death.typed != nullptr) {
      child.Send(death.typed);
    } else {
      kill(child.pid, death.signal);
    }
    const int status = child.End();
    EXPECT_TRUE(WIFSIGNALED(status));
    EXPECT_EQ(WTERMSIG(status), death.signal);
    EXPECT_EQ(child.LocalFlags() & (ICANON | ECHO), tcflag_t{ICANON | ECHO});
    EXPECT_TRUE(child.HasNoFiles()) << "no history is stored on this road, nor half of one";
  }
}

TEST(JobSignals, ToGoOnTakesAStopBack) {
  cli::detail::JobSignals signals;
  signals.Watch(-1);
  raise(SIGTSTP);
  raise(SIGCONT);
  EXPECT_FALSE(signals.TakeStop());
  raise(SIGTSTP);
  EXPECT_FALSE(signals.TakeContinue());
  EXPECT_TRUE(signals.TakeStop());
  raise(SIGCONT);
  signals.Stop();  // nobody would tell it again: it doesn't
  EXPECT_TRUE(signals.TakeContinue());
}

TEST(ConsoleTest, AStoppedJobLeavesTheShellItsTerminalAndGoesOnWithTheLine) {
  for (const std::vector<const char*>& command :
       {std::vector{"/bin/dash", "-i"},
        std::vector{"/bin/bash", "--norc", "--noprofile", "--noediting", "-i"}}) {
    SCOPED_TRACE(command.front());
    Child shell(command);
    const auto cooked = [&] { return shell.LocalFlags() & (ICANON | ECHO); };
    ASSERT_TRUE(shell.Shows("$ "));
    shell.Send(std::string(kEmulator) + " " CONSOLE_CHILD "\n");
    ASSERT_TRUE(shell.Shows("main> "));
    shell.Send("say hd\x1b[D");
    ASSERT_TRUE(shell.Shows("say hd\b"));
    shell.AwaitSleep();
    shell.Send("\x1a");
    ASSERT_TRUE(shell.Shows("$ "));
    EXPECT_EQ(cooked(), tcflag_t{ICANON | ECHO});
    shell.Send("fg\n");
    ASSERT_TRUE(shell.Shows("\rmain> say hd\b"));
    EXPECT_EQ(cooked(), tcflag_t{0});
    shell.Send("a\n");
    ASSERT_TRUE(shell.Shows("[had]\r\nmain> "));

    // Not every shell puts the mode right behind this, and what it has left is not the shell's own.
    shell.StopJob();
    ASSERT_TRUE(shell.Shows("$ "));
    shell.Send("fg\n");
    ASSERT_TRUE(shell.Shows("main> "));
    shell.AwaitSleep();
    shell.Send("\x1a");
    ASSERT_TRUE(shell.Shows("$ "));
    EXPECT_EQ(cooked(), tcflag_t{ICANON | ECHO});

    // In the background nothing is read and nothing changed. What the shell has, it gets back.
    shell.Send("stty -echok; bg; echo $((20 + 3))\n");
    ASSERT_TRUE(shell.Shows("23\r\n$ "));
    shell.Send("jobs\n");
    ASSERT_TRUE(shell.Shows("Running"));
    EXPECT_EQ(cooked(), tcflag_t{ICANON | ECHO});
    shell.Send("fg\n");
    ASSERT_TRUE(shell.Shows("main> "));
    EXPECT_EQ(cooked(), tcflag_t{0});
    shell.Send("exit\n");
    ASSERT_TRUE(shell.Shows("bye\r\n$ "));
    EXPECT_EQ(shell.LocalFlags() & (ICANON | ECHO | ECHOK), tcflag_t{ICANON | ECHO});
  }
}

// The signal comes at a moment between the start and the end, whichever that is: the console dies
// or ends in order, and never leaves the terminal raw.
TEST(ConsoleTest, ASignalAtAnyInstantLeavesNoRawTerminal) {
  for (int round = 0; round < 40; ++round) {
    Child child(Child::At::kTerminal);
    child.Send("say 1\nexit\n");
    poll(nullptr, 0, round % 8);
    kill(child.pid, SIGTERM);
    const int status = child.End();
    EXPECT_TRUE(status == 0 || (WIFSIGNALED(status) && WTERMSIG(status) == SIGTERM)) << status;
    ASSERT_EQ(child.LocalFlags() & (ICANON | ECHO), tcflag_t{ICANON | ECHO}) << round;
  }
}

TEST(ConsoleTest, AnIgnoredHangUpStaysIgnoredAndTheLostTerminalEndsTheSession) {
  Child child(Child::At::kTerminal, true);
  ASSERT_TRUE(child.Shows("main> "));
  kill(child.pid, SIGHUP);
  child.Send("say 1\n");
  EXPECT_TRUE(child.Shows("[1]\r\nmain> "));
  child.CloseTerminal();
  EXPECT_EQ(child.End(), 0);
  EXPECT_EQ(child.History(), "say 1\n");
}

// The output takes less at once than the script writes.
TEST(ConsoleTest, AScriptRunsToItsEndAndLeaves) {
  Child child(Child::At::kPipes);
  const std::string word(20'000, 'w');
  child.Send("say 1\nnone\nprint " + word + "\nsay " + word + "\nhalf a line\x1b[");
  child.CloseInput();
  EXPECT_TRUE(child.Shows("main> say 1\r\n[1]\nmain> none\r\nwrong command: none\nmain> "));
  EXPECT_TRUE(child.Shows("print " + word + "\r\n(" + word + ")\nmain> "));
  EXPECT_TRUE(child.Shows("say " + word + "\r\n[" + word + "]\nmain> "));
  EXPECT_TRUE(child.Shows("half a lineclosing\nbye\n"));
  EXPECT_EQ(child.End(), 0);
  EXPECT_EQ(child.History(), "say 1\nnone\nprint " + word + "\nsay " + word + "\n");
}

TEST(ConsoleTest, AReaderThatIsGoneEndsTheSession) {
  for (const bool isWaitedFor : {false, true}) {
    Child child(Child::At::kPipes);
    child.Send("say 1\n");
    EXPECT_TRUE(child.Shows("[1]\nmain> "));
    if (isWaitedFor) {
      child.Send(std::string(20'000, 'w'));
      poll(nullptr, 0, 50);
      child.CloseOutput();
    } else {
      child.CloseOutput();
      child.Send("say 2\n");
    }
    EXPECT_EQ(child.End(), 0);
    EXPECT_EQ(child.History(), isWaitedFor ? "say 1\n" : "say 1\nsay 2\n");
  }
}

TEST(ConsoleTest, APastedMegabyteAndManyLinesArriveWhole) {
  Child child(Child::At::kTerminal);
  ASSERT_TRUE(child.Shows("main> "));
  std::string text;
  for (int i = 0; i < (1 << 20); ++i) {
    text += static_cast<char>('!' + 3 + i % 31);  // neither quotes nor backslashes nor blanks
  }
  text.erase(std::remove(text.begin(), text.end(), '\''), text.end());
  child.Send("size " + text + "\n");
  EXPECT_TRUE(child.Shows("size " + text + "\r\r\n[" + std::to_string(text.size()) + "]\r\n"));
  std::string lines;
  std::string answers;
  for (int i = 0; i < 20'000; ++i) {
    const std::string number = std::to_string(i);
    lines += "say " + number + "\n";
    answers += "main> say " + number + "\r\r\n[" + number + "]\r\n";
  }
  child.Send(lines);
  EXPECT_TRUE(child.Shows(answers));
  child.Send("exit\n");
  EXPECT_EQ(child.End(), 0);
}

}  // namespace
