#pragma once

#include <signal.h>

#include <cstddef>
#include <mutex>

/// The signals that end a process, for those who must put something in order before it dies.
///
/// A signal for which a hook is set runs the hooks first, in the order of LastStep, and then takes
/// the course that it would have taken without: the process dies by it, and a core dump shows the
/// place where it came. The hooks run once in the life of a process, on whichever thread the signal
/// comes to; a thread with a signal of its own waits for them.
///
/// A signal that is ignored stays so, and one that has a handler of its own has only that one, but
/// for SIGABRT and the faults of the processor, where it runs behind the hooks. Signals that nobody
/// has set a hook for are left alone.
namespace platform {

/// Who has a last step to do, in the order in which it is done. Each has one hook at most.
enum class LastStep : std::size_t { kRestoreTerminal, kRemoveFile, kReport };
inline constexpr std::size_t kLastSteps = 3;

/// May do what a signal handler may: read what is changed under FatalSignalsHeld alone, and call
/// what POSIX lists as async-signal-safe. It must not wait for long. All signals are held back on
/// its thread; a fault in it ends the process.
using FatalHook = void (*)(const siginfo_t& info);

/// Stands for every signal whose default ends the process and that can be caught, SIGPIPE apart.
inline constexpr int kEveryFatalSignal = 0;

/// Keeps the hooks from running for as long as it stands, a few system calls at most: what they
/// read is changed meanwhile. One thread at a time has it, another waits.
class FatalSignalsHeld {
 public:
  FatalSignalsHeld();
  ~FatalSignalsHeld();
  FatalSignalsHeld(const FatalSignalsHeld&) = delete;
  FatalSignalsHeld& operator=(const FatalSignalsHeld&) = delete;

  /// True if a fatal signal had come before: its hooks run now, or have run. Nothing that they read
  /// may be changed any more, and what they put in order must stay so. One that comes meanwhile
  /// waits.
  bool IsDying() const { return isDying; }

  /// Sets the hook of a step for `signal`. It replaces the step's hook that was set before. Nothing
  /// is done while IsDying. The calling thread gets a stack for its signal handlers, so that the
  /// hooks run when its own has overflowed.
  void SetHook(LastStep step, int signal, FatalHook hook);
  /// Ends SetHook: a signal that no step wants any more has the action back that it had before.
  void ClearHook(LastStep step);

 private:
  std::unique_lock<std::mutex> lock;
  sigset_t previousMask{};
  bool isDying = false;
};

}  // namespace platform
