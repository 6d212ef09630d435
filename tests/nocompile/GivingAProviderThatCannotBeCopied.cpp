// expected: no matching constructor
// SPDX-License-Identifier: MIT
#include <memory>
#include <utility>

#include "Tessaly/SettingsAndObservation/ResultProvider.hpp"

int provide() {
#ifdef ALLOWED
  auto number = std::make_shared<int>(7);
#else
  auto number = std::make_unique<int>(7);
#endif
  const Tessaly::ResultProvider<int> provider([number = std::move(number)] { return *number; });
  return provider.wrappedValue();
}
