#include "cli/FileHistoryStorage.h"

#include <gtest/gtest.h>
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

  std::string Read() {
    std::ostringstream content;
    content << std::ifstream(path, std::ios::binary).rdbuf();
    return content.str();
  }

  std::size_t Warnings() { return sim::Board::Get().log.Messages(4).size(); }

  /// Stores a line and expects one Warning and the old content.
  void ExpectRefused(const Strings& commands = {"new"}) {
    const std::string old = Read();
    storage.Store(commands);
    EXPECT_EQ(Warnings(), 1U);
    EXPECT_EQ(Read(), old);
    EXPECT_FALSE(fs::exists(path + ".tmp"));
  }

  TemporaryFolder folder;
  const std::string path = folder.Path() + "/.cli";
  FileHistoryStorage storage{3, path};
};

TEST_F(FileHistoryStorageTest, KeepsTheNewestLinesWithALineFeedEach) {
  EXPECT_EQ(storage.Commands(), Strings());
  storage.Store({});
  EXPECT_TRUE(fs::exists(path));
  storage.Store({"a", "b"});
  EXPECT_EQ(Read(), "a\nb\n");
  storage.Store({});
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
  fs::create_symlink(folder.Path() + "/victim", path + ".tmp");  // left by whomever
  std::ifstream reader(path);  // a reader that has the file open sees the old content to its end
  storage.Store({"new"});
  std::string line;
  std::getline(reader, line);
  EXPECT_EQ(line, "old");
  EXPECT_FALSE(std::getline(reader, line));
  EXPECT_EQ(Read(), "old\nnew\n");
  struct stat status {};
  ASSERT_EQ(stat(path.c_str(), &status), 0);
  EXPECT_EQ(status.st_mode & 07777, 0640U);
  EXPECT_FALSE(fs::exists(folder.Path() + "/victim"));
  EXPECT_FALSE(fs::is_symlink(path + ".tmp"));
}

TEST_F(FileHistoryStorageTest, LinksAndBlockedFoldersAreWrittenInPlace) {
  const std::string target = folder.Path() + "/target";
  std::ofstream(target) << "a very long old line\nb\nc\n";
  fs::create_symlink(target, path);
  storage.Store({"d"});
  EXPECT_TRUE(fs::is_symlink(path));
  EXPECT_EQ(Read(), "b\nc\nd\n") << "shorter than before, and cut";

  fs::remove(path);
  fs::create_hard_link(target, path);
  storage.Store({"e"});
  EXPECT_EQ(fs::hard_link_count(path), 2U);

  fs::create_directory(path + ".tmp");
  std::ofstream(path + ".tmp/full") << "so that it can't be removed";
  fs::remove(target);
  storage.Store({"f"});
  EXPECT_EQ(Read(), "d\ne\nf\n");
  EXPECT_EQ(Warnings(), 0U);
}

TEST_F(FileHistoryStorageTest, AFolderIsNoHistory) {
  fs::create_directory(path);
  EXPECT_EQ(storage.Commands(), Strings());
  storage.Store({"new"});
  EXPECT_EQ(Warnings(), 1U);
  EXPECT_TRUE(fs::is_directory(path));
}

TEST_F(FileHistoryStorageTest, AFifoBlocksNobody) {
  ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
  EXPECT_EQ(storage.Commands(), Strings());
  storage.Store({"new"});
  EXPECT_EQ(Warnings(), 1U);
  storage.Clear();
  EXPECT_EQ(Warnings(), 2U);
  EXPECT_TRUE(fs::is_fifo(path));
}

