// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1::detail {

/// Starts a stream's work in a task at medium priority and without isolation. The task inherits only the caller's
/// task-locals, and is never awaited or cancelled.
template <typename Operation>
void startBackgroundTask(Operation operation) {
  Task<>({.priority = TaskPriority::medium, .isolation = Isolation()}, std::move(operation));
}

}  // namespace Tessaly::inline v1::detail
