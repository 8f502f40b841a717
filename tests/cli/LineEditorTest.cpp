#include "cli/LineEditor.h"

#include <gtest/gtest.h>

#include <map>
#include <sstream>
#include <string>
#include <string_view>

#include "cli/Colors.h"
#include "cli/KeyDecoder.h"

namespace {

using cli::EditResult;
using cli::detail::KeyType;

/// Keys as a person writes them, "ab<left><del>", and what the editor makes of them.
class Typist {
 public:
  EditResult Type(std::string_view keys) {
    static const std::map<std::string_view, KeyType> kNames{
        {"up", KeyType::Up},          {"down", KeyType::Down},      {"left", KeyType::Left},
        {"right", KeyType::Right},    {"back", KeyType::Backspace}, {"del", KeyType::Delete},
        {"home", KeyType::Home},      {"end", KeyType::End},        {"return", KeyType::Return},
        {"eof", KeyType::EndOfInput}, {"ignored", KeyType::Ignored}};
    EditResult result;
    while (!keys.empty()) {
      if (keys.front() == '<') {
        const std::size_t close = keys.find('>');
        result = editor.Handle({kNames.at(keys.substr(1, close - 1)), ' '});
        keys.remove_prefix(close + 1);
      } else {
        result = editor.Handle({KeyType::Ascii, keys.front()});
        keys.remove_prefix(1);
      }
    }
    return result;
  }

  std::string Written() {
    std::string text = out.str();
    out.str("");
    return text;
  }

  /// The bytes that `keys` write when typed behind `before`.
  std::string Echo(std::string_view before, std::string_view keys) {
    Type(before);
    Written();
    Type(keys);
    return Written();
  }

  std::ostringstream out;
  cli::LineEditor editor{out};
};

struct Case {
  std::string_view before;
  std::string_view keys;
  std::string_view echo;
  std::string_view line;
  std::size_t position;
};

TEST(LineEditorTest, EachKeyWritesExactlyItsBytes) {
  const Case cases[] = {
      {"", "a", "a", "a", 1},
      {"ab", "c", "c", "abc", 3},
      {"abc<left><left>", "X", "Xbc\b\b", "aXbc", 2},
      {"abc<home>", "X", "Xabc\b\b\b", "Xabc", 1},
      {"ab", "\r", "\r", "ab\r", 3},
      {"ab", "\b", "\b", "ab\b", 3},
      {"", "<left><right><back><del><home><end><ignored>", "", "", 0},
      {"abc", "<right><del><end>", "", "abc", 3},
      {"abc<home>", "<left><back>", "", "abc", 0},
      {"abc", "<left>", "\b", "abc", 2},
      {"abc<home>", "<right>", "a", "abc", 1},
      {"abc", "<back>", "\b \b", "ab", 2},
      {"abcd<left><left>", "<back>", "\bcd \b\b\b", "acd", 1},
      {"abcd<home>", "<del>", "bcd \b\b\b\b", "bcd", 0},
      {"abcd<left>", "<del>", " \b", "abc", 3},
      {"abc<left>", "<home>", "\b\b", "abc", 0},
      {"abc<home><right>", "<end>", "bc", "abc", 3},
      {"abc", "<up><down><ignored>", "", "abc", 3},
      {"abc<left>", "\t", "", "abc", 2},
      {"abc<left>", "<eof>", "", "abc", 2},
      {"abc<left>", "<return>", "\r\n", "", 0},
  };
  for (const Case& c : cases) {
    Typist t;
    EXPECT_EQ(t.Echo(c.before, c.keys), c.echo) << c.before << " then " << c.keys;
    EXPECT_EQ(t.editor.Line(), c.line) << c.before << " then " << c.keys;
    EXPECT_EQ(t.editor.Position(), c.position) << c.before << " then " << c.keys;
  }
}

TEST(LineEditorTest, ReplacingALineWipesWhatWasLonger) {
  Typist t;
  t.Type("abcd<left>");
  t.Written();
  t.editor.ReplaceLine("xy");
  EXPECT_EQ(t.Written(), "\b\b\bxy  \b\b");
  t.editor.ReplaceLine("longer");
  EXPECT_EQ(t.Written(), "\b\blonger");
  EXPECT_EQ(t.editor.Position(), 6U);
  t.Type("<home>");
  t.Written();
  t.editor.Redraw(cli::LineEditor::Cursor::AtEnd);
  EXPECT_EQ(t.Written(), "longer");
  EXPECT_EQ(t.editor.Position(), 6U);
}

TEST(LineEditorTest, ColoursSurroundWhatIsTyped) {
  cli::SetColorEnabled(true);
  Typist t;
  EXPECT_EQ(t.Echo("", "a"), "\x1b[97ma\x1b[0m");
  EXPECT_EQ(t.Echo("b<left>", "X"), "\x1b[97mXb\x1b[0m\b");
  EXPECT_EQ(t.Echo("<left>", "<right>"), "\x1b[97mX\x1b[0m");
  EXPECT_EQ(t.Echo("<home>", "<end>"), "\x1b[97maXb\x1b[0m");
  EXPECT_EQ(t.Echo("", "<back>"), "\b \b");
  t.editor.ReplaceLine("z");
  EXPECT_EQ(t.Written(), "\x1b[97m\b\bz\x1b[0m \b");
}

}  // namespace
