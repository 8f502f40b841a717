#pragma once

#include <mutex>
#include <string>
#include <vector>

namespace sim {

/// One record of the simulated system log.
struct LogRecord {
  int severity;
  std::string text;

  friend bool operator==(const LogRecord&, const LogRecord&) = default;
};

/// The simulated system log: kept in memory and appended to a file, a line each, "<severity>
/// <text>". Thread-safe, with a lock of its own: a record may be written while an access is under
/// way.
class LogRecords {
 public:
  LogRecords() = default;
  LogRecords(const LogRecords&) = delete;
  LogRecords& operator=(const LogRecords&) = delete;
  ~LogRecords();

  /// Appends every record from now on to a file, which is created if it is missing. Throws
  /// std::system_error.
  void WriteTo(const std::string& path);

  void Add(int severity, std::string text);

  /// All records so far, oldest first.
  std::vector<LogRecord> All() const;
  /// The texts of all records so far that have this severity, without the origin in front of them.
  std::vector<std::string> Messages(int severity) const;
  /// The severities and texts, without the origin in front of each text.
  std::vector<LogRecord> WithoutOrigins() const;
  /// Forgets what is kept in memory.
  void Clear();

 private:
  // A file that the program writes for days keeps its length in memory bounded.
  static constexpr std::size_t kMaxKept = 100'000;

  mutable std::mutex mutex_;  // guards all that follows
  std::vector<LogRecord> records_;
  int descriptor_ = -1;
};

}  // namespace sim
