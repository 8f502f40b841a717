#include "log/Log.h"

#include <array>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "platform/Clock.h"
#include "platform/SystemLog.h"

namespace log_detail {
std::atomic<int> threshold{kLogInfo};
}  // namespace log_detail

namespace {

constexpr std::array<const char*, 8> kLevelNames{"Emergency", "Alert",  "Critical", "Error",
                                                 "Warning",   "Notice", "Info",     "Debug"};

std::atomic<bool> mirrorToStdout{false};

LogHook& Hook() {
  static LogHook hook;
  return hook;
}

std::string OriginPrefix(const char* file, const char* function, int line) {
  std::string prefix;
  if (file != nullptr) {
    const char* slash = std::strrchr(file, '/');
    prefix = slash != nullptr ? slash + 1 : file;
  }
  if (function != nullptr) {
    prefix += ':';
    prefix += function;
  }
  if (!prefix.empty()) {
    prefix += '(';
    prefix += std::to_string(line);
    prefix += ')';
  }
  return prefix;
}

std::string LocalTimeText(const std::tm& when, const char* format) {
  std::array<char, 128> text{};
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
  const std::size_t size = std::strftime(text.data(), text.size(), format, &when);
#pragma GCC diagnostic pop
  return {text.data(), size};
}

void NotifyHook(int level, const std::string& message) {
  const std::time_t now = platform::RealTime().tv_sec;
  std::tm when{};
  localtime_r(&now, &when);
  const std::string date = LocalTimeText(when, "%D");
  const std::string time = LocalTimeText(when, "%H:%M:%S");
  if (Hook()) {
    Hook()(level, date, time, message);
  }
}

std::string FormatMessageV(const char* format, std::va_list arguments)
    __attribute__((format(printf, 1, 0)));

std::string FormatMessageV(const char* format, std::va_list arguments) {
  std::array<char, 4096> text;  // not cleared, which would cost more than most formats do
  const int length = std::vsnprintf(text.data(), text.size(), format, arguments);
  if (length < 0) {
    return "Formatting error";
  }
  if (static_cast<std::size_t>(length) >= text.size()) {
    return "(truncated)";
  }
  return {text.data(), static_cast<std::size_t>(length)};
}

void LogDirect(int level, const char* format, std::va_list arguments)
    __attribute__((format(printf, 2, 0)));

void LogDirect(int level, const char* format, std::va_list arguments) {
  if (!WouldLog(level)) {
    return;
  }
  std::va_list copy;
  va_copy(copy, arguments);
  platform::SystemLogV(level, format, copy);
  va_end(copy);
  if (mirrorToStdout.load(std::memory_order_relaxed)) {
    std::vprintf(format, arguments);
    std::printf("\n");
  }
}

}  // namespace

void SetLogLevel(int level) {
  log_detail::threshold.store(level, std::memory_order_relaxed);
}

int GetLogLevel() {
  return log_detail::threshold.load(std::memory_order_relaxed);
}

void SetLogToStdout(bool mirror) {
  mirrorToStdout.store(mirror, std::memory_order_relaxed);
}

bool GetLogToStdout() {
  return mirrorToStdout.load(std::memory_order_relaxed);
}

void SetLogHook(LogHook hook) {
  Hook() = std::move(hook);
}

void LogLevelName(int level, std::string& text) {
  if (level >= 0 && static_cast<std::size_t>(level) < kLevelNames.size()) {
    text = kLevelNames[static_cast<std::size_t>(level)];
  }
}

void LogMessage(int level, bool notifyHook, const std::string& message, const char* file,
                const char* function, int line) {
  if (WouldLog(level)) {
    const std::string text = OriginPrefix(file, function, line) + ' ' + message;
    platform::SystemLog(level, text.c_str());
    if (GetLogToStdout()) {
      std::printf("%s\n\r", text.c_str());
    }
  }
  if (notifyHook) {
    NotifyHook(level, message);
  }
}

std::string FormatMessage(const char* format, ...) {
  std::va_list arguments;
  va_start(arguments, format);
  std::string text = FormatMessageV(format, arguments);
  va_end(arguments);
  return text;
}

#define DEFINE_DIRECT_LOG(name, level)   \
  void name(const char* format, ...) {   \
    std::va_list arguments;              \
    va_start(arguments, format);         \
    LogDirect(level, format, arguments); \
    va_end(arguments);                   \
  }
DEFINE_DIRECT_LOG(LogDebugF, kLogDebug)
DEFINE_DIRECT_LOG(LogInfoF, kLogInfo)
DEFINE_DIRECT_LOG(LogWarningF, kLogWarning)
DEFINE_DIRECT_LOG(LogErrorF, kLogError)
DEFINE_DIRECT_LOG(LogCriticalF, kLogCritical)
#undef DEFINE_DIRECT_LOG

void LogErrorV(const char* format, std::va_list arguments) {
  LogDirect(kLogError, format, arguments);
}
