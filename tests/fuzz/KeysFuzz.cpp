// Any bytes from the keyboard, through the decoder, the line editor, Tab and the history.

#include "cli/Colors.h"
#include "cli/InputHandler.h"
#include "cli/KeyDecoder.h"
#include "cli/SplitLine.h"
#include "cli/TestSession.h"
#include "fuzz/Fuzz.h"

namespace {

using cli::detail::KeyEvent;
using cli::detail::KeyType;

std::string WithoutTrailingBlanks(std::string text) {
  return text.erase(text.find_last_not_of(' ') + 1);
}

// The row with the cursor of a terminal whose rows have no end.
struct Screen {
  void Write(const std::string& text) {
    for (const char c : text) {
      if (inEscape) {
        inEscape = c != 'm';
      } else if (c == '\x1b') {
        inEscape = true;
      } else if (c == '\n') {
        row.clear();
        column = 0;
      } else if (c == '\r') {
        column = 0;
      } else if (c == '\b') {
        Require(column > PromptSize(), "the cursor stays behind the prompt");
        --column;
      } else {
        row.resize(std::max(row.size(), column + 1));
        row[column++] = c;
      }
    }
  }
  std::size_t PromptSize() const { return row.find("> ") + 2; }
  std::string Line() const { return WithoutTrailingBlanks(row.substr(PromptSize())); }

  std::string row;
  std::size_t column = 0;
  bool inEscape = false;
};

class NoScheduler : public cli::Scheduler {
  void Post(std::function<void()> job) override { job(); }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::uint8_t kPause = 0xFF;
  TestSession t({"stored", "ping"});
  cli::SetColorEnabled(false);
  t.cli.RootMenu().AddCommand(
      "color", [](std::ostream&) { cli::SetColorEnabled(!cli::ColorEnabled()); }, "");
  NoScheduler scheduler;
  cli::detail::InputDevice device(scheduler);
  cli::detail::InputHandler handler(t.session, device);
  cli::detail::KeyDecoder decoder;
  Screen screen;
  screen.Write(t.Prompt());
  const auto press = [&](const KeyEvent& key) {
    const std::string shown = screen.Line();
    handler.HandleKeys({&key, 1});
    screen.Write(t.Written());
    const std::vector<std::string> commands = t.session.History().NewCommands();
    Require(t.out.good() && commands.size() <= 10,
            "the output stays good, the history in its size");
    if (key.first == KeyType::Return && !cli::SplitLine(shown).empty()) {
      Require(WithoutTrailingBlanks(commands.back()) == shown,
              "what the screen shows is what runs");
    }
  };

  for (std::size_t i = 0; i < size && !t.session.IsLeaving(); ++i) {
    const auto key = data[i] == kPause ? decoder.BreakOff() : decoder.Feed(data[i]);
    // These two are echoed as they are typed, and move the terminal's own cursor.
    if (key && key->second != '\b' && key->second != '\r') {
      press(*key);
    }
  }
  if (!t.session.IsLeaving()) {
    std::string expected = screen.row;
    expected.insert(screen.column, "#");
    press({KeyType::Ascii, '#'});
    Require(WithoutTrailingBlanks(screen.row) == WithoutTrailingBlanks(expected),
            "a character goes in where the cursor stands");
    press({KeyType::Return, ' '});
  }
  t.session.Leave();
  handler.HandleKeys(std::vector<KeyEvent>{{KeyType::Ascii, 'x'}, {KeyType::Return, ' '}});
  Require(t.Written().empty(), "no key counts behind the session's end");
  return 0;
}
