// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/detail/AwaitedTasks.hpp"

#include <array>

#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"

namespace Tessaly::detail {

void start(const CheckedContinuation<>& continuation);

Async<void> snippet(Task<> first, Task<> second) {
  const AwaitedTasks awaited(std::array{first, second});
  co_await withCheckedContinuation<>([&](CheckedContinuation<> continuation) { start(continuation); });
}

}  // namespace Tessaly::detail
