// SPDX-License-Identifier: MIT
#include "Tessaly/SettingsAndObservation/ResultProvider.hpp"

#include <chrono>

namespace Tessaly {

void showResultProvider() {
  const ResultProvider now([] { return std::chrono::system_clock::now(); });
  auto start = now.wrappedValue();
}

}  // namespace Tessaly
