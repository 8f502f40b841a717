#include "cli/PlainFile.h"

#include <fcntl.h>

#include <algorithm>
#include <array>
#include <climits>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <utility>

namespace cli::detail {

namespace {

constexpr int kMaxLinks = 40;  // as the kernel has it

struct stat StatusOf(const UniqueFd& fd) {
  struct stat status {};
  Check(::fstat(fd.Get(), &status), "look up");
  return status;
}

/// Gets hold of what has a name, be it a link, a device or a FIFO, without opening it.
UniqueFd HandleOf(const UniqueFd& folder, const std::string& name) {
  return UniqueFd(RetryInterrupted(
      [&] { return ::openat(folder.Get(), name.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC); }));
}

UniqueFd HandleOfFolder(const std::string& path) {
  UniqueFd fd(
      RetryInterrupted([&] { return ::open(path.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC); }));
  Check(fd.Get(), "open the folder");
  return fd;
}

/// Takes the first name off a path; "." off one that has none.
std::string TakeName(std::string& path) {
  const std::size_t length = std::min(path.find('/'), path.size());
  std::string name = path.substr(0, length);
  path.erase(0, path.find_first_not_of('/', length));
  return name.empty() ? "." : name;
}

}  // namespace

void Fail(const char* step, int error) {
  throw std::system_error(error, std::generic_category(), step);
}

void Check(int result, const char* step) {
  if (result == -1) {
    Fail(step);
  }
}

PlainFile::PlainFile(UniqueFd handle, const struct stat& found)
    : pathOnly(std::move(handle)), status(found) {
}

UniqueFd PlainFile::Open(int access) const {
  // By way of /proc it is the file behind the handle; a name could have been given to another.
  const std::string path = "/proc/self/fd/" + std::to_string(pathOnly.Get());
  UniqueFd fd(RetryInterrupted(
      [&] { return ::open(path.c_str(), access | O_NONBLOCK | O_NOCTTY | O_CLOEXEC); }));
  if (!fd && errno == ENOENT) {
    Fail("open through /proc");
  }
  Check(fd.Get(), (access & O_ACCMODE) == O_RDONLY ? "open" : "open for writing");
  return fd;
}

FilePlace::FilePlace(const std::string& path) {
  const std::filesystem::path parts(path);
  const std::string parent = parts.parent_path().string();
  folder = HandleOfFolder(parent.empty() ? "." : parent);
  std::string rest = parts.filename().string();
  for (;;) {
    name = TakeName(rest);
    UniqueFd entry = HandleOf(folder, name);
    if (!entry && (errno != ENOENT || !rest.empty())) {
      Fail(IsLinked() ? "follow the link" : "look up");
    }
    if (entry && S_ISLNK(StatusOf(entry).st_mode)) {
      _Follow(entry, rest);
    } else if (rest.empty()) {
      return;
    } else {
      folder = std::move(entry);
    }
  }
}

/// Puts what a link says in front of the `rest` of the path.
void FilePlace::_Follow(const UniqueFd& link, std::string& rest) {
  const struct stat status = StatusOf(link);
  if (status.st_uid != ::geteuid() && (status.st_uid != 0 || rest.empty())) {
    throw std::runtime_error("a link of somebody else");
  }
  if (status.st_nlink != 1 && rest.empty()) {
    // Where hard links aren't protected, this may be the user's link under a name that he never
    // gave it.
    throw std::runtime_error("a link with several names");
  }
  if (++links > kMaxLinks) {
    Fail("follow the link", ELOOP);
  }
  std::array<char, PATH_MAX> target{};
  const ssize_t length = ::readlinkat(link.Get(), "", target.data(), target.size());
  Check(static_cast<int>(length), "follow the link");
  rest = std::string(target.data(), static_cast<std::size_t>(length)) + '/' + rest;
  if (rest.front() == '/') {
    folder = HandleOfFolder("/");
  }
  rest.erase(0, rest.find_first_not_of('/'));
  rest.erase(rest.find_last_not_of('/') + 1);
}

std::optional<PlainFile> FilePlace::Look() const {
  UniqueFd handle = HandleOf(folder, name);
  if (!handle && errno == ENOENT) {
    if (IsLinked()) {
      throw std::runtime_error("a link to nothing");
    }
    return std::nullopt;
  }
  Check(handle.Get(), "look up");
  const struct stat status = StatusOf(handle);
  if (S_ISDIR(status.st_mode)) {
    Fail("open", EISDIR);
  }
  if (!S_ISREG(status.st_mode)) {
    throw std::runtime_error("no plain file");
  }
  if (IsLinked() && status.st_uid != ::geteuid()) {
    throw std::runtime_error("a link to a file of somebody else");
  }
  return PlainFile(std::move(handle), status);
}

}  // namespace cli::detail
