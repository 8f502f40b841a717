#pragma once

#include <functional>
#include <memory>

#include "cli/Scheduler.h"

namespace cli::detail {

/// The standalone Asio library. What it offers is known to one source only, since its headers are
/// large.
struct NewStandaloneAsioLib;

/// An event loop on an Asio I/O context. An idle loop sleeps until a job is posted.
template <typename AsioLib>
class GenericAsioScheduler : public Scheduler {
 public:
  GenericAsioScheduler();
  /// Drops the jobs that were never run.
  ~GenericAsioScheduler() override;
  GenericAsioScheduler(const GenericAsioScheduler&) = delete;
  GenericAsioScheduler& operator=(const GenericAsioScheduler&) = delete;

  /// Thread-safe.
  void Post(std::function<void()> job) override;

  /// Runs jobs on the calling thread until Stop; passes on what a job throws. Throws
  /// std::system_error if the I/O context reports an error.
  void Run();

  /// Ends Run for good when the job at hand is done. Jobs still queued stay unrun. To be called by
  /// one thread at a time.
  void Stop();

 private:
  struct Loop;
  std::unique_ptr<Loop> loop;
};

extern template class GenericAsioScheduler<NewStandaloneAsioLib>;

}  // namespace cli::detail
