// SPDX-License-Identifier: MIT
#pragma once

#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1::detail {

/// Moves the finished tasks out of a list. The caller must destroy them only after its last use of the list's owner.
/// The error of a failed task is an object of the host: its destructor may add a task to the list, or destroy the
/// owner.
[[nodiscard]] TESSALY_EXPORT std::vector<Task<>> takeFinished(std::vector<Task<>>& tasks);

/// Makes room for another task in a list of tasks that may still run. Before a full list grows, its finished tasks are
/// taken out and returned. The caller must destroy them by the rule of `takeFinished`. So the list has at most 16
/// entries, or twice the maximum number of simultaneously running tasks, whichever is more. Amortised O(1).
[[nodiscard]] TESSALY_EXPORT std::vector<Task<>> makeRoomForTask(std::vector<Task<>>& tasks);

/// A compile-time error for the mistake of adding `work()` where `[=] { return work(); }` is meant.
template <typename Result>
void refuseAsync() {
  static_assert(sizeof(AsyncAwaiter<Result>) == 0,
                "a task takes a function, not the Async of a call: write add([=] { return work(); })");
}

}  // namespace Tessaly::inline v1::detail
