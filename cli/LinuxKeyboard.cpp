#include "cli/LinuxKeyboard.h"

#include <fcntl.h>
#include <sys/select.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <exception>
#include <system_error>
#include <utility>

namespace cli::detail {

namespace {

constexpr std::size_t kReadSize = 4096;  // bytes: all that a terminal holds back at most

// Jobs that may wait for the scheduler. A long paste is read no faster than it is handled, so that
// it takes up some hundred KiB here, however long it is.
constexpr std::size_t kMaxQueuedJobs = 16;

timeval ToTimeval(std::chrono::steady_clock::duration duration) {
  using std::chrono::microseconds;
  const auto count =
      std::max(std::chrono::ceil<microseconds>(duration), microseconds::zero()).count();
  timeval value{};
  value.tv_sec = static_cast<decltype(value.tv_sec)>(count / 1'000'000);
  value.tv_usec = static_cast<decltype(value.tv_usec)>(count % 1'000'000);
  return value;
}

void Append(std::vector<KeyEvent>& keys, const std::optional<KeyEvent>& key) {
  if (key) {
    keys.push_back(*key);
  }
}

}  // namespace

LinuxKeyboard::LinuxKeyboard(Scheduler& jobScheduler)
    : InputDevice(jobScheduler), terminal(STDIN_FILENO) {
  std::array<int, 2> ends{};
  if (::pipe2(ends.data(), O_CLOEXEC) != 0) {
    throw std::system_error(errno, std::generic_category(), "stop pipe of the keyboard");
  }
  stopReadFd = UniqueFd(ends[0]);
  stopWriteFd = UniqueFd(ends[1]);
  if (stopReadFd.Get() >= FD_SETSIZE) {
    // select can't watch it.
    throw std::system_error(EMFILE, std::generic_category(), "stop pipe of the keyboard");
  }
  thread = std::thread([this] { _Run(); });
  terminal.EnterRaw();
}

LinuxKeyboard::~LinuxKeyboard() {
  terminal.Restore();
  {
    const std::lock_guard lock(mutex);
    stopping = true;
  }
  roomForJobs.notify_one();
  // The pipe is empty and its other end open: the blank always finds its place.
  (void)RetryInterrupted([this] { return ::write(stopWriteFd.Get(), " ", 1); });
  stopWriteFd.Close();
  thread.join();
}

void LinuxKeyboard::_Run() {
  try {
    _ReadKeys();
  } catch (const std::exception&) {
    // Out of memory: the thread ends, the session lives on for the signals that end the process.
  }
}

void LinuxKeyboard::_ReadKeys() {
  KeyDecoder decoder;
  std::array<std::uint8_t, kReadSize> bytes{};
  std::optional<Clock::time_point> deadline;
  bool atEnd = false;
  while (!atEnd) {
    const Event event = _WaitForInput(deadline);
    if (event == Event::kStop) {
      return;
    }
    std::vector<KeyEvent> keys;
    if (event == Event::kSilence) {
      Append(keys, decoder.BreakOff());
    } else {
      const ssize_t count = ::read(STDIN_FILENO, bytes.data(), bytes.size());
      if (count < 0 && (errno == EINTR || errno == EAGAIN)) {
        continue;
      }
      for (ssize_t i = 0; i < count; ++i) {
        Append(keys, decoder.Feed(bytes[static_cast<std::size_t>(i)]));
      }
      if (count <= 0) {
        Append(keys, decoder.BreakOff());
        keys.emplace_back(KeyType::EndOfInput, ' ');
        atEnd = true;
      }
    }
    deadline.reset();
    if (decoder.IsInSequence()) {
      deadline = Clock::now() + kEscapeTimeout;
    }
    if (!keys.empty() && !_Post(std::move(keys))) {
      return;
    }
  }
  _WaitForStop();
}

LinuxKeyboard::Event LinuxKeyboard::_WaitForInput(std::optional<Clock::time_point> deadline) const {
  for (;;) {
    fd_set readable;
    FD_ZERO(&readable);
    FD_SET(STDIN_FILENO, &readable);
    FD_SET(stopReadFd.Get(), &readable);
    timeval timeout{};
    if (deadline) {
      timeout = ToTimeval(*deadline - Clock::now());
    }
    const int count = ::select(std::max(STDIN_FILENO, stopReadFd.Get()) + 1, &readable, nullptr,
                               nullptr, deadline ? &timeout : nullptr);
    if (count == 0) {
      return Event::kSilence;
    }
    if (count > 0) {
      return FD_ISSET(stopReadFd.Get(), &readable) ? Event::kStop : Event::kInput;
    }
    if (errno != EINTR) {
      return Event::kInput;  // no standard input at all: the read will say so
    }
  }
}

void LinuxKeyboard::_WaitForStop() const {
  char blank{};
  (void)RetryInterrupted([&] { return ::read(stopReadFd.Get(), &blank, 1); });
}

bool LinuxKeyboard::_Post(std::vector<KeyEvent> keys) {
  {
    std::unique_lock lock(mutex);
    roomForJobs.wait(lock, [this] { return stopping || queuedJobs < kMaxQueuedJobs; });
    if (stopping) {
      return false;
    }
    ++queuedJobs;
  }
  Notify(std::move(keys), [this] { _JobTaken(); });
  return true;
}

void LinuxKeyboard::_JobTaken() {
  {
    const std::lock_guard lock(mutex);
    --queuedJobs;
  }
  roomForJobs.notify_one();
}

}  // namespace cli::detail
