// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Logging/OSLogStore.hpp"

#include <chrono>
#include <string>

namespace Tessaly {

void showFailure(void (*show)(const std::string&), LogTime since) {
  try {
    const auto entries = OSLogStore::currentProcess().entries(since);
  } catch (const LogStoreUnavailableError& error) {
    show(error.localizedDescription());
  }
}

void readLastHour() {
  const auto store = OSLogStore::currentProcess();
  const auto lastHour = store.entries(std::chrono::system_clock::now() - std::chrono::hours(1));
}

}  // namespace Tessaly
