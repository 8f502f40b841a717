#pragma once

#include <unistd.h>

#include <cerrno>
#include <utility>

namespace cli::detail {

/// Owns an open file descriptor, or none (-1).
class UniqueFd {
 public:
  UniqueFd() = default;
  explicit UniqueFd(int descriptor) : fd(descriptor) {}
  UniqueFd(UniqueFd&& other) noexcept : fd(std::exchange(other.fd, -1)) {}
  UniqueFd& operator=(UniqueFd&& other) noexcept {
    std::swap(fd, other.fd);
    return *this;
  }
  ~UniqueFd() { Close(); }

  int Get() const { return fd; }
  explicit operator bool() const { return fd >= 0; }

  void Close() {
    if (fd >= 0) {
      ::close(std::exchange(fd, -1));
    }
  }

 private:
  int fd = -1;
};

/// Repeats a system call for as long as a signal interrupts it.
template <typename Call>
auto RetryInterrupted(Call call) {
  auto result = call();
  while (result == -1 && errno == EINTR) {
    result = call();
  }
  return result;
}

}  // namespace cli::detail
