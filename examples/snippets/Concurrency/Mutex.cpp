// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/Mutex.hpp"

#include <set>
#include <string>

namespace Tessaly {

void showMutex() {
  Mutex<std::set<std::string>> listeners({});
  listeners.withLock([](auto& set) { set.insert("window"); });
  auto snapshot = listeners.withLock([](auto& set) { return set; });
}

}  // namespace Tessaly
