#pragma once

#include <string>
#include <vector>

namespace cli {

/// The history that outlives a session. Entries are lines without their line feed.
class HistoryStorage {
 public:
  virtual ~HistoryStorage() = default;

  /// Appends `commands`, oldest first.
  virtual void Store(const std::vector<std::string>& commands) = 0;
  /// The stored history, oldest first.
  virtual std::vector<std::string> Commands() const = 0;
  /// Empties the persistent history.
  virtual void Clear() = 0;
};

}  // namespace cli
