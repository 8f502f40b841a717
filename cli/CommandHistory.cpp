#include "cli/CommandHistory.h"

#include <algorithm>

namespace cli {

CommandHistory::CommandHistory(std::size_t maxEntries) : maxSize(maxEntries) {
}

void CommandHistory::PushNewest(const std::string& item) {
  buffer.push_front(item);
  if (buffer.size() > maxSize) {
    buffer.pop_back();
  }
}

void CommandHistory::Record(const std::string& item) {
  current = 0;
  ++issued;
  if (browsing && !buffer.empty()) {
    if (buffer.size() > 1 && buffer[1] == item) {
      buffer.pop_front();
    } else {
      buffer.front() = item;
    }
  } else if (buffer.empty() || buffer.front() != item) {
    PushNewest(item);
  }
  browsing = false;
}

std::string CommandHistory::Older(const std::string& line) {
  if (!browsing) {
    PushNewest(line);
    browsing = true;
    current = buffer.size() > 1 ? 1 : 0;
  } else if (!buffer.empty()) {
    buffer[current] = line;
    if (current + 1 < buffer.size()) {
      ++current;
    }
  }
  return buffer.empty() ? line : buffer[current];
}

std::string CommandHistory::Newer() {
  if (buffer.empty() || current == 0) {
    return {};
  }
  --current;
  return buffer[current];
}

std::vector<std::string> CommandHistory::NewCommands() const {
  const std::size_t skipped = browsing && !buffer.empty() ? 1 : 0;
  const std::size_t count = std::min(issued, buffer.size() - skipped);
  const auto first = buffer.begin() + static_cast<std::ptrdiff_t>(skipped);
  std::vector<std::string> commands(first, first + static_cast<std::ptrdiff_t>(count));
  std::reverse(commands.begin(), commands.end());
  return commands;
}

}  // namespace cli
