#include "cli/FileHistoryStorage.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "TemporaryFolder.h"
#include "sim/Board.h"

namespace {

namespace fs = std::filesystem;
using cli::FileHistoryStorage;
using Strings = std::vector<std::string>;

class FileHistoryStorageTest : public testing::Test {
 protected:
  void Write(const std::string& content) { std::ofstream(path, std::ios::binary) << content; }

  static std::string Read(const std::string& file) {
    std::ostringstream content;
    content << std::ifstream(file, std::ios::binary).rdbuf();
    return content.str();
  }
  std::string Read() { return Read(path); }
  std::size_t Warnings() { return sim::Board::Get().log.Messages(4).size(); }

  /// Stores lines and expects one Warning and the old content.
  void ExpectRefused(const Strings& commands) {
    const std::string old = Read();
    const std::size_t warnings = Warnings();
    storage.Store(commands);
    EXPECT_EQ(Warnings(), warnings + 1);
    EXPECT_EQ(Read(), old);
    EXPECT_FALSE(fs::is_regular_file(path + ".tmp"));
  }

  /// Expects that what stands at the path is neither read nor written, and takes it away.
  void ExpectLeftAlone(const char* what) {
    const std::size_t warnings = Warnings();
    EXPECT_EQ(storage.Commands(), Strings()) << what;
    storage.Store({"new"});
    storage.Clear();
    EXPECT_EQ(Warnings(), warnings + 2) << what;
    EXPECT_EQ(Read(victim), "kept\n") << what;
    EXPECT_TRUE(fs::remove(path)) << what;
  }
  void ExpectLinkLeftAlone(const char* target) {
    fs::create_symlink(target, path);
    ExpectLeftAlone(target);
  }

  TemporaryFolder folder;
  const std::string path = folder.Path() + "/.cli";
  const std::string victim = folder.Path() + "/victim";
  FileHistoryStorage storage{3, path};
};

TEST_F(FileHistoryStorageTest, KeepsTheNewestLinesWithALineFeedEach) {
  EXPECT_EQ(storage.Commands(), Strings());
  umask(027);
  storage.Store({});
  EXPECT_EQ(fs::status(path).permissions(), fs::perms{0640});
  storage.Store({"a", "b"});
  EXPECT_EQ(Read(), "a\nb\n");
  storage.Store({"c", "d"});
  EXPECT_EQ(Read(), "b\nc\nd\n");
  storage.Store({"1", "2", "3", "4"});
  EXPECT_EQ(Read(), "2\n3\n4\n");
  EXPECT_EQ(storage.Commands(), (Strings{"2", "3", "4"}));
  storage.Clear();
  EXPECT_EQ(Read(), "");
  EXPECT_EQ(Warnings(), 0U);
}

TEST_F(FileHistoryStorageTest, ReadsAnyContentAsLines) {
  Write("a\r\n\n" + std::string(3, '\0') + "\nlast");
  EXPECT_EQ(storage.Commands(), (Strings{"a\r", "", std::string(3, '\0'), "last"}))
      << "all lines, though there are more than a store would keep";
  storage.Store({"new"});
  EXPECT_EQ(Read(), std::string(3, '\0') + "\nlast\nnew\n");
}

TEST_F(FileHistoryStorageTest, TheFileIsReplacedInOneStepWithItsOwnMode) {
  Write("old\n");
  ASSERT_EQ(chmod(path.c_str(), 0640), 0);
  fs::create_hard_link(path, victim);
  fs::create_symlink("victim", path + ".tmp");  // left by whomever
  storage.Store({"new"});
  EXPECT_EQ(Read(), "old\nnew\n");
  EXPECT_EQ(Read(victim), "old\n") << "the file's other name";
  EXPECT_EQ(fs::status(path).permissions(), fs::perms{0640});
}

TEST_F(FileHistoryStorageTest, OwnLinksLeadToTheFileThatIsReplaced) {
  const std::string real = folder.Path() + "/real";
  fs::create_directories(real + "/file.tmp");
  std::ofstream(real + "/file") << "a\nb\nc\n";
  fs::create_symlink("./real//../hop", path);
  fs::create_symlink(real + "/file", folder.Path() + "/hop");
  EXPECT_EQ(storage.Newest(1), Strings{"c"});
  ExpectRefused({"d"});  // it isn't written in place
  fs::remove(real + "/file.tmp");
  storage.Store({"d"});
  EXPECT_EQ(Read(real + "/file"), "b\nc\nd\n");
  EXPECT_TRUE(fs::is_symlink(path));
}

TEST_F(FileHistoryStorageTest, WhereNothingCanBeRenamedAFileOfOneNameIsWrittenInPlace) {
  fs::create_directory(path + ".tmp");
  storage.Store({"a very long old line", "b", "c"});
  storage.Store({"d"});
  EXPECT_EQ(Read(), "b\nc\nd\n") << "shorter than before, and cut";
  fs::create_hard_link(path, victim);
  ExpectRefused({"e"});
}

TEST_F(FileHistoryStorageTest, WhatIsNoPlainFileIsLeftAlone) {
  std::ofstream(victim) << "kept\n";
  for (const char* target : {"/dev/null", "..", "missing", ".cli"}) {
    ExpectLinkLeftAlone(target);
  }
  EXPECT_FALSE(fs::exists(folder.Path() + "/missing"));
  fs::create_directory(path);
  ExpectLeftAlone("a folder");
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  pollfd reader{open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC), POLLIN, 0};
  ExpectLeftAlone("a FIFO");
  EXPECT_EQ(poll(&reader, 1, 0), 0) << "somebody had it open for writing";
}

