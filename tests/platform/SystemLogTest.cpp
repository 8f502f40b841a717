#include "platform/SystemLog.h"

#include <gtest/gtest.h>
#include <sched.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>
#include <thread>

namespace {

constexpr int kNoPrivileges = 77;

// The log daemon's socket, in a /dev that only this process sees. Nobody reads or accepts.
int OpenLogSocket(int type = SOCK_DGRAM) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::string(_PATH_LOG).copy(address.sun_path, sizeof address.sun_path - 1);
  const int daemon = socket(AF_UNIX, type, 0);
  (void)unlink(_PATH_LOG);
  EXPECT_EQ(bind(daemon, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  EXPECT_EQ(listen(daemon, 0) == 0, type == SOCK_STREAM);
  return daemon;
}

// Each record that waits at the daemon's end, with a line feed behind it.
std::string Receive(int end) {
  static std::array<char, 100'000> record;
  std::string all;
  for (ssize_t size = 0; (size = recv(end, record.data(), record.size(), MSG_DONTWAIT)) > 0;) {
    all.append(record.data(), static_cast<std::size_t>(size)) += '\n';
  }
  return all;
}

// Many short records fill the daemon's queue, few long ones the sender's buffer; a stream may take
// a part of one.
void LogFromFiveThreads() {
  std::array<std::jthread, 5> threads;
  for (std::jthread& thread : threads) {
    thread = std::jthread([text = std::string(&thread == threads.data() ? 90'000 : 10, 'x')] {
      for (int i = 0; i < 2000; ++i) {
        platform::SystemLog(6, text.c_str());
      }
    });
  }
}

void LogThroughEveryStateOfADatagramDaemon() {
  platform::SystemLog(3, "nobody is there");
  int daemon = OpenLogSocket();
  std::string expected;
  std::string own;
  do {  // within one second both are alike
    syslog(3, "%s", "100% there");
    expected = Receive(daemon);
    platform::SystemLog(3, "100% there");
    own = Receive(daemon);
  } while (own != expected);
  const std::size_t size = own.size();

  LogFromFiveThreads();
  EXPECT_TRUE(Receive(daemon).ends_with("x\n"));
  (void)close(daemon);
  platform::SystemLog(4, "gone");
  daemon = OpenLogSocket();
  platform::SystemLog(3, "100% there");
  EXPECT_EQ(Receive(daemon).size(), size) << "restarted";

  daemon = OpenLogSocket();  // the one before lives on: that shows within a second
  while (Receive(daemon).size() != size) {
    platform::SystemLog(3, "100% there");
  }

  closefrom(3);
  std::array<std::array<int, 2>, 10> others{};  // they have the closed numbers
  for (auto& pair : others) {
    EXPECT_EQ(socketpair(AF_UNIX, SOCK_DGRAM, 0, pair.data()), 0);
  }
  daemon = OpenLogSocket();
  platform::SystemLog(3, "100% there");
  EXPECT_EQ(Receive(daemon).size(), size) << "closed";
  for (const auto& pair : others) {
    EXPECT_EQ(Receive(pair[0]) + Receive(pair[1]), "");
  }
  closefrom(3);
}

void LogThroughEveryStateOfAStreamDaemon() {
  const int daemon = OpenLogSocket(SOCK_STREAM);
  platform::SystemLog(3, "first");
  LogFromFiveThreads();
  // A zero ends each record.
  for (const char* text : {": first", ": by a new connection"}) {
    const int connection = accept(daemon, nullptr, nullptr);
    const std::string stream = Receive(connection);
    EXPECT_STREQ(stream.c_str() + std::min(stream.find(": "), stream.size()), text);
    (void)close(connection);
    platform::SystemLog(3, "by a new connection");
  }
}

TEST(SystemLog, NeverWaitsForTheDaemon) {
  const pid_t child = fork();
  if (child == 0) {
    if (unshare(CLONE_NEWNS) != 0 ||
        mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("none", "/dev", "tmpfs", 0, nullptr) != 0) {
      _exit(kNoPrivileges);
    }
    alarm(60);  // a call that waits ends here
    LogThroughEveryStateOfADatagramDaemon();
    LogThroughEveryStateOfAStreamDaemon();
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
