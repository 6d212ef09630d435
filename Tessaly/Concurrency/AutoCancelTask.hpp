// SPDX-License-Identifier: MIT
// Component: Tessaly::Concurrency
#pragma once

#include <functional>
#include <optional>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1 {

/// A handle that is the only owner of a running task: the handle's destructor cancels the task.
///
/// A plain `Task` continues when its handle is destroyed. Cancellation is cooperative, and the destructor does not wait
/// for the task's end. So the operation must own everything that it uses: a `catch` block, or the code after the last
/// wait, may run long after the handle was destroyed. **An operation that captures `this` belongs in an `OwnedTasks`**
/// member of the captured object. Then no statement of the operation runs in the isolation of the `OwnedTasks` after
/// the object's destruction. The only exception is an operation that itself destroys the object.
///
/// The task's result and error are discarded. The handle can be moved but not copied.
///
/// Stops the process: `cancel()`, `isCancelled()` or `store()` after a move.
///
/// Thread contract: thread-compatible.
///
///     class Thumbnails {
///       void show(Photo photo) {
///         AutoCancelTask<>([=] { return load(photo); }).store(loading_);
///       }
///       std::vector<AutoCancelTask<>> loading_;  // The last tasks are cancelled with their owner.
///     };
template <typename T = void>
class [[nodiscard("the task is cancelled when this handle is destroyed")]] AutoCancelTask {
 public:
  /// Starts a task with the operation, at the caller's priority and in the caller's isolation. The operation is a
  /// callable that returns an `Async<T>` or a `T`. The task keeps the operation; this handle does not.
  template <typename Operation>
    requires std::is_invocable_v<std::decay_t<Operation>&>
  explicit AutoCancelTask(Operation&& operation) : AutoCancelTask(std::nullopt, std::forward<Operation>(operation)) {}
  /// Starts a task with the operation, at the given priority and in the caller's isolation. `std::nullopt` means the
  /// caller's priority.
  template <typename Operation>
    requires std::is_invocable_v<std::decay_t<Operation>&>
  AutoCancelTask(std::optional<TaskPriority> priority, Operation&& operation)
      : task_(std::in_place, TaskOptions{.priority = priority}, std::forward<Operation>(operation)) {}
  AutoCancelTask(const AutoCancelTask&) = delete;
  AutoCancelTask& operator=(const AutoCancelTask&) = delete;
  AutoCancelTask(AutoCancelTask&& other) noexcept : task_(std::exchange(other.task_, std::nullopt)) {}
  /// Cancels the task that this handle owned before.
  AutoCancelTask& operator=(AutoCancelTask&& other) noexcept {
    AutoCancelTask moved(std::move(other));
    std::swap(task_, moved.task_);
    return *this;
  }
  ~AutoCancelTask() {
    if (task_) task_->cancel();
  }

  /// Requests cancellation. The handle stays valid.
  void cancel() const noexcept { task().cancel(); }
  /// Whether cancellation has been requested.
  [[nodiscard]] bool isCancelled() const noexcept { return task().isCancelled(); }

  /// Moves the task into a collection, which cancels all of its tasks when the collection is emptied or destroyed. This
  /// handle is moved-from afterwards.
  void store(std::vector<AutoCancelTask>& tasks) {
    static_cast<void>(task());
    tasks.push_back(std::move(*this));
  }

 private:
  const Task<T>& task() const noexcept TESSALY_LIFETIMEBOUND {
    if (!task_) [[unlikely]]
      fatalError("An AutoCancelTask was used after it had been moved from", "Tessaly/AutoCancelTask", __LINE__);
    return *task_;
  }

  /// Empty after a move.
  std::optional<Task<T>> task_;
};

template <typename Operation>
AutoCancelTask(Operation) -> AutoCancelTask<detail::AsyncInvokeResult<Operation&>>;
template <typename Priority, typename Operation>
AutoCancelTask(Priority, Operation) -> AutoCancelTask<detail::AsyncInvokeResult<Operation&>>;

}  // namespace Tessaly::inline v1