// What a user can lay into his folder for root to stumble over.
TEST_F(FileHistoryStorageTest, NobodyElseLeadsTheUserAnywhere) {
  constexpr uid_t kOther = 65534;
  if (geteuid() != 0) {
    GTEST_SKIP() << "only root can give files away";
  }
  std::ofstream(victim) << "kept\n";
  fs::create_symlink(".", folder.Path() + "/hop");
  ASSERT_EQ(lchown((folder.Path() + "/hop").c_str(), kOther, kOther), 0);
  ExpectLinkLeftAlone("hop/victim");
  fs::create_symlink("victim", path);
  ASSERT_EQ(link(path.c_str(), (path + "2").c_str()), 0);
  ExpectLeftAlone("a link with a second name");
  fs::rename(path + "2", path);
  ASSERT_EQ(lchown(path.c_str(), kOther, kOther), 0);
  ExpectLeftAlone("a link of somebody else");
  ASSERT_EQ(chown(victim.c_str(), kOther, kOther), 0);
  ExpectLinkLeftAlone("victim");
  fs::create_hard_link(victim, path);
  ASSERT_EQ(chmod(path.c_str(), 04750), 0);
  storage.Store({"new"});
  EXPECT_EQ(Read(), "kept\nnew\n");
  EXPECT_EQ(Read(victim), "kept\n");
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, kOther);
  EXPECT_EQ(status.st_mode & 07777, 0750U) << "no program that runs as somebody else";
}

TEST_F(FileHistoryStorageTest, AFileThatMayNotBeReadOrWrittenStays) {
  const uid_t user = geteuid();  // the tests run as root too
  ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  Write("old\n");
  for (const mode_t mode : {0444U, 0222U, 0000U}) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    ASSERT_EQ(seteuid(user == 0 ? 65534 : user), 0);
    storage.Store({"new"});
    ASSERT_EQ(seteuid(user), 0);
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    EXPECT_EQ(Read(), "old\n") << std::oct << mode;
  }
  EXPECT_EQ(Warnings(), 3U);
}

TEST_F(FileHistoryStorageTest, AFullDiskLeavesTheOldContent) {
  Write(std::string(6000, 'a') + "\nb\nc\n");
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{8192, 8192};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  const Strings tooMuch{std::string(4000, 'd'), std::string(5000, 'e')};
  ExpectRefused(tooMuch);
  fs::create_directory(path + ".tmp");  // so that it is written in place
  ExpectRefused(tooMuch);
}

TEST_F(FileHistoryStorageTest, AHugeFileIsReadFromItsEnd) {
  const auto mostMemory = [](rusage usage = {}) {
    getrusage(RUSAGE_SELF, &usage);
    return usage.ru_maxrss;  // KiB
  };
  const auto huge = std::uintmax_t{1} << 30;
  Write("");
  fs::resize_file(path, huge);  // zeros, without a line feed
  std::ofstream(path, std::ios::app) << "\na\nb\nc\n";
  const long before = mostMemory();
  EXPECT_EQ(storage.Newest(2), (Strings{"b", "c"}));
  EXPECT_LT(mostMemory(), before + 4 * 1024) << "no more is read than it needs";
  EXPECT_EQ(storage.Commands(), (Strings{"a", "b", "c"}));
  storage.Store({"new"});
  EXPECT_EQ(Read(), "b\nc\nnew\n");

  Write("");
  fs::resize_file(path, huge);
  EXPECT_EQ(storage.Commands(), Strings());
  storage.Store({"new"});
  EXPECT_EQ(Warnings(), 1U) << "a line without a bound can't be kept and isn't thrown away";
  EXPECT_EQ(fs::file_size(path), huge);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(mostMemory(), 100 * 1024);
#endif
}

// Long lines fill the file before many lines do; it goes on taking the newest.
TEST_F(FileHistoryStorageTest, LongLinesPushTheOldestOutAndLockNobodyOut) {
  FileHistoryStorage deep(1000, path);
  const std::string pasted(1 << 20, 'a');
  deep.Store(Strings(17, pasted));
  EXPECT_LE(fs::file_size(path), FileHistoryStorage::kMaxReadBytes);
  deep.Store({"new"});
  EXPECT_EQ(deep.Commands().size(), 16U);
  // A file that somebody else let grow is cut to what is read of it.
  std::ofstream(path, std::ios::app) << pasted << '\n' << pasted << '\n';
  deep.Store({"newer"});
  EXPECT_EQ(deep.Commands().back(), "newer");
}

TEST_F(FileHistoryStorageTest, ProcessesTakeTurns) {
  FileHistoryStorage shared(1000, path);
  for (int process = 0; process < 4; ++process) {
    if (fork() == 0) {
      for (int i = 0; i < 20; ++i) {
        shared.Store({std::string(5000, 'a')});
      }
      _exit(static_cast<int>(Warnings()));
    }
  }
  std::size_t stored = std::size_t{4} * 20;
  for (int status = 0; wait(&status) > 0;) {
    stored -= static_cast<std::size_t>(WEXITSTATUS(status));  // whose turn didn't come
  }
  EXPECT_GT(stored, 0U);
  EXPECT_EQ(shared.Commands(), Strings(stored, std::string(5000, 'a')));
}

}  // namespace
