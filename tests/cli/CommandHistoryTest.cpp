#include "cli/CommandHistory.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

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

}  // namespace
