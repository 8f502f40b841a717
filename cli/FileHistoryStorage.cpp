#include "cli/FileHistoryStorage.h"

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

#include "cli/UniqueFd.h"
#include "log/Log.h"

namespace cli {

using detail::RetryInterrupted;
using detail::UniqueFd;

// Inside this file a failed step is a std::system_error; the operations turn it into one Warning.
namespace {

[[noreturn]] void Fail(const char* step, int error = errno) {
  throw std::system_error(error, std::generic_category(), step);
}

void Check(int result, const char* step) {
  if (result == -1) {
    Fail(step);
  }
}

/// What stands at `path`; nothing if there is no such file.
std::optional<struct stat> StatusOf(const std::string& path, int flags) {
  struct stat status {};
  if (::fstatat(AT_FDCWD, path.c_str(), &status, flags) == 0) {
    return status;
  }
  if (errno != ENOENT) {
    Fail("look up");
  }
  return std::nullopt;
}

struct Tail {
  std::string text;
  bool isWhole = true;  // there is nothing before `text` in the file
};

/// The last kMaxReadBytes of a plain file.
Tail ReadTail(const std::string& path, off_t size) {
  const UniqueFd fd(RetryInterrupted(
      [&] { return ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
  if (!fd) {
    Fail("open");
  }
  constexpr auto kMax = static_cast<off_t>(FileHistoryStorage::kMaxReadBytes);
  off_t offset = std::max(size - kMax, off_t{0});
  Tail tail{{}, offset == 0};
  std::array<char, 16 * 1024> chunk{};
  while (tail.text.size() < FileHistoryStorage::kMaxReadBytes) {
    const ssize_t count =
        RetryInterrupted([&] { return ::pread(fd.Get(), chunk.data(), chunk.size(), offset); });
    if (count < 0) {
      Fail("read");
    }
    if (count == 0) {
      break;
    }
    tail.text.append(chunk.data(), static_cast<std::size_t>(count));
    offset += count;
  }
  return tail;
}

/// Where the last `count` lines of `text` begin; 0 if it has no more than these.
std::size_t StartOfLastLines(std::string_view text, std::size_t count) {
  if (count == 0) {
    return text.size();
  }
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

/// The last `count` lines of the file, each with its line feed. Nothing of a device.
std::string LastLines(const std::string& path, std::size_t count) {
  const auto status = StatusOf(path, 0);
  if (!status) {
    return {};
  }
  if (S_ISDIR(status->st_mode)) {
    Fail("open", EISDIR);
  }
  if (!S_ISREG(status->st_mode)) {
    return {};
  }
  Tail tail = ReadTail(path, status->st_size);
  std::size_t start = StartOfLastLines(tail.text, count);
  if (start == 0 && !tail.isWhole) {
    // The first line of what was read is the end of one. A file without lines is no history.
    start = tail.text.find('\n') + 1;
    if (start == 0) {
      Fail("read", EFBIG);
    }
  }
  tail.text.erase(0, start);
  if (!tail.text.empty() && tail.text.back() != '\n') {
    tail.text += '\n';
  }
  return std::move(tail.text);
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
  explicit FolderLock(const std::string& folder)
      : fd(::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)) {
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
  explicit TemporaryFile(const std::string& target) : path(target + ".tmp") {
    ::unlink(path.c_str());
    fd = UniqueFd(RetryInterrupted([this] {
      return ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0666);
    }));
    Check(fd.Get(), "create the temporary file");
  }
  ~TemporaryFile() {
    if (!path.empty()) {
      ::unlink(path.c_str());
    }
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;

  /// Takes owner and mode over from the file that is to be replaced.
  void BecomeLike(const struct stat& wanted) {
    struct stat own {};
    Check(::fstat(fd.Get(), &own), "look up");
    if (own.st_uid != wanted.st_uid || own.st_gid != wanted.st_gid) {
      Check(::fchown(fd.Get(), wanted.st_uid, wanted.st_gid), "change the owner");
    }
    if (own.st_mode != wanted.st_mode) {
      Check(::fchmod(fd.Get(), wanted.st_mode & 07777), "change the mode");
    }
  }

  void Write(std::string_view content) {
    WriteAll(fd, content);
    Check(RetryInterrupted([this] { return ::fsync(fd.Get()); }), "flush to disk");
  }

  void RenameTo(const std::string& target) {
    Check(::rename(path.c_str(), target.c_str()), "rename");
    path.clear();
  }

 private:
  std::string path;
  UniqueFd fd;
};

/// True if an error says that a file can't be replaced here, as opposed to a disk that is full or
/// broken, where writing the file in place would only lose it.
bool IsRefusal(const std::error_code& error) {
  constexpr std::array kRefusals{EACCES, EPERM, EROFS, EEXIST, ENAMETOOLONG, EBUSY, EXDEV};
  return std::find(kRefusals.begin(), kRefusals.end(), error.value()) != kRefusals.end();
}

/// Replaces the file in one step. False, and nothing done, if that isn't possible.
bool Replace(const std::string& path, std::string_view content, const FolderLock& lock) {
  const auto status = StatusOf(path, AT_SYMLINK_NOFOLLOW);
  if (status && (!S_ISREG(status->st_mode) || status->st_nlink != 1)) {
    return false;
  }
  if (status) {
    // A file that is write-protected is meant to stay, even where its folder would let it go.
    Check(::faccessat(AT_FDCWD, path.c_str(), W_OK, AT_EACCESS), "open");
  }
  try {
    TemporaryFile temporary(path);
    if (status) {
      temporary.BecomeLike(*status);
    }
    temporary.Write(content);
    temporary.RenameTo(path);
  } catch (const std::system_error& error) {
    if (IsRefusal(error.code())) {
      return false;
    }
    throw;
  }
  lock.Sync();
  return true;
}

/// The first `size` bytes of a file.
std::string ReadStart(const UniqueFd& fd, std::size_t size) {
  std::string text(size, '\0');
  std::size_t done = 0;
  while (done < size) {
    const ssize_t count = RetryInterrupted([&] {
      return ::pread(fd.Get(), text.data() + done, size - done, static_cast<off_t>(done));
    });
    if (count < 0) {
      Fail("read");
    }
    if (count == 0) {
      break;
    }
    done += static_cast<std::size_t>(count);
  }
  text.resize(done);
  return text;
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
void OverwritePlainFile(const UniqueFd& fd, off_t oldSize, std::string_view content) {
  const auto newSize = static_cast<off_t>(content.size());
  const std::string old = ReadStart(fd, static_cast<std::size_t>(std::min(oldSize, newSize)));
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

UniqueFd OpenForWriting(const std::string& path, int flags) {
  // Without waiting for the reader of a FIFO.
  UniqueFd fd(RetryInterrupted([&] {
    return ::open(path.c_str(), O_CREAT | O_NONBLOCK | O_NOCTTY | O_CLOEXEC | flags, 0666);
  }));
  Check(fd.Get(), "open for writing");
  return fd;
}

void WriteInPlace(const std::string& path, std::string_view content) {
  const auto plain = StatusOf(path, 0);
  // A device or a FIFO is only written to.
  const int access = plain && S_ISREG(plain->st_mode) ? O_RDWR : O_WRONLY;
  const UniqueFd fd = OpenForWriting(path, access);
  struct stat status {};
  Check(::fstat(fd.Get(), &status), "look up");
  if (S_ISREG(status.st_mode)) {
    OverwritePlainFile(fd, status.st_size, content);
  } else {
    WriteAll(fd, content);
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

std::string FolderOf(const std::string& path) {
  const std::string folder = std::filesystem::path(path).parent_path().string();
  return folder.empty() ? "." : folder;
}

}  // namespace

FileHistoryStorage::FileHistoryStorage(std::size_t maxEntries, std::string path)
    : maxSize(maxEntries), fileName(std::move(path)) {
}

void FileHistoryStorage::Store(const std::vector<std::string>& commands) {
  try {
    const FolderLock lock(FolderOf(fileName));
    const std::size_t added = std::min(commands.size(), maxSize);
    std::string content = LastLines(fileName, maxSize - added);
    for (std::size_t i = commands.size() - added; i < commands.size(); ++i) {
      content += commands[i];
      content += '\n';
    }
    DropOldestBeyond(kMaxReadBytes, content);
    if (!Replace(fileName, content, lock)) {
      WriteInPlace(fileName, content);
    }
  } catch (const std::system_error& error) {
    LOG_WARNING("History not stored in %s: %s", fileName.c_str(), error.what());
  }
}

std::vector<std::string> FileHistoryStorage::Commands() const {
  std::vector<std::string> commands;
  try {
    const auto status = StatusOf(fileName, 0);
    if (!status || !S_ISREG(status->st_mode)) {
      return commands;
    }
    const Tail tail = ReadTail(fileName, status->st_size);
    std::string_view rest(tail.text);
    if (!tail.isWhole) {
      // The first line of what was read is the end of one.
      rest.remove_prefix(std::min(rest.find('\n'), rest.size() - 1) + 1);
    }
    rest.remove_prefix(StartOfLastLines(rest, kMaxReadLines));
    while (!rest.empty()) {
      const std::size_t length = std::min(rest.find('\n'), rest.size());
      commands.emplace_back(rest.substr(0, length));
      rest.remove_prefix(std::min(length + 1, rest.size()));
    }
  } catch (const std::system_error&) {
    // An unreadable history is an empty one; what stores it will log why.
  }
  return commands;
}

void FileHistoryStorage::Clear() {
  try {
    OpenForWriting(fileName, O_WRONLY | O_TRUNC);
  } catch (const std::system_error& error) {
    LOG_WARNING("History not cleared in %s: %s", fileName.c_str(), error.what());
  }
}

}  // namespace cli
