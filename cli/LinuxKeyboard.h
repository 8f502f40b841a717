#pragma once

#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "cli/InputDevice.h"
#include "cli/KeyDecoder.h"
#include "cli/TerminalMode.h"
#include "cli/UniqueFd.h"

namespace cli::detail {

/// The keys of standard input, be it a terminal or not.
///
/// Owns the keyboard thread, which reads, decodes and posts, and does nothing else. It sleeps while
/// nothing arrives. All keys that one read brings are one job. The end of the input, or a terminal
/// that went away, is one `EndOfInput`.
class LinuxKeyboard : public InputDevice {
 public:
  /// Silence after which an unfinished escape sequence counts as `Ignored`.
  static constexpr std::chrono::milliseconds kEscapeTimeout{500};

  /// Starts the thread and puts a terminal on standard input into raw mode. Throws
  /// std::system_error if the pipe or the thread can't be had.
  explicit LinuxKeyboard(Scheduler& jobScheduler);

  /// Restores the terminal and joins the thread.
  ~LinuxKeyboard() override;

 private:
  enum class Event { kInput, kSilence, kStop };
  using Clock = std::chrono::steady_clock;

  void _Run();
  void _ReadKeys();
  Event _WaitForInput(std::optional<Clock::time_point> deadline) const;
  void _WaitForStop() const;
  bool _Post(std::vector<KeyEvent> keys);
  void _JobTaken();

  UniqueFd stopReadFd;
  UniqueFd stopWriteFd;

  std::mutex mutex;
  std::condition_variable roomForJobs;
  std::size_t queuedJobs = 0;  // under mutex
  bool stopping = false;       // under mutex

  TerminalMode terminal;
  std::thread thread;
};

}  // namespace cli::detail
