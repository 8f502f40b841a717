#pragma once

#include <functional>

namespace cli {

/// Runs jobs one at a time, in the order in which they were posted.
class Scheduler {
 public:
  virtual ~Scheduler() = default;

  /// Queues a job for the thread that runs the scheduler. May be called by any thread.
  virtual void Post(std::function<void()> job) = 0;
};

}  // namespace cli
