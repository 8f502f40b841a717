// Any text as lines, through the splitter, the dispatch and the completions.

#include <algorithm>
#include <cctype>

#include "cli/SplitLine.h"
#include "cli/TestSession.h"
#include "fuzz/Fuzz.h"

namespace {

std::string Quoted(const std::vector<std::string>& words) {
  std::string line;
  for (const std::string& word : words) {
    line += line.size() % 2 == 0 ? "\"" : " \"";  // quotes alone part words, too
    for (const char c : word) {
      line += c == '"' || c == '\'' || c == '\\' ? std::string{'\\', c} : std::string{c};
    }
    line += '"';
  }
  return line;
}

std::string Replaced(std::string text, const std::string& part, const std::string& by) {
  const std::size_t found = part.empty() ? std::string::npos : text.find(part);
  return found == std::string::npos ? text : text.replace(found, part.size(), by);
}

std::string WithoutBlanks(std::string text) {
  std::erase_if(text, [](unsigned char c) { return std::isspace(c) != 0; });
  return text;
}

void CheckCompletions(const cli::CliSession& session, const std::string& line) {
  const std::vector<std::string> completions = session.CompletionsFor(line);
  Require(std::is_sorted(completions.begin(), completions.end(), std::less_equal<>()),
          "completions come in order, each once");
  for (const std::string& completion : completions) {
    Require(WithoutBlanks(completion).starts_with(WithoutBlanks(line)),
            "a completion begins with what was typed");
    const std::vector<std::string> further = session.CompletionsFor(completion);
    Require(!further.empty() && further.front().starts_with(completion),
            "a completion completes to itself or to more");
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string text(data, data + size);
  const std::vector<std::string> all = cli::SplitLine(text);
  Require(cli::SplitLine(Quoted(all)) == all, "quoted words split into the same words");
  Require(std::count(all.begin(), all.end(), "") == 0, "no word is empty");

  TestSession typed;
  TestSession quoted;
  for (const std::string& line : Split(text, '\n')) {
    const std::string same = Quoted(cli::SplitLine(line));
    CheckCompletions(typed.session, line);
    const std::string written = typed.Run(line);
    Require(written == Replaced(quoted.Run(same), same, line),
            "quotes change nothing in a command");
    Require(!same.empty() || written.empty(), "a line without words does nothing");
    Require(typed.Prompt() == quoted.Prompt(), "quotes change nothing in where a line leads");
  }
  return 0;
}
