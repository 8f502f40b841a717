#pragma once

#include <algorithm>
#include <cstddef>
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
  /// The last `count` entries of the stored history, oldest first.
  virtual std::vector<std::string> Newest(std::size_t count) const {
    std::vector<std::string> commands = Commands();
    const auto kept = static_cast<std::ptrdiff_t>(std::min(count, commands.size()));
    commands.erase(commands.begin(), commands.end() - kept);
    return commands;
  }
};

}  // namespace cli
