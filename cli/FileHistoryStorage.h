#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/HistoryStorage.h"

namespace cli {

/// The history in a text file: one line an entry, oldest first.
///
/// Bound to one thread; several processes may use one file, one after the other gets its turn.
/// Nothing throws but for want of memory, and nothing that happens to the file harms the session.
class FileHistoryStorage : public HistoryStorage {
 public:
  /// What is read of a file at most, from its end: 16 MiB and 100,000 lines.
  static constexpr std::size_t kMaxReadBytes = std::size_t{16} * 1024 * 1024;
  static constexpr std::size_t kMaxReadLines = 100'000;

  /// The file keeps the newest `maxEntries` lines. `path` may be relative to the working directory.
  FileHistoryStorage(std::size_t maxEntries, std::string path);

  /// Appends `commands` and cuts the oldest lines, also those that would bring the file above
  /// kMaxReadBytes. The new content is written beside the file (with
  /// ".tmp" behind its name), flushed to disk and renamed over it, so that at any moment the old
  /// content or the new stands there whole. A link, a device or a file whose folder can't be
  /// written is written in place.
  ///
  /// On failure the file keeps its old content and one Warning is logged. This includes a file that
  /// can't be read, one that is no file (a folder), and one whose last kMaxReadBytes hold no line.
  void Store(const std::vector<std::string>& commands) override;

  /// The lines of the file; none if it can't be read or isn't a plain file.
  std::vector<std::string> Commands() const override;

  /// Makes the file empty. Logs a Warning if that fails.
  void Clear() override;

 private:
  std::size_t maxSize;
  std::string fileName;
};

}  // namespace cli
