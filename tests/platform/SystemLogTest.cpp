#include "platform/SystemLog.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <string>

namespace {

constexpr int kNoPrivileges = 77;

// The log daemon's socket, in a /dev that only this process sees.
int OpenLogSocket() {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string(_PATH_LOG).copy(address.sun_path, sizeof address.sun_path - 1);
  const int daemon = socket(AF_UNIX, SOCK_DGRAM, 0);
  (void)unlink(_PATH_LOG);
  EXPECT_EQ(bind(daemon, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  return daemon;
}

// Number of records waiting at the daemon; `last` is the newest.
int Receive(int daemon, std::string& last) {
  std::array<char, 512> record{};
  int count = 0;
  for (;;) {
    const ssize_t size = recv(daemon, record.data(), record.size(), MSG_DONTWAIT);
    if (size < 0) {
      return count;
    }
    ++count;
    last.assign(record.data(), static_cast<std::size_t>(size));
  }
}

void LogThroughEveryStateOfTheDaemon() {
  std::string last;
  platform::SystemLog(3, "nobody is there");
  int daemon = OpenLogSocket();
  platform::SystemLog(3, "100% there");
  EXPECT_EQ(Receive(daemon, last), 1);
  EXPECT_TRUE(last.starts_with("<11>") && last.ends_with(": 100% there")) << last;

  for (int i = 0; i < 5000; ++i) {  // far more than its queue holds
    platform::SystemLog(6, "nobody reads");
  }
  EXPECT_GT(Receive(daemon, last), 0);
  platform::SystemLog(4, "read again");
  EXPECT_EQ(Receive(daemon, last), 1);

  (void)close(daemon);
  platform::SystemLog(4, "gone");
  daemon = OpenLogSocket();
  platform::SystemLog(4, "restarted");
  EXPECT_EQ(Receive(daemon, last), 1);
  EXPECT_TRUE(last.ends_with(": restarted")) << last;
  (void)close(daemon);
}

TEST(SystemLog, NeverWaitsForADaemonThatIsAbsentFullOrRestarted) {
  const pid_t child = fork();
  if (child == 0) {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/dev", "tmpfs", 0, nullptr) != 0) {
      _exit(kNoPrivileges);
    }
    alarm(60);  // a call that waits ends here
    LogThroughEveryStateOfTheDaemon();
    _exit(testing::Test::HasFailure() ? 1 : 0);
  }
  int status = 0;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  ASSERT_TRUE(WIFEXITED(status)) << "killed by signal " << WTERMSIG(status);
  if (WEXITSTATUS(status) == kNoPrivileges) {
    GTEST_SKIP() << "only root may have a /dev of its own";
  }
  EXPECT_EQ(WEXITSTATUS(status), 0);
}

}  // namespace
