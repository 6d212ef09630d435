// SPDX-License-Identifier: MIT
#include <cstdio>
#include <string>

#include "Tessaly/Core/Base/Error.hpp"
#include "Tessaly/Core/Tasks/SyncWait.hpp"
#include "Tessaly/Core/Tasks/Task.hpp"

namespace {

Tessaly::Async<std::string> caught() {
  try {
    throw Tessaly::CancellationError();
  } catch (const Tessaly::Error& error) {
    co_return std::string("a host caught ") + error.what();
  }
}

}  // namespace

// A coroutine of the host that runs as a task of the library.
int main() {
  const Tessaly::Task<std::string> task({.isolation = Tessaly::Isolation()}, [] { return caught(); });
  std::puts(Tessaly::syncWait(task.value()).c_str());
}
