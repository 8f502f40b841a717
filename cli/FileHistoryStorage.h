#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "cli/HistoryStorage.h"

namespace cli {

/// The history in a text file: one line an entry, oldest first.
///
/// The file is a plain one or nothing: a device, a FIFO, a socket or a folder is never opened. A
/// link stands for the file that it leads to if both are the effective user's (and so is every link
/// between them) and the link has no other name; any other link is left alone, and so is one that
/// leads to nothing. All this holds also where somebody else owns the folder and changes it at the
/// worst moment. A plain file of somebody else is used as it is, and stays his.
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
  /// kMaxReadBytes. The new content is written beside the file, in its real folder (with ".tmp"
  /// behind its name), flushed to disk and renamed over it, so that at any moment the old content
  /// or the new stands there whole. Owner and permissions stay. If the file has several names, the
  /// others keep the old content: one of them may be a file of somebody who knows nothing of this.
  ///
  /// Where nothing can be renamed over it, a file without links and other names is written in
  /// place.
  ///
  /// On failure the file keeps its old content and one Warning is logged. This includes a file that
  /// can't be read, whatever isn't a plain file, and one whose last kMaxReadBytes hold no line.
  void Store(const std::vector<std::string>& commands) override;

  /// The lines of the file; none if it can't be read or isn't a plain file, without a word: the
  /// next Store will say why.
  std::vector<std::string> Commands() const override;

  /// Makes the file empty, as Store makes it longer. Logs a Warning if that fails.
  void Clear() override;

  /// Reads no more of the file than these lines need, from its end.
  std::vector<std::string> Newest(std::size_t count) const override;

 private:
  std::size_t maxSize;
  std::string fileName;
};

}  // namespace cli
