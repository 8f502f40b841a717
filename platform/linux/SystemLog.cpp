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
#include <mutex>
#include <string>
#include <string_view>
#include <type_traits>

// The C library's call waits without limit for a log daemon that has stopped reading, and no look
// beforehand rules that out: another process may fill the daemon's queue in between, and the
// library's own socket may have used up its send buffer while the queue has room. So the records
// go out from here, in the library's form, by a socket that never waits.
namespace platform {
namespace {

using std::string_view_literals::operator""sv;

// The start of a record of each severity, for the facility "user".
constexpr std::array kPriorities{"<8>"sv,  "<9>"sv,  "<10>"sv, "<11>"sv,
                                 "<12>"sv, "<13>"sv, "<14>"sv, "<15>"sv};
static_assert(LOG_USER == 8 && kPriorities.size() == LOG_PRIMASK + 1);

constexpr std::array<const char*, 12> kMonths{"Jan", "Feb", "Mar", "Apr", "May", "Jun",
                                              "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"};

// What tells a file or a socket from every other while it exists.
struct Identity {
  dev_t device = 0;
  ino_t inode = 0;
  bool operator==(const Identity&) const = default;
};

// The connection to the log daemon. It is kept, since making one costs several records. Who sends
// holds the mutex, and nothing that happens under it waits.
class LogConnection {
 public:
  void Send(int severity, std::string_view text) {
    const std::lock_guard lock(mutex_);
    if (const std::time_t now = std::time(nullptr); now != second_) {
      second_ = now;
      _WriteTime();
      _LeaveReplacedDaemon();
    }
    std::string record;
    record.reserve(text.size() + 64);
    record += kPriorities[static_cast<std::size_t>(severity & LOG_PRIMASK)];
    record += time_.data();
    record += program_invocation_short_name;
    record += ": ";
    record += text;
    // Twice, since the first try may be what shows that the daemon was restarted.
    for (int tries = 0; tries < 2; ++tries) {
      if ((!_IsOpen() && !_Open()) || _TrySend(record)) {
        return;
      }
      _Close();
    }
  }

 private:
  void _WriteTime() {
    std::tm when{};
    localtime_r(&second_, &when);
    (void)std::snprintf(time_.data(), time_.size(), "%s %2d %02d:%02d:%02d ",
                        kMonths[static_cast<std::size_t>(when.tm_mon)], when.tm_mday, when.tm_hour,
                        when.tm_min, when.tm_sec);  // its size is known
  }

  // A daemon that another one has replaced can still hold its socket, and nobody reads that.
  void _LeaveReplacedDaemon() {
    struct stat file;
    if (stat(_PATH_LOG, &file) == 0 && Identity{file.st_dev, file.st_ino} != daemon_) {
      _Close();
    }
  }

  // A program may close all descriptors that it finds, and the number is somebody else's then.
  bool _IsOpen() const {
    struct stat socket;
    return socket_ >= 0 && fstat(socket_, &socket) == 0 &&
           Identity{socket.st_dev, socket.st_ino} == own_;
  }

  bool _Open() {
    struct stat file;
    if (stat(_PATH_LOG, &file) != 0) {
      return false;
    }
    daemon_ = {file.st_dev, file.st_ino};
    return _Connect(SOCK_DGRAM) || (errno == EPROTOTYPE && _Connect(SOCK_STREAM));
  }

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
    own_ = {socket.st_dev, socket.st_ino};
    isStream_ = type == SOCK_STREAM;
    if (connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0) {
      return true;
    }
    const int reason = errno;
    _Close();
    errno = reason;
    return false;
  }

  // False if the connection serves no longer. A record that finds the queue full is lost.
  bool _TrySend(const std::string& record) {
    const std::size_t size = record.size() + (isStream_ ? 1 : 0);  // a zero ends it in a stream
    const ssize_t sent = send(socket_, record.c_str(), size, MSG_DONTWAIT | MSG_NOSIGNAL);
    if (sent >= 0 && static_cast<std::size_t>(sent) < size) {
      _Close();  // a stream took a part: its end keeps that apart from the next record
    }
    return sent >= 0 || errno == EAGAIN;
  }

  void _Close() {
    if (_IsOpen()) {
      (void)close(socket_);  // nothing is left to be written
    }
    socket_ = -1;
  }

  std::mutex mutex_;
  int socket_ = -1;
  bool isStream_ = false;
  Identity own_;     // the socket's
  Identity daemon_;  // the file's that it was connected by
  std::time_t second_ = -1;
  std::array<char, sizeof "Jan 01 00:00:00 "> time_{};  // of that second
};

// It serves also what is constructed before it or destroyed behind it.
static_assert(std::is_trivially_destructible_v<LogConnection>);
constinit LogConnection logConnection;

}  // namespace

void SystemLog(int severity, const char* text) {
  logConnection.Send(severity, text);
}

void SystemLogV(int severity, const char* format, std::va_list arguments) {
  char* text = nullptr;
  if (vasprintf(&text, format, arguments) >= 0) {
    logConnection.Send(severity, text);
    std::free(text);
  }
}

}  // namespace platform
