#include "platform/SystemLog.h"

#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

// The C library's call waits without limit for a log daemon that has stopped reading, and no look
// beforehand rules that out: another process may fill the daemon's queue in between, and the
// library's own socket may have used up its send buffer while the queue has room. So the records
// go out from here, in the library's form, by a socket that never waits.
namespace platform {
namespace {

// The start of a record of each severity, for the facility "user".
constexpr std::array<std::string_view, 8> kPriorities{"<8>",  "<9>",  "<10>", "<11>",
                                                      "<12>", "<13>", "<14>", "<15>"};
static_assert(LOG_USER == 8 && kPriorities.size() == LOG_PRIMASK + 1);

constexpr std::array<const char*, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// What tells a file or a socket from every other while it exists.
struct Identity {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const Identity&) const = default;
};

Identity Of(const struct stat& status) {
  return {status.st_dev, status.st_ino};
}

// A connection to the log daemon. Whoever sends by it holds it, so that its descriptor is closed
// only behind the last one.
class Connection {
 public:
  explicit Connection(Identity daemon) : daemon_(daemon) {}
  Connection(const Connection&) = delete;
  Connection& operator=(const Connection&) = delete;
  ~Connection() { _Close(); }

  // Null if nobody listens.
  static std::shared_ptr<const Connection> Open() {
    struct stat file;
    if (stat(_PATH_LOG, &file) != 0) {
      return nullptr;
    }
    const auto connection = std::make_shared<Connection>(Of(file));
    const bool connected = connection->_Connect(SOCK_DGRAM) ||
                           (errno == EPROTOTYPE && connection->_Connect(SOCK_STREAM));
    return connected ? connection : nullptr;
  }

  // A program may close all descriptors that it finds, and the number is somebody else's then.
  bool IsOpen() const {
    struct stat socket;
    return socket_ >= 0 && fstat(socket_, &socket) == 0 && Of(socket) == own_;
  }

  // A daemon that another one has replaced can still hold its socket, and nobody reads that.
  bool IsReplaced() const {
    struct stat file;
    return stat(_PATH_LOG, &file) == 0 && Of(file) != daemon_;
  }

  // False if the connection serves no longer. A record that finds the queue full is lost.
  bool TrySend(const std::string& record) const {
    const std::size_t size = record.size() + (isStream_ ? 1 : 0);  // a zero ends it in a stream
    const ssize_t sent = send(socket_, record.c_str(), size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0 && static_cast<std::size_t>(sent) < size) {
      // A stream took a part: its end keeps that apart from the next record.
      (void)shutdown(socket_, SHUT_WR);
    }
    return sent >= 0 || errno == EAGAIN;
  }

 private:
  // errno tells why it failed.
  bool _Connect(int type) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    constexpr std::string_view kPath = _PATH_LOG;
    static_assert(kPath.size() < sizeof address.sun_path);
    kPath.copy(address.sun_path, kPath.size());

    socket_ = socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    struct stat socket;
    if (socket_ < 0 || fstat(socket_, &socket) != 0) {
      return false;
    }
    own_ = Of(socket);
    isStream_ = type == SOCK_STREAM;
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
      return true;
    }
    const int reason = errno;
    _Close();
    errno = reason;
    return false;
  }

  void _Close() {
    if (IsOpen()) {
      (void)close(socket_);  // nothing is left to be written
    }
    socket_ = -1;
  }

  Identity daemon_;  // the file's that it was connected by
  Identity own_;     // the socket's
  int socket_ = -1;
  bool isStream_ = false;
};

// One for the process. The connection is kept, since making one costs several records. The mutex is
// held to look at what is kept, and not while a record goes out: threads that log without a pause
// don't keep each other from it.
class Sender {
 public:
  void Send(int severity, std::string_view text) {
    std::string record;
    record.reserve(text.size() + 64);
    record += kPriorities[static_cast<std::size_t>(severity & LOG_PRIMASK)];
    std::shared_ptr<const Connection> connection = _Begin(record);
    record += program_invocation_short_name;
    record += ": ";
    record += text;
    // Twice, since the first try may be what shows that the daemon was restarted.
    for (int tries = 0; tries < 2; ++tries) {
      if (connection == nullptr || !connection->IsOpen()) {
        connection = Connection::Open();
        _Keep(connection);
      }
      if (connection == nullptr || connection->TrySend(record)) {
        return;
      }
      connection = nullptr;
    }
  }

 private:
  // Appends the time. The result is the connection that is kept, if there is one.
  std::shared_ptr<const Connection> _Begin(std::string& record) {
    const std::lock_guard lock(mutex_);
    if (const std::time_t now = std::time(nullptr); now != second_) {
      second_ = now;
      _WriteTime();
      if (connection_ != nullptr && connection_->IsReplaced()) {
        connection_ = nullptr;
      }
    }
    record += time_.data();
    return connection_;
  }

  void _Keep(std::shared_ptr<const Connection> connection) {
    const std::lock_guard lock(mutex_);
    connection_.swap(connection);
  }

  void _WriteTime() {
    std::tm when{};
    localtime_r(&second_, &when);
    (void)std::snprintf(time_.data(), time_.size(), "%s %2d %02d:%02d:%02d ",
                        kMonths[static_cast<std::size_t>(when.tm_mon)], when.tm_mday, when.tm_hour,
                        when.tm_min, when.tm_sec);  // its size is known
  }

  std::mutex mutex_;
  std::shared_ptr<const Connection> connection_;
  std::time_t second_ = -1;
  std::array<char, sizeof "Jan 01 00:00:00 "> time_{};  // of that second
};

// Never destroyed: it serves also what is destroyed at the end of the process.
union Unending {
  constexpr Unending() : sender() {}
  Unending(const Unending&) = delete;
  Unending& operator=(const Unending&) = delete;
  ~Unending() {}  // NOLINT(modernize-use-equals-default): that would be a deleted one
  Sender sender;
};
constinit Unending unending;

}  // namespace

void SystemLog(int severity, const char* text) {
  unending.sender.Send(severity, text);
}

void SystemLogV(int severity, const char* format, std::va_list arguments) {
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) >= 0) {
    unending.sender.Send(severity, text);
    std::free(text);
  }
}

}  // namespace platform
