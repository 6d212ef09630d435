// SPDX-License-Identifier: MIT
// Component: Tessaly::Tasks
#pragma once

#include <cstdint>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Durations.hpp"
#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/detail/TaskAwaiters.hpp"
#include "Tessaly/Core/Tasks/detail/TaskState.hpp"

namespace Tessaly::inline v1 {

namespace detail {
struct TaskAccess;
struct SleepDuration;  // Defined in FoundationExtensions/Task+Sleep.hpp.
}  // namespace detail

/// The options for starting a task. An absent option is inherited from the caller, with two exceptions. A detached task
/// inherits nothing, and a child of a task group inherits no isolation.
struct TaskOptions {
  std::optional<TaskPriority> priority = std::nullopt;
  std::optional<Isolation> isolation = std::nullopt;
};

/// A handle to asynchronous work.
///
/// The constructor only enqueues the work on an executor. The task inherits the caller's priority, isolation and
/// task-locals. A detached task inherits none of these. The operation is a callable that returns an `Async<T>` or a
/// plain `T`. The task keeps the callable and its captures until the work has ended. Cancellation is cooperative:
/// `cancel()` sets a flag for the work to check, and calls handlers. Destroying the handle neither cancels nor stops
/// the work. Copies refer to the same task.
///
/// The nearest standard facility is `std::async`, which blocks instead of suspending and cannot be cancelled.
///
/// Thread contract: thread-safe; the handle itself is thread-compatible.
///
///     Task<int> count([] { return countFiles("/usr/include"); });
///     show(co_await count.value());
template <typename T = void>
class Task {
 public:
  /// Starts the operation. One allocation for the task, one for the coroutine.
  template <detail::TaskOperation Operation>
  explicit Task(Operation&& operation)
      : state_(started(currentPriority(), Isolation::current(), detail::TaskLocalCopies::ofTheCaller,
                       std::forward<Operation>(operation))) {}
  template <detail::TaskOperation Operation>
  Task(TaskOptions options, Operation&& operation)
      : state_(started(options.priority.value_or(currentPriority()),
                       options.isolation ? std::move(*options.isolation) : Isolation::current(),
                       detail::TaskLocalCopies::ofTheCaller, std::forward<Operation>(operation))) {}

  /// A call of this overload does not compile, because a task must keep its function and its captures until the work
  /// has ended.
  template <typename Result>
  explicit Task(Async<Result>) {
    static_assert(false, "a Task takes a function, not the Async of a call: write Task task([=] { return work(); })");
  }

  /// Starts a task that inherits nothing. The task has no task-locals. Unless the options give other values, the task
  /// has medium priority and no isolation.
  template <detail::TaskOperation Operation>
  static Task detached(TaskOptions options, Operation&& operation) {
    return Task(started(options.priority.value_or(TaskPriority::medium),
                        std::move(options.isolation).value_or(Isolation()), detail::TaskLocalCopies::none,
                        std::forward<Operation>(operation)));
  }
  template <detail::TaskOperation Operation>
  static Task detached(Operation&& operation) {
    return detached(TaskOptions{}, std::forward<Operation>(operation));
  }

  /// Waits for the end of the task. Returns the result, or throws the exception of the operation. Raises the task's
  /// priority to that of the waiting task. Cancelling the waiting task neither cancels this task nor ends the wait. Any
  /// number of tasks may wait, at any time, and each gets a copy of the result. If `T` cannot be copied, the first wait
  /// takes the result, and a second wait stops the process.
  [[nodiscard]] Async<T> value() const { return valueOf(state_); }

  /// A use of this operator does not compile, because it would not say whether the result is wanted.
  template <typename Awaited = T>
  [[nodiscard]] std::suspend_never operator co_await() const {
    static_assert(false, "a Task is not awaited itself: write co_await task.value(), or task.finished() to only wait");
    return {};
  }

  /// Waits for the end of the task. Does not throw if the task fails.
  [[nodiscard]] Async<void> finished() const { return endOf(state_); }

  /// Requests cancellation: sets the flag, and calls the installed handlers on this thread before `cancel()` returns.
  /// Later calls do nothing. Has no effect after the task has ended. In a forked child process, has no effect on a task
  /// of the parent process. Handlers may cancel further tasks. A call of `cancel()` that is nested more than 64 levels
  /// deep only sets the flag of its task. The outermost call later calls that task's handlers.
  void cancel() const noexcept { state_->cancel(); }
  [[nodiscard]] bool isCancelled() const noexcept { return state_->isCancelled(); }
  /// Whether the work has ended.
  [[nodiscard]] bool isFinished() const noexcept { return state_->isDone(); }
  [[nodiscard]] TaskPriority priority() const noexcept { return state_->priority(); }

  /// Whether both handles refer to the same task.
  friend bool operator==(const Task&, const Task&) noexcept = default;

