#include "cli/FileHistoryStorage.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "cli/PlainFile.h"
#include "cli/UniqueFd.h"
#include "cli/UnlinkedAtDeath.h"
#include "log/Log.h"

namespace cli {

using detail::Check;
using detail::Fail;
using detail::FilePlace;
using detail::PlainFile;
using detail::RetryInterrupted;
using detail::UniqueFd;

// Inside this file what can't be done is a std::runtime_error, a failed step a std::system_error;
// the operations turn it into one Warning.
namespace {

constexpr std::size_t kFirstPiece = std::size_t{16} * 1024;

/// Where the last `count` lines of `text` begin; 0 if it has no more than these.
std::size_t StartOfLastLines(std::string_view text, std::size_t count) {
  std::size_t end = text.size();
  for (std::size_t lines = 0; lines < count && end > 0; ++lines) {
    const std::size_t feed = end < 2 ? std::string_view::npos : text.rfind('\n', end - 2);
    if (feed == std::string_view::npos) {
      return 0;
    }
    end = feed + 1;
  }
  return end;
}

/// A piece of a file, all of it.
std::string ReadPiece(const UniqueFd& fd, off_t offset, std::size_t size) {
  std::string text(size, '\0');
  for (std::size_t done = 0; done < size;) {
    const ssize_t count = RetryInterrupted([&] {
      return ::pread(fd.Get(), text.data() + done, size - done, offset + static_cast<off_t>(done));
    });
    if (count < 0) {
      Fail("read");
    }
    if (count == 0) {
      throw std::runtime_error("somebody else shortens it");
    }
    done += static_cast<std::size_t>(count);
  }
  return text;
}

/// The last `count` lines of a file, as far as they lie in its last kMaxReadBytes, each with its
/// line feed. What is read doubles until they are found, so that a long file costs no more.
std::string LastLines(const PlainFile& file, std::size_t count) {
  if (count == 0) {
    return {};
  }
  const UniqueFd fd = file.Open(O_RDONLY);
  auto offset = static_cast<std::size_t>(file.Status().st_size);
  const std::size_t lowest = offset - std::min(offset, FileHistoryStorage::kMaxReadBytes);
  std::string text;
  std::size_t start = 0;
  while (start == 0 && offset > lowest) {
    const std::size_t size = std::min(offset - lowest, std::max(text.size(), kFirstPiece));
    offset -= size;
    text.insert(0, ReadPiece(fd, static_cast<off_t>(offset), size));
    start = StartOfLastLines(text, count);
  }
  if (start == 0 && offset > 0) {
    // The first line of what was read is the end of one. A file without lines is no history.
    start = text.find('\n') + 1;
    if (start == 0) {
      Fail("read", EFBIG);
    }
  }
  text.erase(0, start);
  if (!text.empty() && text.back() != '\n') {
    text += '\n';
  }
  return text;
}

void WriteAll(const UniqueFd& fd, std::string_view content) {
  while (!content.empty()) {
    const ssize_t count =
        RetryInterrupted([&] { return ::write(fd.Get(), content.data(), content.size()); });
    if (count < 0) {
      Fail("write");
    }
    content.remove_prefix(static_cast<std::size_t>(count));
  }
}

/// Holds the folder for one process at a time, without a file of its own. The lock goes with the
/// process, however that ends. A folder that can't be locked is used without.
class FolderLock {
 public:
  explicit FolderLock(const UniqueFd& folder)
      : fd(::openat(folder.Get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
    using namespace std::chrono_literals;
    const auto deadline = std::chrono::steady_clock::now() + 2s;
    while (fd && ::flock(fd.Get(), LOCK_EX | LOCK_NB) != 0) {
      if (errno == EINTR) {
        continue;
      }
      if (errno != EWOULDBLOCK) {
        break;
      }
      if (std::chrono::steady_clock::now() > deadline) {
        Fail("wait for another process");
      }
      std::this_thread::sleep_for(5ms);
    }
  }

  /// Makes a rename in the folder last. The new file is whole even if this fails.
  void Sync() const {
    (void)RetryInterrupted([this] { return ::fsync(fd.Get()); });
  }

 private:
  UniqueFd fd;
};

/// The file beside the history file. Its name is fixed, so that what a killed process leaves behind
/// is swept away by the next one.
class TemporaryFile {
 public:
  TemporaryFile(const FilePlace& place, mode_t mode)
      : folder(place.Folder().Get()), name(place.Name() + ".tmp") {
    doomed.emplace(folder, name.c_str());
    ::unlinkat(folder, name.c_str(), 0);
    fd = UniqueFd(RetryInterrupted([&] {
      return ::openat(folder, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC,
                      mode);
    }));
    Check(fd.Get(), "create the temporary file");
  }
  ~TemporaryFile() {
    if (!name.empty()) {
      ::unlinkat(folder, name.c_str(), 0);
    }
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Takes owner and permissions over from the file that is to be replaced, and nothing that would
  /// let it run as its owner.
  void BecomeLike(const struct stat& wanted) {
    struct stat own {};
    Check(::fstat(fd.Get(), &own), "look up");
    if (own.st_uid != wanted.st_uid || own.st_gid != wanted.st_gid) {
      Check(::fchown(fd.Get(), wanted.st_uid, wanted.st_gid), "change the owner");
    }
    if (own.st_mode != wanted.st_mode) {
      Check(::fchmod(fd.Get(), wanted.st_mode & 0777), "change the mode");
    }
  }

  void Write(std::string_view content) {
    WriteAll(fd, content);
    Check(RetryInterrupted([this] { return ::fsync(fd.Get()); }), "flush to disk");
  }

  void RenameTo(const std::string& target) {
    Check(::renameat(folder, name.c_str(), folder, target.c_str()), "rename");
    doomed.reset();
    name.clear();
  }

 private:
  int folder;
  std::string name;
  UniqueFd fd;
  std::optional<detail::UnlinkedAtDeath> doomed;
};

/// True if an error says that a file can't be replaced here, as opposed to a disk that is full or
/// broken, where writing the file in place would only lose it.
bool IsRefusal(const std::error_code& error) {
  constexpr std::array kRefusals{EACCES, EPERM, EROFS, EEXIST, ENAMETOOLONG, EBUSY, EXDEV};
  return std::find(kRefusals.begin(), kRefusals.end(), error.value()) != kRefusals.end();
}

/// Replaces the file in one step.
void Replace(const FilePlace& place, const std::optional<PlainFile>& old,
             std::string_view content) {
  // Until it has the right owner nobody else may open it.
  TemporaryFile temporary(place, old ? 0600 : 0666);
  if (old) {
    temporary.BecomeLike(old->Status());
  }
  temporary.Write(content);
  temporary.RenameTo(place.Name());
}

/// Puts the start of a file back, as far as that is possible.
void WriteBack(const UniqueFd& fd, std::string_view start) {
  try {
    if (::lseek(fd.Get(), 0, SEEK_SET) == 0) {
      WriteAll(fd, start);
    }
  } catch (const std::system_error&) {
    // The error that brought us here is the one to report.
  }
}

/// Writes over a plain file that is open for both. The space is taken before the old content is
/// touched, and what was overwritten is put back if writing fails.
void Overwrite(const UniqueFd& fd, off_t oldSize, std::string_view content) {
  const auto newSize = static_cast<off_t>(content.size());
  const std::string old = ReadPiece(fd, 0, static_cast<std::size_t>(std::min(oldSize, newSize)));
  try {
    const int error = newSize > oldSize ? ::posix_fallocate(fd.Get(), 0, newSize) : 0;
    if (error != 0 && error != EINVAL && error != EOPNOTSUPP) {
      Fail("take space", error);
    }
    WriteAll(fd, content);
  } catch (const std::system_error&) {
    WriteBack(fd, old);
    (void)RetryInterrupted([&] { return ::ftruncate(fd.Get(), oldSize); });
    throw;
  }
  Check(RetryInterrupted([&] { return ::ftruncate(fd.Get(), newSize); }), "cut");
  Check(RetryInterrupted([&] { return ::fsync(fd.Get()); }), "flush to disk");
}

UniqueFd CreateForWriting(const FilePlace& place) {
  UniqueFd fd(RetryInterrupted([&] {
    return ::openat(place.Folder().Get(), place.Name().c_str(),
                    O_RDWR | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
  }));
  Check(fd.Get(), "open for writing");
  return fd;
}

/// Writes the file itself, where nothing can be put in its place.
void WriteInPlace(const FilePlace& place, const std::optional<PlainFile>& old,
                  std::string_view content) {
  const UniqueFd fd = old ? old->Open(O_RDWR) : CreateForWriting(place);
  struct stat status {};
  Check(::fstat(fd.Get(), &status), "look up");
  if (status.st_nlink != 1) {
    throw std::runtime_error("a file with several names, which can't be replaced");
  }
  Overwrite(fd, status.st_size, content);
}

/// Gives the file the content that `compose` makes of the old file, if there is one.
template <typename Compose>
void Rewrite(const std::string& path, Compose compose) {
  const FilePlace place(path);
  const FolderLock lock(place.Folder());
  const std::optional<PlainFile> old = place.Look();
  const std::string content = compose(old);
  if (old) {
    // A file that is write-protected is meant to stay, even where its folder would let it go.
    Check(::faccessat(place.Folder().Get(), place.Name().c_str(), W_OK,
                      AT_EACCESS | AT_SYMLINK_NOFOLLOW),
          "open");
  }
  try {
    Replace(place, old, content);
    lock.Sync();
  } catch (const std::system_error& error) {
    if (!IsRefusal(error.code()) || place.IsLinked()) {
      throw;
    }
    WriteInPlace(place, old, content);
  }
}

/// Drops whole lines from the front until no more than `maxBytes` are left: what a later session
/// wouldn't read must not be written.
void DropOldestBeyond(std::size_t maxBytes, std::string& content) {
  if (content.size() > maxBytes) {
    const std::size_t feed = content.find('\n', content.size() - maxBytes - 1);
    content.erase(0, feed == std::string::npos ? content.size() : feed + 1);
  }
}

}  // namespace

FileHistoryStorage::FileHistoryStorage(std::size_t maxEntries, std::string path)
    : maxSize(maxEntries), fileName(std::move(path)) {
}

void FileHistoryStorage::Store(const std::vector<std::string>& commands) {
  try {
    Rewrite(fileName, [&](const std::optional<PlainFile>& old) {
      const std::size_t added = std::min(commands.size(), maxSize);
      std::string content = old ? LastLines(*old, maxSize - added) : std::string();
      for (std::size_t i = commands.size() - added; i < commands.size(); ++i) {
        content += commands[i];
        content += '\n';
      }
      DropOldestBeyond(kMaxReadBytes, content);
      return content;
    });
  } catch (const std::runtime_error& error) {
    LOG_WARNING("History not stored in %s: %s", fileName.c_str(), error.what());
  }
}

std::vector<std::string> FileHistoryStorage::Commands() const {
  return Newest(kMaxReadLines);
}

std::vector<std::string> FileHistoryStorage::Newest(std::size_t count) const {
  std::vector<std::string> commands;
  try {
    const std::optional<PlainFile> file = FilePlace(fileName).Look();
    const std::string text = file ? LastLines(*file, count) : std::string();
    for (std::size_t start = 0; start < text.size();) {
      const std::size_t feed = text.find('\n', start);
      commands.push_back(text.substr(start, feed - start));
      start = feed + 1;
    }
  } catch (const std::runtime_error&) {
    // An unreadable history is an empty one; what stores it will log why.
  }
  return commands;
}

void FileHistoryStorage::Clear() {
  try {
    Rewrite(fileName, [](const std::optional<PlainFile>&) { return std::string(); });
  } catch (const std::runtime_error& error) {
    LOG_WARNING("History not cleared in %s: %s", fileName.c_str(), error.what());
  }
}

}  // namespace cli
