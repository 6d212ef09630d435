// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/DelayedWork.hpp"

#include <utility>

#include "Tessaly/Core/Base/ForkGuard.hpp"
#include "Tessaly/Core/Base/Futex.hpp"
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"
#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/Executor.hpp"

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
  const UnfairLock::Guard guard(lock_);
  if (isCancelled_ || isDue_) return;
  const Clock::Instant deadline = clock_.now() + delay;
  if (scheduled_ != nullptr && (this->deadline() <= deadline || !clock_.remove(*this))) return;
  scheduled_ = shared_from_this();
  setDeadline(deadline);
  clock_.add(*this);
}

void DelayedWork::becomeDue() {
  std::shared_ptr<DelayedWork> self;
  {
    const UnfairLock::Guard guard(lock_);
    self = std::move(scheduled_);
    if (std::exchange(isDue_, true) || runningThread_ != 0) return;
  }
  blockingExecutor().enqueue(*new Run(std::move(self)));
}

void DelayedWork::run() {
  lock_.lock();
  while (std::exchange(isDue_, false) && !isCancelled_) {
    runningThread_ = currentThreadIdentifier();
    lock_.unlock();
    work_();
    lock_.lock();
    runningThread_ = 0;
    runs_.fetch_add(1, std::memory_order_release);
    futexWake(runs_, INT32_MAX);
  }
  lock_.unlock();
}

void DelayedWork::cancel() noexcept {
  if (isForkedChild()) return;  // Whoever does it is in the parent.
  std::shared_ptr<DelayedWork> self;
  lock_.lock();
  isCancelled_ = true;
  if (scheduled_ != nullptr && clock_.remove(*this)) self = std::move(scheduled_);
  while (runningThread_ != 0 && runningThread_ != currentThreadIdentifier()) {
    const std::uint32_t runs = runs_.load(std::memory_order_acquire);
    lock_.unlock();
    futexWait(runs_, runs);
    lock_.lock();
  }
  lock_.unlock();
}

}  // namespace Tessaly::inline v1::detail
