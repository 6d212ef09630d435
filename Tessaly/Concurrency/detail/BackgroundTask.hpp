// SPDX-License-Identifier: MIT
#pragma once

#include <utility>

#include "Tessaly/Core/Tasks/Task.hpp"

namespace Tessaly::inline v1::detail {

/// Starts work of a stream's own: at the default priority and without isolation, whoever asked for it. Nobody waits for
/// it or cancels it.
template <typename Operation>
void startBackgroundTask(Operation operation) {
  Task<>({.priority = TaskPriority::medium, .isolation = Isolation()}, std::move(operation));
}

}  // namespace Tessaly::inline v1::detail
