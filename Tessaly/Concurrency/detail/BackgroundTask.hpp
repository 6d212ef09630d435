// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1::detail {

/// Starts work of a stream at the default priority and without isolation, independent of the caller. The work is never
/// awaited or cancelled.
template <typename Operation>
void startBackgroundTask(Operation operation) {
  Task<>({.priority = TaskPriority::medium, .isolation = Isolation()}, std::move(operation));
}

}  // namespace Tessaly::inline v1::detail
