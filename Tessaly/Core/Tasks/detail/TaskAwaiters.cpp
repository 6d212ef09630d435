// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/TaskAwaiters.hpp"

#include <concepts>
#include <utility>

#include "Tessaly/Core/Base/Error.hpp"

namespace Tessaly::inline v1::detail {
namespace {

class SleepAwaiter {
 public:
  SleepAwaiter(Clock::Instant deadline, Clock& clock) noexcept
      : clock_(clock), task_(*threadState.task), timer_(*this), handler_(*this) {
    timer_.setDeadline(deadline);
  }

  bool await_ready() noexcept {
    isCancelled_ = task_.isCancelled();
    return isCancelled_;
  }
  template <std::derived_from<AsyncPromiseBase> Promise>
  bool await_suspend(std::coroutine_handle<Promise> handle) {
    suspension_.arm(handle);
    clock_.add(timer_);
    waits_ = true;
    if (!task_.addCancellationHandler(handler_)) cancel();
    return suspension_.commit();
  }
  void await_resume() {
    endWait();
    if (isCancelled_) throw CancellationError();
  }
  ~SleepAwaiter() { endWait(); }  // The coroutine may be destroyed instead of resumed.
  SleepAwaiter(const SleepAwaiter&) = delete;
  SleepAwaiter& operator=(const SleepAwaiter&) = delete;

 private:
  struct Timer final : ClockTimer {
    explicit Timer(SleepAwaiter& owner) noexcept
        : ClockTimer([](ClockTimer& timer) noexcept { static_cast<Timer&>(timer).awaiter.suspension_.resume(); }),
          awaiter(owner) {}
    SleepAwaiter& awaiter;
  };
  struct Handler final : CancellationHandler {
    explicit Handler(SleepAwaiter& owner) noexcept
        : CancellationHandler([](CancellationHandler& handler, TaskList&) noexcept {
            static_cast<Handler&>(handler).awaiter.cancel();
          }),
          awaiter(owner) {}
    SleepAwaiter& awaiter;
  };

  void endWait() noexcept {
    if (std::exchange(waits_, false)) task_.removeCancellationHandler(handler_);
  }
  void cancel() noexcept {
    if (!clock_.remove(timer_)) return;
    isCancelled_ = true;
    suspension_.resume();
  }

  Clock& clock_;
  TaskRecord& task_;
  Suspension suspension_;
  Timer timer_;
  Handler handler_;
  bool waits_ = false;
  bool isCancelled_ = false;
};

}  // namespace

Async<void> sleepUntil(Clock::Instant deadline, Clock* clock) { co_await SleepAwaiter(deadline, *clock); }

}  // namespace Tessaly::inline v1::detail
