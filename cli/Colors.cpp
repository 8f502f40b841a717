#include "cli/Colors.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <iostream>
#include <optional>
#include <string>
#include <string_view>

namespace cli {

namespace {

constexpr int kReset = 0;
constexpr int kBold = 1;
constexpr int kGreen = 32;
constexpr int kBrightWhite = 97;

constexpr long kForced = 1;

constexpr std::array<std::string_view, 14> kColorTerminals{
    "ansi",  "color", "console", "cygwin", "gnome",  "konsole", "kterm",
    "linux", "msys",  "putty",   "rxvt",   "screen", "vt100",   "xterm"};

bool colorEnabled = false;

long& ControlWord(std::ostream& stream) {
  static const int slot = std::ios_base::xalloc();
  return stream.iword(slot);
}

struct StandardTerminals {
  bool isOut = isatty(STDOUT_FILENO) != 0;
  bool isErr = isatty(STDERR_FILENO) != 0;
};

}  // namespace

void SetColorEnabled(bool enabled) {
  colorEnabled = enabled;
}

bool ColorEnabled() {
  return colorEnabled;
}

bool EscapesAllowed(std::ostream& stream) {
  return ControlWord(stream) == kForced || (TerminalSupportsColor() && StreamIsTerminal(stream));
}

void WriteEscape(std::ostream& stream, int code) {
  if (EscapesAllowed(stream)) {
    // Unformatted: what a command left behind in the stream's number format plays no part.
    const std::string escape = "\x1b[" + std::to_string(code) + 'm';
    stream.write(escape.data(), static_cast<std::streamsize>(escape.size()));
  }
}

std::ostream& BeforePrompt(std::ostream& stream) {
  if (colorEnabled) {
    ControlWord(stream) = kForced;
    WriteEscape(stream, kGreen);
    WriteEscape(stream, kBold);
  }
  return stream;
}

std::ostream& AfterPrompt(std::ostream& stream) {
  WriteEscape(stream, kReset);
  return stream;
}

std::ostream& BeforeInput(std::ostream& stream) {
  if (colorEnabled) {
    ControlWord(stream) = kForced;
    WriteEscape(stream, kBrightWhite);
  }
  return stream;
}

std::ostream& AfterInput(std::ostream& stream) {
  WriteEscape(stream, kReset);
  return stream;
}

bool TerminalSupportsColor() {
  static std::optional<bool> answer;
  if (!answer) {
    const char* term = std::getenv("TERM");
    if (term == nullptr) {
      return false;
    }
    const std::string_view name(term);
    answer = std::any_of(kColorTerminals.begin(), kColorTerminals.end(),
                         [&](auto known) { return name.find(known) != std::string_view::npos; });
  }
  return *answer;
}

bool StreamIsTerminal(std::ostream& stream) {
  static const StandardTerminals terminal;
  const std::streambuf* buffer = stream.rdbuf();
  if (buffer == std::cout.rdbuf()) {
    return terminal.isOut;
  }
  return (buffer == std::cerr.rdbuf() || buffer == std::clog.rdbuf()) && terminal.isErr;
}

}  // namespace cli
