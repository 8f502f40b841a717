#include "log/Log.h"

#include <gtest/gtest.h>

#include "sim/Board.h"

namespace {

std::string OneRecord(const char* file, const char* function, int line) {
  sim::Board::Get().log.Clear();
  LogMessage(kLogInfo, false, "text %s", file, function, line);
  const auto records = sim::Board::Get().log.All();
  return records.size() == 1 ? records.front().text : "not one record";
}

TEST(Log, OriginNamesWhatIsKnown) {
  EXPECT_EQ(OneRecord("/some/where/File.cpp", "Function", 12), "File.cpp:Function(12) text %s");
  EXPECT_EQ(OneRecord("File.cpp", nullptr, -7), "File.cpp(-7) text %s");
  EXPECT_EQ(OneRecord(nullptr, "Function", 12), ":Function(12) text %s");
  EXPECT_EQ(OneRecord(nullptr, nullptr, 12), " text %s");
}

TEST(Log, ThresholdFiltersRecordsButNotTheHook) {
  std::vector<std::string> hooked;
  SetLogHook([&hooked](int level, const std::string& date, const std::string& time,
                       const std::string& message) {
    hooked.push_back(std::to_string(level) + message);
    EXPECT_EQ(date.size(), 8U);
    EXPECT_EQ(time.size(), 8U);
  });
  LogMessage(kLogDebug, true, "low", "f", "g", 1);
  LogMessage(kLogInfo, true, "high", "f", "g", 1);
  LogMessage(kLogInfo, false, "unhooked", "f", "g", 1);
  EXPECT_EQ(hooked, (std::vector<std::string>{"7low", "6high"}));
  EXPECT_EQ(sim::Board::Get().log.All(),
            (std::vector<sim::LogRecord>{{6, "f:g(1) high"}, {6, "f:g(1) unhooked"}}));
  SetLogHook(nullptr);
}

TEST(Log, FilteredLineEvaluatesNothing) {
  int evaluated = 0;
  LOG_DEBUG("%d", ++evaluated);
  EXPECT_EQ(evaluated, 0);
  SetLogLevel(kLogDebug);
  LOG_DEBUG("%d", ++evaluated);
  EXPECT_EQ(evaluated, 1);
}

TEST(Log, MirrorEndsLinesAsEachFamilyDoes) {
  SetLogToStdout(true);
  testing::internal::CaptureStdout();
  LogMessage(kLogError, false, "a", nullptr, nullptr, 0);
  LogMessage(kLogDebug, false, "filtered", nullptr, nullptr, 0);
  LogErrorF("%d", 5);
  LogDebugF("%d", 6);
  EXPECT_EQ(testing::internal::GetCapturedStdout(), " a\n\r5\n");
}

TEST(Log, DirectFamilyHasNoOriginAndNoLimit) {
  const std::string big(10'000, 'x');
  LogErrorF("%s|%d", big.c_str(), 1);
  EXPECT_EQ(sim::Board::Get().log.All(), (std::vector<sim::LogRecord>{{3, big + "|1"}}));
}

TEST(FormatMessage, KeepsWhatFitsWhole) {
  const std::string fits(4095, 'x');
  EXPECT_EQ(FormatMessage("%s", fits.c_str()), fits);
  EXPECT_EQ(FormatMessage("%sx", fits.c_str()), "(truncated)");
  EXPECT_EQ(FormatMessage(std::string("%d-%s"), 3, "b"), "3-b");
}

TEST(LogLevelName, LeavesTheTextOfAnUnknownLevel) {
  std::string text;
  for (const int level : {7, 8, -1}) {
    LogLevelName(level, text);
    EXPECT_EQ(text, "Debug") << level;
  }
}

}  // namespace
