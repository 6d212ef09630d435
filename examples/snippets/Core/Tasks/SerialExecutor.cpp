// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"

#include <string>
#include <vector>

#include "Tessaly/Core/Tasks/WithIsolation.hpp"

namespace Tessaly {

Async<void> snippet(std::vector<std::string>& entries, std::string entry) {
  Isolation storage = Isolation::serial();
  co_await withIsolation(storage, [&] { entries.push_back(entry); });
}

}  // namespace Tessaly
