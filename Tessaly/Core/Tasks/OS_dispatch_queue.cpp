// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"

#include <memory>

#include "Tessaly/Core/Base/CallNotification.hpp"
#include "Tessaly/Core/Tasks/GlobalExecutor.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"

namespace Tessaly::inline v1 {
namespace {

struct FunctionJob final : Job {
  FunctionJob(OS_dispatch_queue::Function work, TaskPriority priority)
      : Job([](Job& job) noexcept { static_cast<FunctionJob&>(job).call(); }, priority), function(std::move(work)) {}

  void call() noexcept {
    const std::unique_ptr<FunctionJob> self(this);
    callNotification("A function on a dispatch queue", function);
  }

  OS_dispatch_queue::Function function;
};

struct DelayedJob final : ClockTimer {
  DelayedJob(Executor& target, OS_dispatch_queue::Function work, TaskPriority priority)
      : ClockTimer([](ClockTimer& timer) noexcept { static_cast<DelayedJob&>(timer).enqueue(); }),
        executor(target),
        job(std::make_unique<FunctionJob>(std::move(work), priority)) {}

  void enqueue() noexcept {
    const std::unique_ptr<DelayedJob> self(this);
    executor.enqueue(*job.release());
  }

  Executor& executor;
  std::unique_ptr<FunctionJob> job;
};

TaskPriority priorityOf(QualityOfService quality) {
  switch (quality) {
    case QualityOfService::background:
      return TaskPriority::background;
    case QualityOfService::utility:
      return TaskPriority::low;
    case QualityOfService::default_:
      return TaskPriority::medium;
    case QualityOfService::userInitiated:
    case QualityOfService::userInteractive:
      return TaskPriority::high;
  }
  return TaskPriority::medium;
}

}  // namespace

OS_dispatch_queue OS_dispatch_queue::main() noexcept {
  return OS_dispatch_queue(MainQueue::executor(), TaskPriority::medium);
}

OS_dispatch_queue OS_dispatch_queue::global(QualityOfService quality) noexcept {
  return OS_dispatch_queue(GlobalExecutor::shared(), priorityOf(quality));
}

void OS_dispatch_queue::async(Function function) const {
  executor_->enqueue(*std::make_unique<FunctionJob>(std::move(function), priority_).release());
}

void OS_dispatch_queue::asyncAfter(std::chrono::nanoseconds delay, Function function, Clock& clock) const {
  auto delayed = std::make_unique<DelayedJob>(*executor_, std::move(function), priority_);
  delayed->setDeadline(clock.after(delay));
  clock.add(*delayed.release());
}

}  // namespace Tessaly::inline v1