  /// Whether the current task is cancelled. False outside any task.
  [[nodiscard]] static bool isCurrentCancelled() noexcept {
    const auto* task = detail::threadState.task;
    return task != nullptr && task->isCancelled();
  }
  /// Throws `CancellationError` if the current task is cancelled.
  static void checkCancellation() {
    if (isCurrentCancelled()) throw CancellationError();
  }
  /// The current task's priority. `medium` outside any task.
  [[nodiscard]] static TaskPriority currentPriority() noexcept {
    const auto* task = detail::threadState.task;
    return task != nullptr ? task->priority() : TaskPriority::medium;
  }

  /// Lets other waiting work of the executor run first, and then continues.
  [[nodiscard]] static auto yield() noexcept { return detail::YieldAwaiter(); }

  /// Waits on a clock for at least the given time. Throws `CancellationError` at once if the current task is cancelled
  /// before or during the wait.
  [[nodiscard]] static Async<void> sleep(std::chrono::nanoseconds duration, Clock& clock = ContinuousClock::shared()) {
    return sleepUntil(clock.after(duration), clock);
  }
  [[nodiscard]] static Async<void> sleepUntil(Clock::Instant deadline, Clock& clock = ContinuousClock::shared()) {
    return detail::sleepUntil(deadline, &clock);
  }

  /// Like `sleep`, for a number of microseconds, milliseconds or seconds. Fractions of a nanosecond are truncated. NaN,
  /// a negative time, and 2^64 ns (584 years) or more stop the process. Between 2^63 ns (292 years) and 2^64 ns, the
  /// task sleeps until it is cancelled. Callers must include Tessaly/FoundationExtensions/Task+Sleep.hpp.
  template <typename Definition = detail::SleepDuration>
  [[nodiscard]] static Async<void> sleepMicroSeconds(std::uint64_t microSeconds,
                                                     Clock& clock = ContinuousClock::shared()) {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/Task+Sleep.hpp");
    return sleep(Definition::of(microSeconds, 1'000), clock);
  }
  template <typename Definition = detail::SleepDuration>
  [[nodiscard]] static Async<void> sleepMilliSeconds(std::uint64_t milliSeconds,
                                                     Clock& clock = ContinuousClock::shared()) {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/Task+Sleep.hpp");
    return sleep(Definition::of(milliSeconds, 1'000'000), clock);
  }
  template <typename Definition = detail::SleepDuration>
  [[nodiscard]] static Async<void> sleepSeconds(double seconds, Clock& clock = ContinuousClock::shared()) {
    static_assert(requires { sizeof(Definition); }, "include Tessaly/FoundationExtensions/Task+Sleep.hpp");
    return sleep(Definition::of(seconds), clock);
  }

 private:
  friend struct detail::TaskAccess;
  using State = detail::TaskState<T>;

  explicit Task(Retained<State> state) noexcept : state_(std::move(state)) {}

  /// Makes a task that has not started.
  template <typename Operation>
  static State* make(TaskPriority priority, Isolation&& isolation, detail::TaskLocalCopies copies,
                     Operation&& operation) {
    using Closure = std::decay_t<Operation>;
    static_assert(std::is_same_v<detail::OperationResult<Closure>, T>, "the operation must give the task's result");
    return new detail::ClosureTask<T, Closure>(std::forward<Operation>(operation), priority, std::move(isolation),
                                               copies);
  }
  template <typename Operation>
  static Retained<State> started(TaskPriority priority, Isolation&& isolation, detail::TaskLocalCopies copies,
                                 Operation&& operation) {
    auto state =
        Retained<State>::adopt(make(priority, std::move(isolation), copies, std::forward<Operation>(operation)));
    state->start();
    return state;
  }

  static Async<T> valueOf(Retained<State> state) {
    co_await detail::CompletionAwaiter(*state);
    if constexpr (std::is_void_v<T>) {
      state->read().get();
    } else if constexpr (std::is_copy_constructible_v<T>) {
      co_return state->outcome().get();
    } else {
      co_return state->takeOnce();
    }
  }
  static Async<void> endOf(Retained<State> state) { co_await detail::CompletionAwaiter(*state); }

  Retained<State> state_;
};

namespace detail {
/// Gives the library the task record to which a handle refers, and starts a task that the library has made.
struct TaskAccess {
  /// Starts a new task.
  static Task<> start(Retained<TaskState<void>> task) noexcept {
    task->start();
    return Task<>(std::move(task));
  }
  template <typename T>
  static TaskRecord& record(const Task<T>& task) noexcept {
    return *task.state_;
  }
};
}  // namespace detail

template <typename Operation>
Task(Operation) -> Task<detail::OperationResult<Operation>>;
template <typename Result>
Task(Async<Result>) -> Task<Result>;
template <typename Operation>
Task(TaskOptions, Operation) -> Task<detail::OperationResult<Operation>>;

}  // namespace Tessaly::inline v1
