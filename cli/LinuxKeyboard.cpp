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
  // Nobody waits at the pipe: a full one has bytes enough to wake the thread.
  if (::pipe2(ends.data(), O_CLOEXEC | O_NONBLOCK) != 0) {
    throw std::system_error(errno, std::generic_category(), "stop pipe of the keyboard");
  }
  wakeReadFd = UniqueFd(ends[0]);
  wakeWriteFd = UniqueFd(ends[1]);
  if (wakeReadFd.Get() >= FD_SETSIZE) {
    // select can't watch it.
    throw std::system_error(EMFILE, std::generic_category(), "stop pipe of the keyboard");
  }
  thread = std::thread([this] { _Run(); });
  if (::isatty(STDIN_FILENO) != 0) {
    // First, so that no stop leaves the terminal raw.
    jobSignals.Watch(wakeWriteFd.Get());
    terminal.EnterRaw();
  }
}

LinuxKeyboard::~LinuxKeyboard() {
  terminal.Restore();
  jobSignals.Unwatch();
  {
    const std::lock_guard lock(mutex);
    stopping = true;
  }
  _Wake();
  wakeWriteFd.Close();
  thread.join();
}

void LinuxKeyboard::_Run() {
  try {
    _ReadKeys();
  } catch (const std::exception&) {
    // Out of memory: no more keys. The session lives on for the signals that end the process.
  }
  _WaitForStop();
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
}

LinuxKeyboard::Event LinuxKeyboard::_WaitForInput(std::optional<Clock::time_point> deadline) {
  while (!_IsStopping()) {
    if (_Sleep(true, deadline)) {
      return Event::kInput;
    }
    if (deadline && Clock::now() >= *deadline) {
      return Event::kSilence;
    }
  }
  return Event::kStop;
}

bool LinuxKeyboard::_WaitForRoom() {
  for (;;) {
    {
      const std::lock_guard lock(mutex);
      wantsRoom = !stopping && queuedJobs >= kMaxQueuedJobs;
      if (!wantsRoom) {
        return !stopping;
      }
    }
    _Sleep(false, std::nullopt);
  }
}

void LinuxKeyboard::_WaitForStop() {
  while (!_IsStopping()) {
    _Sleep(false, std::nullopt);
  }
}

// Sleeps until the thread is woken, until there is something to read, if that is asked for, or
// until the deadline. True if a read is due.
bool LinuxKeyboard::_Sleep(bool forInput, std::optional<Clock::time_point> deadline) {
  if (isInBackground) {
    forInput = false;
    const auto nextCheck = Clock::now() + kBackgroundCheck;
    deadline = deadline ? std::min(*deadline, nextCheck) : nextCheck;
  }
  fd_set readable;
  FD_ZERO(&readable);
  FD_SET(wakeReadFd.Get(), &readable);
  if (forInput) {
    FD_SET(STDIN_FILENO, &readable);
  }
  timeval timeout{};
  if (deadline) {
    timeout = ToTimeval(*deadline - Clock::now());
  }
  const int count = ::select(std::max(STDIN_FILENO, wakeReadFd.Get()) + 1, &readable, nullptr,
                             nullptr, deadline ? &timeout : nullptr);
  if (count < 0) {
    // Without a standard input at all the read will say so.
    return forInput && errno != EINTR;
  }
  if (FD_ISSET(wakeReadFd.Get(), &readable)) {
    std::array<char, 64> blanks{};
    while (::read(wakeReadFd.Get(), blanks.data(), blanks.size()) > 0) {
    }
  }
  // Behind a stop somebody else may have read what was there.
  return !_FollowJobControl() && forInput && FD_ISSET(STDIN_FILENO, &readable);
}

// Stops the process if it was told to, and sees to the terminal if it has gone on. True if anything
// of that has happened.
bool LinuxKeyboard::_FollowJobControl() {
  // The pipe was emptied before: what is noted behind this wakes the thread again.
  const bool isToStop = JobSignals::TakeStop();
  if (isToStop) {
    terminal.Suspend();
    jobSignals.Stop();
  }
  const bool hasGoneOn = JobSignals::TakeContinue();
  if (!isToStop && !hasGoneOn && !isInBackground) {
    return false;
  }
  const TerminalMode::Resumed resumed = terminal.Resume();
  isInBackground = resumed == TerminalMode::Resumed::kInBackground;
  if (resumed == TerminalMode::Resumed::kRaw) {
    _PostResumed();
  }
  return true;
}

void LinuxKeyboard::_PostResumed() {
  {
    const std::lock_guard lock(mutex);
    if (std::exchange(resumedQueued, true)) {
      return;
    }
  }
  NotifyResumed([this] {
    const std::lock_guard lock(mutex);
    resumedQueued = false;
  });
}

bool LinuxKeyboard::_Post(std::vector<KeyEvent> keys) {
  if (!_WaitForRoom()) {
    return false;
  }
  {
    const std::lock_guard lock(mutex);
    ++queuedJobs;
  }
  Notify(std::move(keys), [this] { _JobTaken(); });
  return true;
}

void LinuxKeyboard::_JobTaken() {
  bool isAwaited = false;
  {
    const std::lock_guard lock(mutex);
    --queuedJobs;
    isAwaited = std::exchange(wantsRoom, false);
  }
  if (isAwaited) {
    _Wake();
  }
}

void LinuxKeyboard::_Wake() {
  (void)RetryInterrupted([this] { return ::write(wakeWriteFd.Get(), " ", 1); });
}

bool LinuxKeyboard::_IsStopping() {
  const std::lock_guard lock(mutex);
  return stopping;
}

}  // namespace cli::detail
