#include "cli/InputHandler.h"

#include <gtest/gtest.h>

#include <deque>
#include <functional>
#include <sstream>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "TestSession.h"
#include "cli/KeyDecoder.h"

namespace {

using cli::detail::KeyEvent;
using cli::detail::KeyType;
using Strings = std::vector<std::string>;

/// Runs the jobs when the test says so.
class HeldScheduler : public cli::Scheduler {
 public:
  void Post(std::function<void()> job) override { jobs.push_back(std::move(job)); }
  void RunAll() {
    for (; !jobs.empty(); jobs.pop_front()) {
      jobs.front()();
    }
  }

  std::deque<std::function<void()>> jobs;
};

class InputHandlerTest : public testing::Test {
 protected:
  /// Types bytes that arrive together and gives back what the screen gets.
  std::string Type(std::string_view bytes) {
    std::vector<KeyEvent> keys;
    for (const char byte : bytes) {
      if (const auto key = decoder.Feed(static_cast<std::uint8_t>(byte))) {
        keys.push_back(*key);
      }
    }
    device.Notify(std::move(keys));
    scheduler.RunAll();
    return t.Written();
  }

  TestSession t{{"stored"}};
  HeldScheduler scheduler;
  cli::detail::InputDevice device{scheduler};
  cli::detail::KeyDecoder decoder;
  cli::detail::InputHandler handler{t.session, device};
};

TEST_F(InputHandlerTest, LinesAreRunAndPromptedFor) {
  EXPECT_EQ(Type("ping\nnone\n\n"),
            "ping\r\npong\nmain> none\r\nwrong command: none\nmain> \r\nmain> ");
  EXPECT_EQ(Type("su"), "su");
  device.Notify({KeyType::Ascii, 'b'});
  device.Notify({KeyType::Return, ' '});
  EXPECT_EQ(Type(""), "b\r\nsub> ");
}

TEST_F(InputHandlerTest, ArrowsWalkTheHistory) {
  EXPECT_EQ(Type("ping\n\x1b[A"), "ping\r\npong\nmain> ping");
  EXPECT_EQ(Type("\x1b[A"), "\b\b\b\bstored");
  EXPECT_EQ(Type("\x1b[B"), "\b\b\b\b\b\bping  \b\b");
  EXPECT_EQ(Type("\x1b[B"), "\b\b\b\b    \b\b\b\b");
}

TEST_F(InputHandlerTest, TabCompletesAsFarAsItIsClear) {
  EXPECT_EQ(Type("pi\t"), "pi\b\bping ");
  EXPECT_EQ(Type("\n"), "\r\npong\nmain> ");
  EXPECT_EQ(Type("zzz\t"), "zzz");
  EXPECT_EQ(Type("\x7f\x7f\x7fs\t"), "\b \b\b \b\b \bs\bsub ");
  EXPECT_EQ(Type("\t"), "\n\tsub deep\tsub ls\nmain> sub ");
  EXPECT_EQ(Type("l\t"), "l\b\b\b\b\bsub ls ");
  Type("\n");
  EXPECT_EQ(Type("p\t"), "p\n\tpair\tping\nmain> p");
  EXPECT_EQ(Type("a\x1b[D\t"), "a\b\bpair ") << "the cursor plays no part";
  Type("\n");
  t.cli.RootMenu().AddCommand(
      "pink", [](std::ostream&) {}, "");
  EXPECT_EQ(Type("pi\t"), "pi\b\bpin");
  Type("\n");
  EXPECT_EQ(Type("\t"),
            "\n\tcastfail\texit\thelp\todd\tpair\tping\tpink\truntime\tsub\n"
            "main> ");
}

TEST_F(InputHandlerTest, NothingIsRunBehindTheKeyThatEndsTheSession) {
  t.session.SetExitAction([](std::ostream& out) { out << "closing\n"; });
  EXPECT_EQ(Type("half\x04\nping\n"), "halfclosing\n");
  EXPECT_EQ(Type("ping\n\x04"), "");
  EXPECT_EQ(t.kept, Strings{"stored"});
}

TEST_F(InputHandlerTest, NothingIsRunBehindExit) {
  EXPECT_EQ(Type("exit\nping\n\x04"), "exit\r\n");
  EXPECT_EQ(t.kept, (Strings{"stored", "exit"}));
}

/// Counts flushes and can be told to fail like a terminal that went away.
class Screen : public std::stringbuf {
 public:
  int flushes = 0;
  bool isGone = false;

 protected:
  int sync() override {
    ++flushes;
    return isGone ? -1 : 0;
  }
};

TEST_F(InputHandlerTest, KeysThatArriveTogetherAreFlushedOnce) {
  Screen screen;
  static_cast<std::ostream&>(t.out).rdbuf(&screen);
  Type("ping\n\tping\n\x1b[A\x7f");
  EXPECT_EQ(screen.flushes, 1);
  Type("x");
  EXPECT_EQ(screen.flushes, 2);
}

TEST_F(InputHandlerTest, AnOutputThatIsGoneEndsTheSession) {
  Screen screen;
  static_cast<std::ostream&>(t.out).rdbuf(&screen);
  Type("ping\n");
  EXPECT_FALSE(t.session.IsLeaving());
  screen.isGone = true;
  Type("p");
  EXPECT_TRUE(t.session.IsLeaving());
  EXPECT_EQ(t.kept, (Strings{"stored", "ping"}));
}

}  // namespace
