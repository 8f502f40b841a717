#pragma once

#include <chrono>
#include <cstddef>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

#include "cli/InputDevice.h"
#include "cli/JobSignals.h"
#include "cli/KeyDecoder.h"
#include "cli/TerminalMode.h"
#include "cli/UniqueFd.h"

namespace cli::detail {

/// The keys of standard input, be it a terminal or not.
///
/// Owns the keyboard thread, which reads, decodes and posts, and follows job control at a terminal:
/// before the process is stopped the terminal's mode is put back, and when it goes on in the
/// foreground the terminal is raw again and a job draws the line anew. The thread sleeps while
/// nothing arrives. All keys that one read brings are one job. The end of the input, or a terminal
/// that went away, is one `EndOfInput`.
class LinuxKeyboard : public InputDevice {
 public:
  /// Silence after which an unfinished escape sequence counts as `Ignored`.
  static constexpr std::chrono::milliseconds kEscapeTimeout{500};

  /// While the process runs in the background it reads nothing, and asks so often whether it is
  /// back in the foreground: not every shell tells.
  static constexpr std::chrono::milliseconds kBackgroundCheck{200};

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
  Event _WaitForInput(std::optional<Clock::time_point> deadline);
  bool _WaitForRoom();
  void _WaitForStop();
  bool _Sleep(bool forInput, std::optional<Clock::time_point> deadline);
  bool _FollowJobControl();
  void _PostResumed();
  bool _Post(std::vector<KeyEvent> keys);
  void _JobTaken();
  void _Wake();
  bool _IsStopping();

  // A byte in the pipe wakes the thread, for whatever reason.
  UniqueFd wakeReadFd;
  UniqueFd wakeWriteFd;

  std::mutex mutex;
  std::size_t queuedJobs = 0;   // under mutex
  bool wantsRoom = false;       // under mutex
  bool resumedQueued = false;   // under mutex
  bool stopping = false;        // under mutex
  bool isInBackground = false;  // the thread's own

  TerminalMode terminal;
  JobSignals jobSignals;
  std::thread thread;
};

}  // namespace cli::detail
