#include "cli/GenericAsioScheduler.h"

#include <asio/executor_work_guard.hpp>
#include <asio/io_context.hpp>
#include <asio/post.hpp>
#include <system_error>
#include <utility>

namespace cli::detail {

struct NewStandaloneAsioLib {
  using Context = asio::io_context;
  using Executor = asio::io_context::executor_type;
  using WorkGuard = asio::executor_work_guard<Executor>;
};

template <typename AsioLib>
struct GenericAsioScheduler<AsioLib>::Loop {
  typename AsioLib::Context context;
  typename AsioLib::Executor executor = context.get_executor();
  typename AsioLib::WorkGuard workGuard{executor};
};

template <typename AsioLib>
GenericAsioScheduler<AsioLib>::GenericAsioScheduler() : loop(std::make_unique<Loop>()) {
}

template <typename AsioLib>
GenericAsioScheduler<AsioLib>::~GenericAsioScheduler() = default;

template <typename AsioLib>
void GenericAsioScheduler<AsioLib>::Post(std::function<void()> job) {
  asio::post(loop->executor, std::move(job));
}

template <typename AsioLib>
void GenericAsioScheduler<AsioLib>::Run() {
  asio::error_code error;
  loop->context.run(error);
  if (error) {
    throw std::system_error(error);
  }
}

template <typename AsioLib>
void GenericAsioScheduler<AsioLib>::Stop() {
  loop->workGuard.reset();
  loop->context.stop();
}

template class GenericAsioScheduler<NewStandaloneAsioLib>;

}  // namespace cli::detail
