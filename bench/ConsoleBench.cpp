#include <fcntl.h>
#include <poll.h>
#include <pty.h>
#include <signal.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <string>
#include <thread>
#include <vector>

#include "support/Ratio.h"

// The console as its operator feels it: the program as built, at the other end of a
// pseudo-terminal.

namespace {

using Clock = std::chrono::steady_clock;

double SecondsSince(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

// A process on a pseudo-terminal of its own.
class Terminal {
 public:
  explicit Terminal(const std::function<void()>& child) {
    pid_ = forkpty(&master_, nullptr, nullptr, nullptr);
    if (pid_ < 0) {
      throw std::runtime_error("no pseudo-terminal");
    }
    if (pid_ == 0) {
      child();
      _exit(127);
    }
    (void)fcntl(master_, F_SETFL, O_NONBLOCK);
  }
  Terminal(const Terminal&) = delete;
  Terminal& operator=(const Terminal&) = delete;
  ~Terminal() {
    (void)kill(pid_, SIGKILL);
    (void)waitpid(pid_, nullptr, 0);
    (void)close(master_);
  }

  // Writes all of `input` while it hands what comes back to `done`, until that gives true.
  void Exchange(const std::string& input, const std::function<bool(std::string_view)>& done) {
    std::size_t written = 0;
    std::vector<char> buffer(65536);
    for (;;) {
      const auto events = static_cast<short>(written < input.size() ? POLLIN | POLLOUT : POLLIN);
      pollfd poller{master_, events, 0};
      if (poll(&poller, 1, 20'000) <= 0) {
        throw std::runtime_error("the console does not answer");
      }
      if ((poller.revents & POLLOUT) != 0) {
        const ssize_t count = write(master_, input.data() + written, input.size() - written);
        written += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
      }
      if ((poller.revents & POLLIN) != 0) {
        const ssize_t count = read(master_, buffer.data(), buffer.size());
        if (count > 0 && done({buffer.data(), static_cast<std::size_t>(count)})) {
          return;
        }
      } else if ((poller.revents & (POLLHUP | POLLERR)) != 0) {
        throw std::runtime_error("the console is gone");
      }
    }
  }

  // Reads until `text` has come `times` times.
  void Expect(const std::string& input, const std::string& text, int times = 1) {
    std::string pending;
    Exchange(input, [&](std::string_view output) {
      pending += output;
      for (std::size_t at = 0; (at = pending.find(text)) != std::string::npos;) {
        pending.erase(0, at + text.size());
        if (--times == 0) {
          return true;
        }
      }
      pending.erase(0, pending.size() - std::min(pending.size(), text.size()));
      return false;
    });
  }

  pid_t Pid() const { return pid_; }

 private:
  pid_t pid_ = -1;
  int master_ = -1;
};

void RunConsole() {
  (void)setenv("TERM", "dumb", 1);
  (void)execl(BOARD_CONSOLE_SIM, BOARD_CONSOLE_SIM, nullptr);
}

// What an echo costs at the least: one thread that reads and writes.
void RunBareLoop() {
  termios mode{};
  (void)tcgetattr(0, &mode);
  mode.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
  (void)tcsetattr(0, TCSANOW, &mode);
  (void)!write(1, "> ", 2);
  char key = 0;
  while (read(0, &key, 1) == 1 && write(1, &key, 1) == 1) {
  }
}

double SecondsForPastedLine() {
  constexpr std::size_t kBytes = 1 << 20;
  Terminal console(RunConsole);
  console.Expect("", "> ");
  std::size_t echoed = 0;
  const auto start = Clock::now();
  console.Exchange(std::string(kBytes, 'x'), [&echoed](std::string_view output) {
    echoed += output.size();
    return echoed >= kBytes;
  });
  return SecondsSince(start);
}

double SecondsForPastedCommands(int commands) {
  Terminal console(RunConsole);
  console.Expect("", "> ");
  std::string input;
  for (int i = 0; i < commands; ++i) {
    input += "bitfields ls nothing\n";
  }
  const auto start = Clock::now();
  console.Expect(input, "No Modules Found", commands);
  return SecondsSince(start);
}

// Median time from a key to its echo, in microseconds.
double EchoMicroseconds(Terminal& terminal, int keys) {
  std::vector<double> times;
  for (int i = 0; i < keys; ++i) {
    const auto start = Clock::now();
    terminal.Exchange("x", [](std::string_view) { return true; });
    times.push_back(SecondsSince(start) * 1e6);
  }
  std::nth_element(times.begin(), times.begin() + keys / 2, times.end());
  return times[static_cast<std::size_t>(keys / 2)];
}

long ContextSwitches(pid_t pid) {
  long switches = 0;
  for (const auto& task :
       std::filesystem::directory_iterator("/proc/" + std::to_string(pid) + "/task")) {
    std::ifstream status(task.path() / "status");
    std::string line;
    while (std::getline(status, line)) {
      if (line.find("ctxt_switches:") != std::string::npos) {
        switches += std::stol(line.substr(line.find(':') + 1));
      }
    }
  }
  return switches;
}

long WakeUpsWhileIdle() {
  Terminal console(RunConsole);
  console.Expect("", "> ");
  console.Expect("x", "x");
  std::this_thread::sleep_for(std::chrono::milliseconds(700));  // behind every timeout of a key
  const long before = ContextSwitches(console.Pid());
  std::this_thread::sleep_for(std::chrono::seconds(2));
  return ContextSwitches(console.Pid()) - before;
}

// The greatest resident memory of a process so far, in MiB.
double PeakMemoryMiB(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  std::string line;
  while (std::getline(status, line)) {
    if (line.starts_with("VmHWM:")) {
      return std::stod(line.substr(6)) / 1024;  // the line is in KiB
    }
  }
  throw std::runtime_error("no memory figure");
}

// Milliseconds from the start of the program to its prompt: the fastest of some starts.
void ReportStart() {
  double fastestMs = 1e9;
  double memoryMiB = 0;
  for (int i = 0; i < 20; ++i) {
    const auto start = Clock::now();
    Terminal console(RunConsole);
    console.Expect("", "> ");
    fastestMs = std::min(fastestMs, SecondsSince(start) * 1e3);
    memoryMiB = std::max(memoryMiB, PeakMemoryMiB(console.Pid()));
  }
  bench::Report("start to prompt on the simulated board", fastestMs, "ms", 50);
  bench::Report("resident memory at the prompt", memoryMiB, "MiB", 12);
}

// The product as it is installed: without symbols.
void ReportSize() {
  const std::string stripped = "board-console.stripped";
  const std::string command = "strip -o " + stripped + " " + BOARD_CONSOLE;
  if (std::system(command.c_str()) != 0) {
    throw std::runtime_error("strip failed");
  }
  bench::Report("stripped size of board-console",
                static_cast<double>(std::filesystem::file_size(stripped)) / (1 << 20), "MiB", 1);
}

void ReportEcho() {
  Terminal console(RunConsole);
  Terminal bare(RunBareLoop);
  console.Expect("", "> ");
  bare.Expect("", "> ");
  double consoleUs = 1e9;
  double bareUs = 1e9;
  for (int turn = 0; turn < 10; ++turn) {
    consoleUs = std::min(consoleUs, EchoMicroseconds(console, 300));
    bareUs = std::min(bareUs, EchoMicroseconds(bare, 300));
  }
  std::printf("one key's echo %.1f us, bare loop %.1f us\n", consoleUs, bareUs);
  bench::Report("one key's echo / a bare read-and-write loop", consoleUs / bareUs, "x", 1.5);
}

}  // namespace

int main() {
  std::string folder = std::filesystem::temp_directory_path() / "console-bench-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr || chdir(folder.c_str()) != 0) {
    std::perror(folder.c_str());
    return 1;
  }
  int status = 0;
  try {
    ReportSize();
    ReportStart();
    bench::Report("1 MiB pasted as one line, echoed", SecondsForPastedLine(), "s", 1.0);
    bench::Report("10,000 pasted commands, all answered", SecondsForPastedCommands(10'000), "s",
                  10.0);
    ReportEcho();
    bench::Report("threads woken in two idle seconds", static_cast<double>(WakeUpsWhileIdle()), "",
                  0);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s\n", error.what());
    status = 1;
  }
  std::filesystem::remove_all(folder);
  return status;
}
