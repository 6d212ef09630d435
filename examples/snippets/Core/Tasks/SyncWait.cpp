// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/SyncWait.hpp"

namespace Tessaly {

Async<int> runHost();

int main() {
  return syncWait([]() -> Async<int> { co_return co_await runHost(); });
}

}  // namespace Tessaly
