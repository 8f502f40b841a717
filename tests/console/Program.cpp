#include "Program.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <linux/filter.h>
#include <linux/seccomp.h>
#include <poll.h>
#include <pty.h>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>
#include <utility>

#include "support/Emulator.h"

namespace {

using std::chrono::steady_clock;

// Far beyond what a loaded machine with sanitizers needs: it only ends a test that has failed.
constexpr std::chrono::seconds kPatience{30};

int Checked(int result, const char* what) {
  if (result < 0) {
    throw std::system_error(errno, std::generic_category(), what);
  }
  return result;
}

// Waits until `descriptor` has one of `events`. False when the deadline has passed.
bool WaitFor(int descriptor, short events, steady_clock::time_point deadline) {
  pollfd entry{descriptor, events, 0};
  const auto left =
      std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steady_clock::now());
  return left.count() > 0 && poll(&entry, 1, static_cast<int>(left.count())) > 0;
}

void WriteAll(int descriptor, std::string_view text) {
  while (!text.empty()) {
    const ssize_t count = write(descriptor, text.data(), text.size());
    if (count < 0 && errno != EINTR) {
      throw std::system_error(errno, std::generic_category(), "write");
    }
    text.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
  }
}

// From here on the program's own pipes can't be opened, by this process and what it executes. A
// sanitizer's, which are opened without O_CLOEXEC, can.
void RefusePipes() {
  constexpr std::uint32_t kFlags = offsetof(seccomp_data, args) + sizeof(std::uint64_t);
  std::array<sock_filter, 6> instructions{{
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, offsetof(seccomp_data, nr)),
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, SYS_pipe2, 0, 3),
      BPF_STMT(BPF_LD | BPF_W | BPF_ABS, kFlags),  // the low half, on a little-endian machine
      BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, O_CLOEXEC | O_NONBLOCK, 0, 1),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ERRNO | EMFILE),
      BPF_STMT(BPF_RET | BPF_K, SECCOMP_RET_ALLOW),
  }};
  const sock_fprog filter{instructions.size(), instructions.data()};
  if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0 ||
      prctl(PR_SET_SECCOMP, SECCOMP_MODE_FILTER, &filter) != 0) {
    _exit(126);
  }
}

// In the child, up to the program's own first instruction.
[[noreturn]] void Execute(const TestFolder& folder, const ProgramOptions& options, int input,
                          int output) {
  const int errors = open(folder.PathOf("stderr.txt").c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644);
  if (dup2(input, 0) < 0 || dup2(output, 1) < 0 || dup2(errors, 2) < 0 ||
      chdir(folder.PathOf("").c_str()) != 0) {
    _exit(126);
  }
  (void)close_range(3, ~0U, 0);
  const rlimit noCoreFile{0, 0};
  (void)setrlimit(RLIMIT_CORE, &noCoreFile);
  if (options.refusesPipes) {
    RefusePipes();
  }
  (void)setenv("TERM", options.term, 1);
  (void)setenv("BOARD_SIM_DIR", folder.PathOf("board").c_str(), 1);
  // A program that is built with a sanitizer dies by its signals all the same.
  for (const char* sanitizer : {"ASAN_OPTIONS", "TSAN_OPTIONS", "UBSAN_OPTIONS"}) {
    (void)setenv(sanitizer, "handle_segv=0:handle_sigbus=0:handle_abort=0", 1);
  }
  ExecuteProgram(options.program);
  _exit(127);
}

constexpr std::array<std::pair<std::string_view, std::string_view>, 11> kKeys{{
    {"<up>", "\x1b[A"},
    {"<down>", "\x1b[B"},
    {"<right>", "\x1b[C"},
    {"<left>", "\x1b[D"},
    {"<end>", "\x1b[F"},
    {"<home>", "\x1b[H"},
    {"<delete>", "\x1b[3~"},
    {"<backspace>", "\x7f"},
    {"<tab>", "\t"},
    {"<return>", "\n"},
    {"<ctrl-d>", "\x04"},
}};

std::string ToBytes(std::string_view keys) {
  std::string bytes;
  while (!keys.empty()) {
    std::string_view token = keys.substr(0, 1);
    std::string_view meaning = token;
    for (const auto& [name, sequence] : kKeys) {
      if (keys.substr(0, name.size()) == name) {
        token = name;
        meaning = sequence;
      }
    }
    bytes += meaning;
    keys.remove_prefix(token.size());
  }
  return bytes;
}

}  // namespace

TestFolder::TestFolder() {
  std::string pattern = std::filesystem::temp_directory_path() / "console-test-XXXXXX";
  if (mkdtemp(pattern.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), "mkdtemp");
  }
  path_ = pattern;
  std::filesystem::create_directory(PathOf("board"));
}

TestFolder::~TestFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path_, ignored);
}

