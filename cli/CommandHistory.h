#pragma once

#include <cstddef>
#include <deque>
#include <string>
#include <vector>

namespace cli {

/// The lines that Up and Down walk through, at most `maxSize` of them, newest first.
///
/// Browsing begins with the first Older and ends with the next Record. Meanwhile the newest entry
/// is the line that was being typed when it began.
class CommandHistory {
 public:
  /// Keeps up to `maxEntries` lines.
  explicit CommandHistory(std::size_t maxEntries);

  /// Puts `item` before all others and drops the oldest entry if there are too many. Doesn't count
  /// as a line of this session: the stored history comes in this way.
  void PushNewest(const std::string& item);

  /// Takes a line that the session runs. A repetition of the newest entry isn't stored twice.
  void Record(const std::string& item);

  /// One step back. `line` is the line as it stands in the editor; it is kept where it was edited.
  std::string Older(const std::string& line);

  /// One step forward; an empty string at the newest end. What was edited is not kept.
  std::string Newer();

  /// What this session adds to the stored history, oldest first: the newest entries, as many as
  /// lines were recorded.
  std::vector<std::string> NewCommands() const;

 private:
  std::size_t maxSize;
  std::deque<std::string> buffer;
  std::size_t current = 0;
  std::size_t issued = 0;
  bool browsing = false;
};

}  // namespace cli
