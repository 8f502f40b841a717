#include "cli/StandardOutput.h"

#include <poll.h>
#include <unistd.h>
#include <ext/stdio_sync_filebuf.h>  // a stream's buffer that has none of its own

#include <cerrno>
#include <iostream>
#include <utility>

namespace cli {

namespace {

constexpr short kGone = POLLERR | POLLHUP | POLLNVAL;

// Waits until descriptor 1 takes more. False if nobody will ever read it.
bool WaitForRoom() {
  pollfd output{STDOUT_FILENO, POLLOUT, 0};
  while (::poll(&output, 1, -1) < 0) {
    if (errno != EINTR) {
      return false;
    }
  }
  return (output.revents & kGone) == 0;
}

// What the C library calls with the text of its buffer. Gives less than `size` if writing fails.
ssize_t WriteAll(void* /*cookie*/, const char* text, std::size_t size) {
  std::size_t done = 0;
  bool isGone = false;
  while (done < size) {
    const ssize_t count = ::write(STDOUT_FILENO, text + done, size - done);
    if (count >= 0) {
      done += static_cast<std::size_t>(count);
    } else if (errno == EAGAIN && !isGone) {
      isGone = !WaitForRoom();  // the next write tells the reason
    } else if (errno != EINTR) {
      break;
    }
  }
  return static_cast<ssize_t>(done);
}

constexpr cookie_io_functions_t kFunctions{nullptr, &WriteAll, nullptr, nullptr};

}  // namespace

StandardOutput::StandardOutput() : file(fopencookie(nullptr, "w", kFunctions)) {
  if (file == nullptr) {
    return;
  }
  (void)std::setvbuf(file, nullptr, isatty(STDOUT_FILENO) != 0 ? _IOLBF : _IOFBF, BUFSIZ);
  buffer = std::make_unique<__gnu_cxx::stdio_sync_filebuf<char>>(file);
  std::cout.flush();
  previousBuffer = std::cout.rdbuf(buffer.get());
  previousFile = std::exchange(stdout, file);
}

StandardOutput::~StandardOutput() {
  if (file == nullptr) {
    return;
  }
  std::cout.flush();
  std::cout.rdbuf(previousBuffer);
  stdout = previousFile;
  (void)std::fclose(file);  // it is flushed
}

}  // namespace cli
