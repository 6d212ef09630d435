// expected: no matching constructor
// SPDX-License-Identifier: MIT
#include <memory>
#include <utility>

#include "Tessaly/Concurrency/AsyncLazy.hpp"

void provide() {
#ifdef ALLOWED
  auto number = std::make_shared<int>(7);
#else
  auto number = std::make_unique<int>(7);
#endif
  const Tessaly::AsyncLazy<int> lazy([number = std::move(number)] { return *number; });
}
