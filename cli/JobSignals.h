#pragma once

#include <mutex>

namespace cli::detail {

/// The signals of job control: SIGTSTP, by the key Ctrl-Z too, and SIGCONT. One object of a process
/// watches them at a time.
///
/// They come to any thread at any instant. All that happens then is that a note is made and a byte
/// is written to a descriptor, where a thread that waits for it takes the note. A signal that is
/// ignored or handled by somebody else stays so. Thread-safe.
class JobSignals {
 public:
  JobSignals() = default;
  /// As Unwatch.
  ~JobSignals();
  JobSignals(const JobSignals&) = delete;
  JobSignals& operator=(const JobSignals&) = delete;

  /// From now on both signals write a byte to `wakeFd`, which must not block.
  void Watch(int wakeFd);
  /// From now on both signals do what they do by default, and nothing is written any more.
  void Unwatch();

  /// True if the process has been told to stop since the last call. It is for the caller to call
  /// Stop when everything is in order.
  static bool TakeStop();
  /// True if the process has been told to go on since the last call.
  static bool TakeContinue();

  /// Stops the process as SIGTSTP does by default, and returns when it goes on; at once if it has
  /// been told to go on since it was told to stop, or if the system finds nobody who could tell it.
  void Stop();

 private:
  std::mutex mutex;
  bool watchesStop = false;      // under mutex
  bool watchesContinue = false;  // under mutex
};

}  // namespace cli::detail
