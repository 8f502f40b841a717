#include "sim/BoardFolder.h"

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace sim {

void ThrowFailed(const std::string& path) {
  throw std::system_error(errno, std::generic_category(), path);
}

void CreateFolder(const std::string& path) {
  std::error_code error;
  std::filesystem::create_directories(path, error);
  if (error) {
    throw std::system_error(error, path);
  }
}

void ProvideFile(const std::string& path, const std::string& content) {
  std::ifstream present(path);
  (void)present.peek();  // a folder opens, too, but doesn't read
  if (present.is_open() ? present.bad() : errno != ENOENT) {
    ThrowFailed(path);
  }
  if (present.is_open()) {
    return;
  }
  std::ofstream file(path);
  file << content;
  file.close();
  if (!file) {
    const int error = errno;
    (void)std::remove(path.c_str());  // half of it would be taken for what a person wrote
    errno = error;
    ThrowFailed(path);
  }
}

}  // namespace sim
