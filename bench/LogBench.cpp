#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <string_view>

#undef LOG_DEBUG  // the log's own macros have these names, too
#undef LOG_INFO
#undef LOG_WARNING
#include "log/Log.h"
#include "platform/SystemLog.h"
#include "support/Ratio.h"

// What a log record costs beside a plain syslog call, with a daemon that keeps up.
namespace {

constexpr int kQueue = 8;  // records that wait at the daemon; the kernel's own limit is 10

// The log daemon's socket, in a /dev that only this process sees; negative without the right to
// one.
int OpenDaemon() {
  if (unshare(CLONE_NEWNS) != 0 ||
      mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
      mount("none", "/dev", "tmpfs", 0, nullptr) != 0) {
    return -1;
  }
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string_view(_PATH_LOG).copy(address.sun_path, sizeof address.sun_path - 1);
  const int daemon = socket(AF_UNIX, SOCK_DGRAM, 0);
  return bind(daemon, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0 ? daemon
                                                                                        : -1;
}

// Number of records that have come.
int ReadAll(int daemon) {
  std::array<char, 1024> record;
  int count = 0;
  while (recv(daemon, record.data(), record.size(), MSG_DONTWAIT) > 0) {
    ++count;
  }
  return count;
}

// The daemon reads between the turns. False if it didn't get each record.
template <typename Work, typename Base>
bool Report(int daemon, const char* what, Work&& work, Base&& base) {
  bench::Comparison best{1e18, 1e18};
  int missing = 0;
  for (int turn = 0; turn < 20'000; ++turn) {
    best.workNs = std::min(best.workNs, bench::NanosecondsPerCall(work, kQueue));
    missing += kQueue - ReadAll(daemon);
    best.baseNs = std::min(best.baseNs, bench::NanosecondsPerCall(base, kQueue));
    missing += kQueue - ReadAll(daemon);
  }
  std::printf("%s: %.0f ns, syslog: %.0f ns\n", what, best.workNs, best.baseNs);
  bench::Report(what, best.Ratio(), "x", 1.3);
  return missing == 0;
}

}  // namespace

int main() {
  const int daemon = OpenDaemon();
  if (daemon < 0) {
    std::puts("not measured: only root may have a /dev of its own");
    return 0;
  }
  int value = 0;
  bool complete = Report(
      daemon, "a record beside syslog",
      [] { platform::SystemLog(kLogError, "File.cpp:Function(123) a line of usual length"); },
      [] { syslog(LOG_ERR, "%s", "File.cpp:Function(123) a line of usual length"); });
  complete &= Report(
      daemon, "a log line, its text formatted, beside syslog",
      [&value] { LOG_ERROR("a line of usual length with the value %d", ++value); },
      [&value] {
        syslog(LOG_ERR, "%s:%s(%d) a line of usual length with the value %d", "LogBench.cpp",
               "operator()", __LINE__, ++value);
      });
  if (!complete) {
    std::puts("records were lost");
  }
  return complete ? 0 : 1;
}
