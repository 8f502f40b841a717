#include <gtest/gtest.h>

#include <ostream>
#include <sstream>
#include <string>
#include <vector>

#include "TestSession.h"

namespace {

using Strings = std::vector<std::string>;

TEST(DispatchTest, LinesReachTheCommandOfThatNameAndCount) {
  TestSession t;
  EXPECT_EQ(t.Run("ping"), "pong\n");
  EXPECT_EQ(t.Run(" pair 'a b' c "), "a b|c\n");
  EXPECT_EQ(t.Run("pair x"), "x\n");
  EXPECT_EQ(t.Run("pair"), "wrong command: pair\n");
  EXPECT_EQ(t.Run("ping  too many "), "wrong command: ping  too many \n");
  EXPECT_EQ(t.Run("Ping"), "wrong command: Ping\n");
  EXPECT_EQ(t.Run("pin"), "wrong command: pin\n");
  EXPECT_EQ(t.Run(""), "");
  EXPECT_EQ(t.Run(" \t \"\""), "");
  t.session.Leave();
  EXPECT_EQ(t.kept,
            (Strings{"ping", " pair 'a b' c ", "pair x", "pair", "ping  too many ", "Ping", "pin"}))
      << "every line with words is recorded as it was typed, and no other";
}

TEST(DispatchTest, MenusAreEnteredByNameAloneAndLeftByTheParentsName) {
  TestSession t;
  EXPECT_EQ(t.Prompt(), "main> ");
  EXPECT_EQ(t.Run("sub ls filter"), "filter\n");
  EXPECT_EQ(t.Run("sub deep dig"), "dug\n");
  EXPECT_EQ(t.Run("sub nothing"), "wrong command: sub nothing\n");
  EXPECT_EQ(t.Prompt(), "main> ") << "words behind a menu's name leave the current menu alone";
  EXPECT_EQ(t.Run("sub"), "");
  EXPECT_EQ(t.Prompt(), "sub> ");
  EXPECT_EQ(t.Run("ls"), "all\n");
  EXPECT_EQ(t.Run("ping"), "wrong command: ping\n") << "the parent's commands aren't searched";
  EXPECT_EQ(t.Run("main ping"), "pong\n");
  t.Run("deep");
  EXPECT_EQ(t.Prompt(), "deep> ");
  EXPECT_EQ(t.Run("main"), "wrong command: main\n") << "only the next menu up is asked";
  EXPECT_EQ(t.Run("sub ls"), "all\n");
  t.Run("sub");
  t.Run("main");
  EXPECT_EQ(t.Prompt(), "main> ");
}

TEST(DispatchTest, WhatACommandThrowsIsReportedAndTheSessionGoesOn) {
  TestSession t;
  EXPECT_EQ(t.Run("runtime"), "why\n");
  EXPECT_EQ(t.Run("castfail"), "wrong command: castfail\n");
  EXPECT_EQ(t.Run("odd"), "Cli. Unknown exception caught handling command line \"odd\"\n");
  t.cli.SetStdExceptionHandler(
      [](std::ostream& out, const std::string& line, const std::exception& exception) {
        out << line << ':' << exception.what() << '\n';
      });
  EXPECT_EQ(t.Run("runtime"), "runtime:why\n");
  EXPECT_EQ(t.Run("ping"), "pong\n");
}

TEST(DispatchTest, DisabledAndRemovedCommandsAreGoneEverywhere) {
  TestSession t;
  const cli::CmdHandler copy = t.ping;
  t.ping.Disable();
  t.pair2.Disable();
  EXPECT_EQ(t.Run("ping"), "wrong command: ping\n");
  EXPECT_EQ(t.Run("pair x"), "x\n");
  EXPECT_EQ(t.Run("help").find("ping"), std::string::npos);
  EXPECT_EQ(t.session.CompletionsFor("pi"), Strings());
  copy.Enable();
  EXPECT_EQ(t.Run("ping"), "pong\n");

  t.sub.Disable();
  EXPECT_EQ(t.Run("sub ls"), "wrong command: sub ls\n");
  EXPECT_EQ(t.session.CompletionsFor("s"), Strings());

  t.ping.Remove();
  copy.Remove();
  copy.Enable();
  copy.Disable();
  EXPECT_EQ(t.Run("ping"), "wrong command: ping\n");
  cli::CmdHandler().Remove();
  cli::CmdHandler().Enable();
}

TEST(DispatchTest, ACommandMayRemoveOthersAndItself) {
  TestSession t;
  cli::CmdHandler self;
  const std::string text = "still there after the removal";
  self = t.cli.RootMenu().AddCommand(
      "once",
      [&t, &self, text](std::ostream& out) {
        t.ping.Remove();
        self.Remove();
        out << text << '\n';
        throw std::bad_cast();  // so that the search goes on over what is left
      },
      "");
  EXPECT_EQ(t.Run("once"), text + "\nwrong command: once\n");
  EXPECT_EQ(t.Run("once"), "wrong command: once\n");
  EXPECT_EQ(t.Run("ping"), "wrong command: ping\n");
  EXPECT_EQ(t.Run("pair x"), "x\n");
}

TEST(DispatchTest, HelpListsTheGlobalMenuTheCurrentOneAndTheWayUp) {
  TestSession t;
  const std::string global =
      "Commands available:\n"
      " - help\n\tThis help message\n"
      " - exit\n\tQuit the session\n";
  EXPECT_EQ(t.Run("help"), global +
                               " - ping\n\tAnswers\n"
                               " - pair <string> <string>\n\tTwo\n"
                               " - pair <first>\n\tOne\n"
                               " - runtime\n\t\n"
                               " - castfail\n\t\n"
                               " - odd\n\t\n"
                               " - sub\n\t(menu)\n");
  t.Run("sub");
  EXPECT_EQ(t.Run("help"), global +
                               " - ls\n\tLists\n"
                               " - ls <string>\n\tFilters\n"
                               " - deep\n\t(menu)\n"
                               " - main\n\t(menu)\n");
}

TEST(DispatchTest, CompletionsGoDownTheTreeAndComeSortedOnce) {
  TestSession t;
  EXPECT_EQ(t.session.CompletionsFor(""),
            (Strings{"castfail", "exit", "help", "odd", "pair", "ping", "runtime", "sub"}));
  EXPECT_EQ(t.session.CompletionsFor("  p"), (Strings{"pair", "ping"}));
  EXPECT_EQ(t.session.CompletionsFor("su"), (Strings{"sub"}));
  EXPECT_EQ(t.session.CompletionsFor("sub"), (Strings{"sub deep", "sub ls"}));
  EXPECT_EQ(t.session.CompletionsFor("sub deep"), (Strings{"sub deep dig"}));
  EXPECT_EQ(t.session.CompletionsFor("sub  \tl"), (Strings{"sub ls"}));
  EXPECT_EQ(t.session.CompletionsFor("sub deep d"), (Strings{"sub deep dig"}));
  EXPECT_EQ(t.session.CompletionsFor("ping x"), Strings());
  t.Run("sub");
  EXPECT_EQ(t.session.CompletionsFor("m"), (Strings{"main"}));
  EXPECT_EQ(t.session.CompletionsFor("main pi"), (Strings{"main ping"}));
}

TEST(DispatchTest, LeavingRunsTheActionsInOrderAndStoresTheNewLines) {
  TestSession t({"old"});
  t.session.SetExitAction([&t](std::ostream& out) { out << "session " << t.kept.size() << '\n'; });
  t.cli.SetExitAction([](std::ostream& out) { out << "cli\n"; });
  t.Run("ping");
  t.Run("ping");
  EXPECT_EQ(t.Run("exit"), "session 1\ncli\n");
  EXPECT_TRUE(t.session.IsLeaving());
  EXPECT_EQ(t.kept, (Strings{"old", "old", "ping", "exit"}))
      << "a repeated line isn't kept twice but counts as a line of the session";
  EXPECT_EQ(t.Prompt(), "");
}

TEST(DispatchTest, TheCommonStreamReachesEveryOpenSession) {
  TestSession first;
  {
    TestSession second;
    cli::Cli::Out() << "text " << 1 << 'c';
    cli::Cli::Out().put('d');
    EXPECT_EQ(second.Written(), "text 1cd");
  }
  cli::Cli::Out() << "e";
  EXPECT_EQ(first.Written(), "text 1cde");
}

}  // namespace
