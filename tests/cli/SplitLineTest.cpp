#include "cli/SplitLine.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

using std::string_view_literals::operator""sv;

struct Case {
  std::string_view line;
  std::vector<std::string> words;
};

TEST(SplitLineTest, EveryStateTakesEveryKindOfCharacter) {
  const Case cases[] = {
      // Between words.
      {"", {}},
      {" \t\n", {}},
      {" a\tb\nc ", {"a", "b", "c"}},
      {R"("a b")", {"a b"}},
      {R"(\a)", {R"(\a)"}},
      {R"(\"a)", {"\"a"}},
      // In a word.
      {R"(a"b c"d)", {"a", "b c", "d"}},
      {R"(a'b c'd)", {"a", "b c", "d"}},
      {R"(a\"b)", {"a\"b"}},
      {R"(a\\b)", {R"(a\b)"}},
      {R"(a\nb)", {R"(a\nb)"}},
      {R"(a\ b)", {R"(a\ b)"}},
      {"a\rb", {"a\rb"}},
      {"a\0b"sv, {std::string("a\0b", 3)}},
      // In quotes.
      {R"('a"b')", {"a\"b"}},
      {R"("a'b")", {"a'b"}},
      {R"("a\"b")", {"a\"b"}},
      {R"("a\b c" d)", {R"(a\b c)", "d"}},
      {"\"a\tb\nc\"", {"a\tb\nc"}},
      {R"("a""b"c)", {"a", "b", "c"}},
      // The end of the line, and empty words.
      {R"("a b)", {"a b"}},
      {R"(a\)", {"a"}},
      {R"(\)", {}},
      {R"("")", {}},
      {R"(a "" '' b)", {"a", "b"}},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(cli::SplitLine(c.line), c.words) << c.line;
  }
}

}  // namespace
