#include "cli/InputDevice.h"

#include <utility>

namespace cli::detail {

InputDevice::InputDevice(Scheduler& jobScheduler) : scheduler(jobScheduler) {
}

InputDevice::~InputDevice() = default;

void InputDevice::SetHandler(Handler keyHandler) {
  handler = std::move(keyHandler);
}

void InputDevice::Notify(std::vector<KeyEvent> keys, std::function<void()> taken) {
  scheduler.Post([this, keys = std::move(keys), taken = std::move(taken)] {
    if (handler) {
      handler(keys);
    }
    if (taken) {
      taken();
    }
  });
}

void InputDevice::Notify(const KeyEvent& key) {
  Notify(std::vector<KeyEvent>{key});
}

void InputDevice::SetResumedHandler(std::function<void()> resumed) {
  resumedHandler = std::move(resumed);
}

void InputDevice::NotifyResumed(std::function<void()> taken) {
  scheduler.Post([this, taken = std::move(taken)] {
    if (taken) {
      taken();
    }
    if (resumedHandler) {
      resumedHandler();
    }
  });
}

}  // namespace cli::detail
