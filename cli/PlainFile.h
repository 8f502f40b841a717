#pragma once

#include <sys/stat.h>

#include <cerrno>
#include <optional>
#include <string>

#include "cli/UniqueFd.h"

namespace cli::detail {

// What throws here throws a std::system_error that names the step that failed, or a
// std::runtime_error that says why a file is left alone.

[[noreturn]] void Fail(const char* step, int error = errno);

/// Fails if a system call's result is -1.
void Check(int result, const char* step);

/// A plain file that was looked at and is not open: what isn't plain never gets that far, since
/// opening alone can block or move a device.
class PlainFile {
 public:
  PlainFile(UniqueFd handle, const struct stat& found);

  /// As it was found.
  const struct stat& Status() const { return status; }

  /// Opens this very file, whatever has its name by now. Doesn't wait. Needs /proc.
  UniqueFd Open(int access) const;

 private:
  UniqueFd pathOnly;
  struct stat status;
};

/// Where a file that is asked for by its path stands, or would stand: a folder and a name in it.
///
/// A link is followed only if the effective user owns it and it has no other name, and so with each
/// link that it leads to (but links among the folders may be root's): whoever else can write the
/// folder can't lead the user anywhere. Nothing is opened on the way.
class FilePlace {
 public:
  /// Throws if a link is not to be followed, or leads nowhere.
  explicit FilePlace(const std::string& path);

  const UniqueFd& Folder() const { return folder; }
  const std::string& Name() const { return name; }
  /// True if links led here.
  bool IsLinked() const { return links > 0; }

  /// The plain file that stands here; none if nothing does and no link led here. Throws if it is
  /// anything else, or if a link led to a file that isn't the effective user's.
  std::optional<PlainFile> Look() const;

 private:
  void _Follow(const UniqueFd& link, std::string& rest);

  UniqueFd folder;
  std::string name;
  int links = 0;
};

}  // namespace cli::detail
