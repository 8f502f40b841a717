#include "cli/CommandHistory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TestSession.h"
#include "cli/WithoutControls.h"

namespace {

using cli::CommandHistory;
using Strings = std::vector<std::string>;

CommandHistory Filled(std::size_t maxSize = 10) {
  CommandHistory history(maxSize);
  for (const char* line : {"one", "two", "three"}) {
    history.PushNewest(line);
  }
  return history;
}

TEST(CommandHistoryTest, UpWalksBackAndDownComesForthToTheTypedLine) {
  CommandHistory history = Filled();
  EXPECT_EQ(history.Newer(), "") << "down clears the line when nothing is browsed";
  EXPECT_EQ(history.Older("typed"), "three");
  EXPECT_EQ(history.Older("three"), "two");
  EXPECT_EQ(history.Older("two"), "one");
  EXPECT_EQ(history.Older("one"), "one") << "the oldest entry is the end";
  EXPECT_EQ(history.Newer(), "two");
  EXPECT_EQ(history.Newer(), "three");
  EXPECT_EQ(history.Newer(), "typed");
  EXPECT_EQ(history.Newer(), "");
}

TEST(CommandHistoryTest, UpOnAnEmptyHistoryGivesTheLineBack) {
  CommandHistory history(10);
  EXPECT_EQ(history.Older("typed"), "typed");
  EXPECT_EQ(history.Older("more"), "more");
  EXPECT_EQ(history.NewCommands(), Strings());
}

TEST(CommandHistoryTest, EditsStayWithUpAndAreLostWithDown) {
  CommandHistory history = Filled();
  history.Older("");
  EXPECT_EQ(history.Older("three, edited"), "two");
  EXPECT_EQ(history.Newer(), "three, edited");
  EXPECT_EQ(history.Newer(), "");
  EXPECT_EQ(history.Older("new"), "three, edited");
}

TEST(CommandHistoryTest, RecordingEndsTheBrowsing) {
  CommandHistory unchanged = Filled();
  unchanged.Older("typed");
  unchanged.Record("three");
  EXPECT_EQ(unchanged.Older(""), "three");
  EXPECT_EQ(unchanged.Older("three"), "two") << "neither stored twice nor is the typed line kept";

  CommandHistory changed = Filled();
  changed.Older("typed");
  changed.Older("three");
  changed.Record("two");
  EXPECT_EQ(changed.Older(""), "two");
  EXPECT_EQ(changed.Older("two"), "three");
}

TEST(CommandHistoryTest, TheStoredPartIsAsLongAsTheSessionRanLines) {
  CommandHistory history = Filled();
  EXPECT_EQ(history.NewCommands(), Strings());
  history.Record("four");
  history.Record("five");
  EXPECT_EQ(history.NewCommands(), (Strings{"four", "five"}));
  history.Record("five");
  EXPECT_EQ(history.NewCommands(), (Strings{"three", "four", "five"}));
  history.Older("typed");
  EXPECT_EQ(history.NewCommands(), (Strings{"three", "four", "five"}))
      << "the line being typed is no entry";
}

TEST(CommandHistoryTest, TheSizeIsBounded) {
  CommandHistory history = Filled(2);
  history.Older("typed");
  EXPECT_EQ(history.Older("three"), "three") << "the typed line took the place of the oldest";
  for (int i = 0; i < 5; ++i) {
    history.Record(std::to_string(i));
  }
  EXPECT_EQ(history.NewCommands(), (Strings{"3", "4"}));

  CommandHistory none(0);
  none.Record("a");
  EXPECT_EQ(none.Older("typed"), "typed");
  EXPECT_EQ(none.Older("typed"), "typed");
  none.Record("b");
  EXPECT_EQ(none.Newer(), "");
  EXPECT_EQ(none.NewCommands(), Strings());
}

// No byte that is left lets a terminal act, whatever it takes bytes for.
TEST(CommandHistoryTest, ControlsOfAForeignHistoryAreDroppedInEveryDisguise) {
  using cli::WithoutControls;
  EXPECT_EQ(WithoutControls({"a\0\t\r\x1b[2Jb\x7f", 10}), "a[2Jb");
  EXPECT_EQ(WithoutControls("\u0080\u009b1m\u009f\u00a0"), "1m\u00a0");
  EXPECT_EQ(WithoutControls("\u00dc\u0400\u96db\U0001f6db"), "\u00dc\u0400\u96db\U0001f6db");
  EXPECT_EQ(WithoutControls("\x9b\xfc"), "\xfc") << "one byte a character";
  EXPECT_EQ(WithoutControls("\xc2\x1b\x9b\xc2\xc2\x9b\x9b\xe9\x9b"), "\xc2\xc2\xe9")
      << "nothing grows together";
  EXPECT_EQ(WithoutControls("\xc0\x9b\xe0\x82\x9b\xf0\x80\x82\x9b"), "\xc0\xe0\xf0")
      << "longer than need be";
  EXPECT_EQ(WithoutControls("\xed\xa0\x9b\xf4\x90\x80\x9b"), "\xed\xa0\xf4") << "no letters";

  TestSession t({"older", "\x1b[1m", "\x1b\a", "old"});
  EXPECT_EQ(t.session.History().Older(""), "old");
  EXPECT_EQ(t.session.History().Older("old"), "[1m");
}

}  // namespace
