// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/WithIsolation.hpp"

#include <string>
#include <vector>

namespace Tessaly {

Async<std::size_t> snippet(Isolation storage, std::vector<std::string>& entries) {
  std::size_t count = co_await withIsolation(storage, [&] { return entries.size(); });
  co_return count;
}

}  // namespace Tessaly
