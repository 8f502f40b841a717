#pragma once

#include <functional>
#include <span>
#include <vector>

#include "cli/KeyEvent.h"
#include "cli/Scheduler.h"

namespace cli::detail {

/// A source of keys. They travel to the scheduler's thread as jobs, in order.
class InputDevice {
 public:
  /// Gets the keys that arrived together, in order, on the scheduler's thread.
  using Handler = std::function<void(std::span<const KeyEvent> keys)>;

  /// `jobScheduler` must outlive the device, and be stopped before the device goes if jobs of the
  /// device may still be queued.
  explicit InputDevice(Scheduler& jobScheduler);
  virtual ~InputDevice();
  InputDevice(const InputDevice&) = delete;
  InputDevice& operator=(const InputDevice&) = delete;

  /// To be called before the scheduler runs, or on its thread.
  void SetHandler(Handler keyHandler);

  /// Posts one job that hands all `keys` to the handler, if there is one, and then calls `taken`,
  /// if given. Thread-safe.
  void Notify(std::vector<KeyEvent> keys, std::function<void()> taken = nullptr);
  void Notify(const KeyEvent& key);

  /// As SetHandler, for NotifyResumed.
  void SetResumedHandler(std::function<void()> resumed);

  /// Tells that the process goes on after a stop, as Notify does: whatever stood on the screen may
  /// have been written over.
  void NotifyResumed(std::function<void()> taken = nullptr);

 private:
  Scheduler& scheduler;
  Handler handler;  // both read and written on the scheduler's thread
  std::function<void()> resumedHandler;
};

}  // namespace cli::detail
