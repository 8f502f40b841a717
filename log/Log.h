#pragma once

#include <atomic>
#include <concepts>
#include <cstdarg>
#include <functional>
#include <string>

/// The one log call of the system. Records go to the system log; a mirror to standard output and a
/// hook are there for programs that want them, and start switched off.
///
/// Thread-safe: every operation but SetLogHook, which belongs to start-up.

/// Severities of the system log (RFC 5424, section 6.2.1). A smaller number is more severe.
enum LogLevel : int {
  kLogEmergency = 0,
  kLogAlert = 1,
  kLogCritical = 2,
  kLogError = 3,
  kLogWarning = 4,
  kLogNotice = 5,
  kLogInfo = 6,
  kLogDebug = 7,
};

/// Called with the level, the local date ("%D") and time ("%H:%M:%S") and the bare message.
using LogHook = std::function<void(int level, const std::string& date, const std::string& time,
                                   const std::string& message)>;

/// Sets the threshold: records of a level greater than it are dropped. Starts at 6 (Info).
void SetLogLevel(int level);
/// The threshold as last set.
int GetLogLevel();

/// Also prints every record that passes the threshold on standard output. Starts false.
void SetLogToStdout(bool mirror);
/// True while records are printed, too.
bool GetLogToStdout();

/// Replaces the hook. Not to be called while another thread logs with `notifyHook`.
void SetLogHook(LogHook hook);

/// Assigns the name of `level` ("Emergency" ... "Debug") to `text`. A number outside 0 to 7 leaves
/// `text` as it was.
void LogLevelName(int level, std::string& text);

/// Writes one record, "<base name of file>:<function>(<line>) <message>". `file` and `function` may
/// be null and are then left out. With `notifyHook` the hook gets the message too, whether or not
/// the threshold lets the record pass.
void LogMessage(int level, bool notifyHook, const std::string& message, const char* file,
                const char* function, int line);

/// Where a record comes from: the operation that a reader of the log knows by its name. What logs
/// in a helper names the operation and not the helper, which is handed the operation's LOG_ORIGIN.
struct LogOrigin {
  const char* file;
  const char* function;
  int line;
};
#define LOG_ORIGIN (LogOrigin{__FILE__, static_cast<const char*>(__func__), __LINE__})

/// LogMessage without the hook.
inline void LogMessage(int level, const std::string& message, const LogOrigin& origin) {
  LogMessage(level, false, message, origin.file, origin.function, origin.line);
}

/// printf into a string: at most 4095 characters, else the text is "(truncated)". A format that
/// can't be converted gives "Formatting error".
std::string FormatMessage(const char* format, ...) __attribute__((format(printf, 1, 2)));
template <std::same_as<std::string> String, typename... Arguments>
std::string FormatMessage(const String& format, Arguments... arguments) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
  return FormatMessage(format.c_str(), arguments...);
#pragma GCC diagnostic pop
}

/// The direct family: straight from a format to the system log, without an origin.
void LogDebugF(const char* format, ...) __attribute__((format(printf, 1, 2)));
void LogInfoF(const char* format, ...) __attribute__((format(printf, 1, 2)));
void LogWarningF(const char* format, ...) __attribute__((format(printf, 1, 2)));
void LogErrorF(const char* format, ...) __attribute__((format(printf, 1, 2)));
void LogCriticalF(const char* format, ...) __attribute__((format(printf, 1, 2)));
void LogErrorV(const char* format, std::va_list arguments) __attribute__((format(printf, 1, 0)));

namespace log_detail {
// Written at start-up, read by every thread. Nothing else hangs on its value, so relaxed is enough.
extern std::atomic<int> threshold;
}  // namespace log_detail

/// True if a record of this level passes the threshold.
inline bool WouldLog(int level) {
  return level <= log_detail::threshold.load(std::memory_order_relaxed);
}

// A log line costs one comparison when it is filtered: the arguments are not evaluated then.
#define LOG_AT_FROM(level, origin, ...)                        \
  do {                                                         \
    if (WouldLog(level)) {                                     \
      LogMessage(level, FormatMessage(__VA_ARGS__), (origin)); \
    }                                                          \
  } while (false)

// On behalf of the operation whose origin it is.
#define LOG_CRITICAL_FROM(origin, ...) LOG_AT_FROM(kLogCritical, origin, __VA_ARGS__)
#define LOG_ERROR_FROM(origin, ...) LOG_AT_FROM(kLogError, origin, __VA_ARGS__)
#define LOG_WARNING_FROM(origin, ...) LOG_AT_FROM(kLogWarning, origin, __VA_ARGS__)
#define LOG_INFO_FROM(origin, ...) LOG_AT_FROM(kLogInfo, origin, __VA_ARGS__)
#define LOG_DEBUG_FROM(origin, ...) LOG_AT_FROM(kLogDebug, origin, __VA_ARGS__)

// In the operation itself.
#define LOG_CRITICAL(...) LOG_CRITICAL_FROM(LOG_ORIGIN, __VA_ARGS__)
#define LOG_ERROR(...) LOG_ERROR_FROM(LOG_ORIGIN, __VA_ARGS__)
#define LOG_WARNING(...) LOG_WARNING_FROM(LOG_ORIGIN, __VA_ARGS__)
#define LOG_INFO(...) LOG_INFO_FROM(LOG_ORIGIN, __VA_ARGS__)
#define LOG_DEBUG(...) LOG_DEBUG_FROM(LOG_ORIGIN, __VA_ARGS__)