TEST_F(FileHistoryStorageTest, AFileThatMayNotBeReadOrWrittenStays) {
  if (geteuid() == 0) {
    ASSERT_EQ(chmod(folder.Path().c_str(), 0777), 0);
  }
  Write("old\n");
  for (const mode_t mode : {0444U, 0222U, 0000U}) {
    ASSERT_EQ(chmod(path.c_str(), mode), 0);
    const pid_t child = fork();  // so that the tests run as root too
    if (child == 0) {
      if (geteuid() == 0 && seteuid(65534) != 0) {
        _exit(2);
      }
      storage.Store({"new"});
      _exit(Warnings() == 1 ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0) << std::oct << mode;
    ASSERT_EQ(chmod(path.c_str(), 0644), 0);
    EXPECT_EQ(Read(), "old\n") << std::oct << mode;
  }
}

TEST_F(FileHistoryStorageTest, AFullDiskLeavesTheOldContent) {
  const std::string old = std::string(6000, 'a') + "\nb\n";
  Write(old);
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{8192, 8192};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  ExpectRefused({std::string(4000, 'c')});
}

TEST_F(FileHistoryStorageTest, AFullDiskLeavesALinkedFileWhole) {
  std::ofstream(folder.Path() + "/target") << std::string(6000, 'a') << "\nb\nc\n";
  fs::create_symlink(folder.Path() + "/target", path);
  std::signal(SIGXFSZ, SIG_IGN);
  const rlimit limit{8192, 8192};
  ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
  ExpectRefused({std::string(4000, 'd'), std::string(5000, 'e')});
}

TEST_F(FileHistoryStorageTest, AHugeFileIsReadFromItsEnd) {
  Write("");
  fs::resize_file(path, std::uintmax_t{1} << 30);  // zeros, without a line feed
  EXPECT_EQ(storage.Commands(), Strings());
  storage.Store({"new"});
  EXPECT_EQ(Warnings(), 1U) << "a line without a bound can't be kept and isn't thrown away";
  EXPECT_EQ(fs::file_size(path), std::uintmax_t{1} << 30);

  std::ofstream(path, std::ios::app) << "\na\nb\nc\n";
  EXPECT_EQ(storage.Commands(), (Strings{"a", "b", "c"}));
  storage.Store({"new"});
  EXPECT_EQ(Read(), "b\nc\nnew\n");
  EXPECT_EQ(Warnings(), 1U);
  rusage usage{};
  getrusage(RUSAGE_SELF, &usage);
#if !defined(__SANITIZE_ADDRESS__) && !defined(__SANITIZE_THREAD__)
  EXPECT_LT(usage.ru_maxrss, 100 * 1024);  // KiB
#endif
}

// Long lines fill the file before many lines do; it goes on taking the newest.
TEST_F(FileHistoryStorageTest, LongLinesPushTheOldestOutAndLockNobodyOut) {
  FileHistoryStorage deep(1000, path);
  Strings pasted;
  for (char c = 'a'; c < 'a' + 17; ++c) {
    pasted.emplace_back(1 << 20, c);
  }
  deep.Store(pasted);
  EXPECT_LE(fs::file_size(path), FileHistoryStorage::kMaxReadBytes);
  deep.Store({"new"});
  Strings lines = deep.Commands();
  EXPECT_EQ(lines.back(), "new");
  EXPECT_EQ(lines.front(), std::string(1 << 20, 'c'));
  EXPECT_EQ(lines.size(), 16U);

  // A file that somebody else let grow is cut to what is read of it.
  std::string grown;
  for (const std::string& line : pasted) {
    grown += line + '\n';
  }
  Write(grown);
  deep.Store({"newer"});
  EXPECT_EQ(deep.Commands().back(), "newer");
  EXPECT_EQ(Warnings(), 0U);
}

TEST_F(FileHistoryStorageTest, ProcessesTakeTurnsAndTearNothing) {
  constexpr int kProcesses = 4;
  constexpr int kStores = 10;
  FileHistoryStorage shared(1000, path);
  for (int p = 0; p < kProcesses; ++p) {
    if (fork() == 0) {
      for (int i = 0; i < kStores; ++i) {
        shared.Store({std::string(5000, static_cast<char>('a' + p))});
      }
      _exit(static_cast<int>(Warnings()));
    }
  }
  std::size_t stored = std::size_t{kProcesses * kStores};
  for (int status = 0; wait(&status) > 0;) {
    ASSERT_TRUE(WIFEXITED(status));
    stored -= static_cast<std::size_t>(WEXITSTATUS(status));  // whose turn didn't come
  }
  EXPECT_GT(stored, 0U);
  const Strings lines = shared.Commands();
  EXPECT_EQ(lines.size(), stored);
  for (const std::string& line : lines) {
    EXPECT_EQ(line, std::string(5000, line.empty() ? ' ' : line[0]));
  }
}

TEST_F(FileHistoryStorageTest, AKillAtAnyMomentLeavesOldOrNewAndNoPile) {
  const Strings old{std::string(100'000, 'a'), std::string(100'000, 'b')};
  storage.Store(old);
  const std::string before = Read();
  for (int round = 0; round < 30; ++round) {
    const pid_t child = fork();
    if (child == 0) {
      for (;;) {
        storage.Store({std::string(100'000, 'c')});
      }
    }
    usleep(static_cast<useconds_t>(round * 300));
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    const Strings lines = storage.Commands();
    ASSERT_GE(lines.size(), 2U);
    for (const std::string& line : lines) {
      ASSERT_EQ(line, std::string(100'000, line.empty() ? ' ' : line[0]));
    }
    std::size_t files = 0;
    for ([[maybe_unused]] const auto& entry : fs::directory_iterator(folder.Path())) {
      ++files;
    }
    EXPECT_LE(files, 2U);
  }
  storage.Store({"x", "y", "z"});
  EXPECT_EQ(Read(), "x\ny\nz\n");
  EXPECT_FALSE(fs::exists(path + ".tmp"));
}

}  // namespace
