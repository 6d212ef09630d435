// SPDX-License-Identifier: MIT
#include <chrono>

#include "Tessaly/Core/Tasks/BlockingWork.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

using namespace Tessaly;

/// Uses every kind of thread that the runtime has.
extern "C" [[gnu::visibility("default")]] int usePlugin(int value) {
  return syncWait(Task<int>({.isolation = Isolation()}, [value]() -> Async<int> {
                    co_await Task<>::sleep(std::chrono::milliseconds(1));
                    co_return co_await runBlocking([value] { return value + 1; });
                  }).value());
}