std::string TestFolder::Read(const std::string& file) const {
  const std::ifstream stream(PathOf(file), std::ios::binary);
  std::ostringstream content;
  content << stream.rdbuf();
  return content.str();
}

void TestFolder::Write(const std::string& file, const std::string& content) const {
  std::ofstream(PathOf(file), std::ios::binary) << content;
}

Program::Program(const TestFolder& folder, const ProgramOptions& options, int input, int output)
    : pid_(Checked(fork(), "fork")) {
  if (pid_ == 0) {
    Execute(folder, options, input, output);
  }
}

Program::~Program() {
  if (pid_ > 0) {
    (void)kill(pid_, SIGKILL);
    (void)waitpid(pid_, nullptr, 0);
  }
}

void Program::Signal(int number) const {
  (void)Checked(kill(pid_, number), "kill");
}

ProgramEnd Program::Wait() {
  // Debian 12's header for it can't be used from C++.
  const int ended = Checked(static_cast<int>(syscall(SYS_pidfd_open, pid_, 0)), "pidfd_open");
  const bool inTime = WaitFor(ended, POLLIN, steady_clock::now() + kPatience);
  (void)close(ended);
  if (!inTime) {
    ADD_FAILURE() << "the program doesn't end";
    (void)kill(pid_, SIGKILL);
  }
  int status = 0;
  (void)Checked(waitpid(std::exchange(pid_, -1), &status, 0), "waitpid");
  if (WIFSIGNALED(status)) {
    return {.signal = WTERMSIG(status)};
  }
  return {.exitStatus = WEXITSTATUS(status)};
}

ScriptResult RunScript(const TestFolder& folder, const std::string& script, ScriptSource source,
                       ProgramOptions options) {
  std::array<int, 2> input{-1, -1};
  if (source == ScriptSource::kPipe) {
    (void)Checked(pipe2(input.data(), O_CLOEXEC), "pipe2");
  } else {
    folder.Write("script.txt", script);
    input[0] = Checked(open(folder.PathOf("script.txt").c_str(), O_RDONLY | O_CLOEXEC), "open");
  }
  const int output = Checked(
      open(folder.PathOf("output.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644),
      "open");
  Program program(folder, options, input[0], output);
  (void)close(input[0]);
  (void)close(output);
  if (source == ScriptSource::kPipe) {
    WriteAll(input[1], script);
    (void)close(input[1]);
  }
  ScriptResult result;
  result.end = program.Wait();
  result.output = folder.Read("output.txt");
  std::erase(result.output, '\r');
  return result;
}

TerminalProgram::TerminalProgram(const TestFolder& folder, const ProgramOptions& options) {
  (void)Checked(openpty(&master_, &slave_, nullptr, nullptr, nullptr), "openpty");
  initialModes_ = Modes();
  program_ = std::make_unique<Program>(folder, options, slave_, slave_);
  banner_ = ReadUntil("> ");
}

TerminalProgram::~TerminalProgram() {
  program_.reset();
  HangUp();
}

void TerminalProgram::Type(std::string_view keys) const {
  WriteAll(master_, ToBytes(keys));
}

std::string TerminalProgram::ReadUntil(std::string_view text) {
  const auto deadline = steady_clock::now() + kPatience;
  std::size_t found = pending_.find(text);
  while (found == std::string::npos) {
    std::array<char, 4096> bytes;
    const ssize_t count =
        WaitFor(master_, POLLIN, deadline) ? read(master_, bytes.data(), bytes.size()) : -1;
    if (count <= 0) {
      ADD_FAILURE() << "no '" << text << "' on the screen, but:\n" << pending_;
      return std::exchange(pending_, "");
    }
    pending_.append(bytes.data(), static_cast<std::size_t>(count));
    std::erase(pending_, '\r');
    found = pending_.find(text);
  }
  const std::string taken = pending_.substr(0, found + text.size());
  pending_.erase(0, taken.size());
  return taken;
}

std::string TerminalProgram::Run(std::string_view line, std::string_view nextPrompt) {
  Type(std::string(line) + "<return>");
  (void)ReadUntil(std::string(line) + "\n");
  std::string reply = '\n' + std::exchange(pending_, "");
  pending_.swap(reply);  // an empty reply has the prompt directly behind the line's end
  reply = ReadUntil('\n' + std::string(nextPrompt));
  return reply.substr(1, reply.size() - std::min(reply.size(), nextPrompt.size() + 1));
}

tcflag_t TerminalProgram::Modes() const {
  termios settings{};
  (void)Checked(tcgetattr(slave_, &settings), "tcgetattr");
  return settings.c_lflag;
}

void TerminalProgram::HangUp() {
  (void)close(std::exchange(slave_, -1));
  (void)close(std::exchange(master_, -1));
}
