// Any bytes as the history's file, behind a line with the commands of a session, with tabs between.

#include <algorithm>
#include <filesystem>

#include "cli/CliSession.h"
#include "cli/FileHistoryStorage.h"
#include "fuzz/Fuzz.h"
#include "sim/Board.h"

namespace {

using Strings = std::vector<std::string>;

// The last lines of a file, at most `count`.
Strings LastLines(const std::string& content, std::size_t count) {
  Strings lines = Split(content, '\n');
  if (lines.back().empty()) {
    lines.pop_back();
  }
  const std::size_t dropped = lines.size() - std::min(lines.size(), count);
  lines.erase(lines.begin(), lines.begin() + static_cast<std::ptrdiff_t>(dropped));
  return lines;
}

// Whether a terminal takes it for text: no control character of ASCII, nor one of ISO 6429 in
// UTF-8.
bool IsText(const std::string& line) {
  unsigned char before = 0;
  return std::all_of(line.begin(), line.end(), [&](unsigned char c) {
    const bool isControl = c < ' ' || c == 0x7F || (before == 0xC2 && c >= 0x80 && c < 0xA0);
    before = c;
    return !isControl;
  });
}

void CheckSession(cli::Cli& cli, std::size_t lines) {
  std::ostringstream out;
  cli::CliSession session(cli, out, 200);
  for (std::string line; lines > 0; --lines) {
    line = session.History().Older(line);
    Require(IsText(line), "a session shows no control characters of the file");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static sim::Board& board = sim::Board::CreateInMemory();
  board.log.Clear();
  const LineAndFile input(data, size);
  const Strings commands = Split(input.line, '\t');  // a typed line holds none: the key completes
  const std::size_t kept = 1 + input.line.size() % 8;
  cli::Cli cli(std::make_unique<cli::Menu>("main"),
               std::make_unique<cli::FileHistoryStorage>(kept, "history"));
  cli::HistoryStorage& storage = cli.History();

  std::string all = input.file;
  WriteFile("history", all);
  Require(storage.Commands() == LastLines(all, size), "the lines of a file are loaded");
  CheckSession(cli, storage.Commands().size());

  all += all.empty() || all.back() == '\n' ? "" : "\n";
  for (const std::string& command : commands) {
    all += command + '\n';
  }
  storage.Store(commands);
  Require(storage.Commands() == LastLines(all, kept), "the newest lines are kept");
  const std::string stored = ReadFile("history");
  storage.Store({});
  Require(ReadFile("history") == stored, "a session without a line changes nothing");
  Require(!std::filesystem::exists("history.tmp"), "nothing is left beside the file");
  storage.Clear();
  Require(std::filesystem::is_empty("history"), "all is cleared");
  Require(board.log.All().empty(), "no content of a plain file is cause to complain");
  return 0;
}
