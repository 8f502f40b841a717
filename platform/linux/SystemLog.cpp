#include "platform/SystemLog.h"

#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <string_view>

namespace platform {
namespace {

// The C library waits without limit for a log daemon that has stopped reading. False while its
// queue is full: the record is lost then. A log that isn't there, or is no datagram socket, is the
// C library's business, which doesn't wait for it.
bool LogTakesRecords() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  constexpr std::string_view kPath = _PATH_LOG;
  static_assert(kPath.size() < sizeof address.sun_path);
  kPath.copy(address.sun_path, kPath.size());

  const int probe = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
  if (probe < 0) {
    return true;
  }
  bool takes = true;
  if (connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
    pollfd writable{probe, POLLOUT, 0};
    takes = poll(&writable, 1, 0) != 0;
  }
  (void)close(probe);  // nothing was written
  return takes;
}

}  // namespace

void SystemLog(int severity, const char* text) {
  if (LogTakesRecords()) {
    syslog(severity, "%s", text);
  }
}

void SystemLogV(int severity, const char* format, std::va_list arguments) {
  if (LogTakesRecords()) {
    vsyslog(severity, format, arguments);
  }
}

}  // namespace platform
