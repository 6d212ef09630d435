// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/ProcessLogStore.hpp"

#include <chrono>
#include <iostream>

#include "Tessaly/Core/Logging/OSLogStore.hpp"

namespace Tessaly {

void printMessages(LogTime since) {
  for (const auto& entry : OSLogStore::currentProcess().entries(since)) {
    if (!entry.signpost) std::cout << entry.category() << ": " << entry.composedMessage << '\n';
  }
}

void keepInStore(const LogRecord& record) {
  ProcessLogStore store(256 * 1024);
  store.append(record);
  const auto lastMinute = store.entries(std::chrono::system_clock::now() - std::chrono::minutes(1));
}

}  // namespace Tessaly
