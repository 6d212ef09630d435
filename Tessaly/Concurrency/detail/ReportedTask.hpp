// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <new>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/IsAsync.hpp"
#include "Tessaly/Core/Tasks/Coroutines.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1::detail {

/// A task of a list that the host does not see. If the task fails, and no other task has received the error by
/// `value()`, it writes one log record: at its end if only the list refers to it then, else with its last handle, or
/// when the owner of the list asks for it. A `CancellationError` is not reported.
class TESSALY_EXPORT ReportedTask : public TaskState<void> {
 public:
  /// Called when no other task is expected to receive the error.
  void reportUnreadError() noexcept;

 protected:
  using TaskState::TaskState;
  ~ReportedTask() override;
  void didComplete() noexcept override;
};

/// The same for a finished task of `makeReportedTask`. The thread that ran the task may still refer to it.
inline void reportUnreadError(const Task<>& task) noexcept {
  static_cast<ReportedTask&>(TaskAccess::record(task)).reportUnreadError();
}

/// The layout of a closure, and the functions by which a reported task uses it. The tasks of all closures are one
/// class, which is in the library. So a host compiles only these functions for each closure.
struct ClosureKind {
  std::size_t size;
  std::size_t alignment;
  bool returnsAsync;
  /// Makes the closure at `place` from a `GivenOperation`.
  void (*construct)(void* place, void* given);
  /// Calls the closure. Returns the coroutine of its `Async`, or null.
  std::coroutine_handle<AsyncPromise<void>> (*call)(void* closure);
  void (*destroy)(void* closure) noexcept;
};

/// An operation on its way to the task that keeps it.
template <typename Operation>
struct GivenOperation {
  using Closure = std::decay_t<Operation>;

  static void construct(void* place, void* given) {
    ::new (place) Closure(static_cast<Operation&&>(static_cast<GivenOperation*>(given)->operation));
  }
  static std::coroutine_handle<AsyncPromise<void>> call(void* closure) {
    if constexpr (returnsAsync) {
      return (*static_cast<Closure*>(closure))().release();
    } else {
      (*static_cast<Closure*>(closure))();
      return nullptr;
    }
  }
  static void destroy(void* closure) noexcept { static_cast<Closure*>(closure)->~Closure(); }

  static constexpr bool returnsAsync = isAsync<decltype(std::declval<Closure&>()())>;
  static constexpr ClosureKind kind{sizeof(Closure), alignof(Closure), returnsAsync, construct, call, destroy};

  Operation&& operation;
};

/// Makes a reported task, which inherits the caller's task-locals and has not started. `given` points to a
/// `GivenOperation` of this kind. One allocation holds the task and the closure.
[[nodiscard]] TESSALY_EXPORT TaskState<void>* makeReportedTask(TaskPriority priority, Isolation&& isolation,
                                                               const ClosureKind& kind, void* given);

}  // namespace Tessaly::inline v1::detail
