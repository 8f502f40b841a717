#pragma once

#include <sys/types.h>
#include <termios.h>

#include <memory>
#include <string>
#include <string_view>

/// An empty folder for one test: the working directory of the programs that it runs, with the
/// simulated board in "board" and what they write on standard error in "stderr.txt". It goes with
/// the object.
class TestFolder {
 public:
  TestFolder();
  TestFolder(const TestFolder&) = delete;
  TestFolder& operator=(const TestFolder&) = delete;
  ~TestFolder();

  std::string PathOf(const std::string& file) const { return path_ + '/' + file; }
  /// A file's content, empty if there is none.
  std::string Read(const std::string& file) const;
  void Write(const std::string& file, const std::string& content) const;

 private:
  std::string path_;
};

/// How a program is started.
struct ProgramOptions {
  const char* program = CONSOLE_SIM_PROGRAM;
  const char* term = "dumb";  ///< TERM
  bool refusesPipes = false;  ///< its own pipe2 fails with EMFILE
};

/// How a program ended: its exit status, or the signal that it died by.
struct ProgramEnd {
  int exitStatus = -1;
  int signal = 0;

  friend bool operator==(const ProgramEnd&, const ProgramEnd&) = default;
};

/// A running program. Its destructor kills what still runs.
class Program {
 public:
  Program(const TestFolder& folder, const ProgramOptions& options, int input, int output);
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;
  ~Program();

  void Signal(int number) const;
  /// Waits for its end; fails the test if it takes too long.
  ProgramEnd Wait();

 private:
  pid_t pid_;
};

/// Runs a program to its end on input that is no terminal, and gives what it wrote.
enum class ScriptSource { kFile, kPipe };
struct ScriptResult {
  std::string output;
  ProgramEnd end;
};
ScriptResult RunScript(const TestFolder& folder, const std::string& script,
                       ScriptSource source = ScriptSource::kFile, ProgramOptions options = {});

/// A program on a pseudo-terminal: keys in, screen text out. The terminal is not the program's
/// controlling terminal: when that goes, the kernel resets its mode and sends signals, and both
/// would hide what the program does itself.
class TerminalProgram {
 public:
  /// Starts the program and waits for its first prompt.
  explicit TerminalProgram(const TestFolder& folder, const ProgramOptions& options = {});
  TerminalProgram(const TerminalProgram&) = delete;
  TerminalProgram& operator=(const TerminalProgram&) = delete;
  ~TerminalProgram();

  /// What stood on the screen up to the first prompt and with it.
  const std::string& Banner() const { return banner_; }

  /// Types text with keys in angle brackets: "<up><home>ls<return>".
  void Type(std::string_view keys) const;
  /// Waits until `text` is on the screen and takes everything up to its end off it. Line ends are
  /// line feeds. Fails the test if the text doesn't come.
  std::string ReadUntil(std::string_view text);
  /// Types a line and Return at an empty prompt; gives what is written before the next prompt.
  std::string Run(std::string_view line, std::string_view nextPrompt = "main> ");

  /// The terminal's local modes as they were before the program started, and as they are now.
  tcflag_t InitialModes() const { return initialModes_; }
  tcflag_t Modes() const;

  void Signal(int number) const { program_->Signal(number); }
  /// Closes the terminal under the program.
  void HangUp();
  ProgramEnd Wait() { return program_->Wait(); }

 private:
  int master_ = -1;
  int slave_ = -1;
  tcflag_t initialModes_ = 0;
  std::unique_ptr<Program> program_;
  std::string pending_;  // on the screen and not yet taken
  std::string banner_;
};
