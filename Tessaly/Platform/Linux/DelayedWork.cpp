// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/DelayedWork.hpp"

#include <utility>

#include "Tessaly/Core/Base/detail/ForkGuard.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"

namespace Tessaly::inline v1::detail {

struct DelayedWork::Run final : Job {
  explicit Run(std::shared_ptr<DelayedWork> owner)
      : Job([](Job& job) noexcept {
          const std::unique_ptr<Run> self(static_cast<Run*>(&job));
          self->work->run();
        }),
        work(std::move(owner)) {}
  std::shared_ptr<DelayedWork> work;
};

DelayedWork::DelayedWork(Clock& clock, std::function<void()> work)
    : ClockTimer([](ClockTimer& timer) noexcept { static_cast<DelayedWork&>(timer).becomeDue(); }),
      clock_(clock),
      work_(std::move(work)) {}

std::shared_ptr<DelayedWork> DelayedWork::make(Clock& clock, std::function<void()> work) {
  return std::shared_ptr<DelayedWork>(new DelayedWork(clock, std::move(work)));
}

void DelayedWork::schedule(std::chrono::nanoseconds delay) {
  const UnfairLock::Guard scheduling(scheduling_);
  if (&clock_ == &ContinuousClock::shared() && !Reactor::start()) return;
  const Clock::Instant deadline = clock_.after(delay);
  {
    const UnfairLock::Guard guard(lock_);
    if (calls_.isClosed() || isDue_) return;
    if (scheduled_ != nullptr && (this->deadline() <= deadline || !clock_.remove(*this))) return;
    scheduled_ = shared_from_this();
  }
  setDeadline(deadline);
  clock_.add(*this);
}

void DelayedWork::becomeDue() {
  std::shared_ptr<DelayedWork> self;
  {
    const UnfairLock::Guard guard(lock_);
    self = std::move(scheduled_);
    if (std::exchange(isDue_, true) || isRunning_) return;
  }
  blockingExecutor().enqueue(*new Run(std::move(self)));
}

void DelayedWork::start() {
  {
    const UnfairLock::Guard guard(lock_);
    if (calls_.isClosed() || std::exchange(isDue_, true) || isRunning_) return;
  }
  blockingExecutor().enqueue(*new Run(shared_from_this()));
}

void DelayedWork::run() {
  for (;;) {
    {
      const UnfairLock::Guard guard(lock_);
      isRunning_ = std::exchange(isDue_, false);
      if (!isRunning_) return;
    }
    const CallGate::Call call(calls_);
    if (call.isAdmitted()) work_();
  }
}

void DelayedWork::cancel() noexcept {
  if (isForkedChild()) return;  // The work is running in the parent only.
  calls_.close();
  // Nothing is scheduled after the calls are closed, so this reference is the last one.
  std::shared_ptr<DelayedWork> self;
  const UnfairLock::Guard scheduling(scheduling_);
  const UnfairLock::Guard guard(lock_);
  if (scheduled_ != nullptr && clock_.remove(*this)) self = std::move(scheduled_);
}

}  // namespace Tessaly::inline v1::detail
