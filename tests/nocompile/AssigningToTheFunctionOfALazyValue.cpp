// expected: no viable overloaded '='
// SPDX-License-Identifier: MIT
#include <functional>

#include "Tessaly/Concurrency/AsyncLazy.hpp"

void assign(const Tessaly::AsyncLazy<int>& lazy, const std::function<Tessaly::Async<int>()>& function) {
#ifdef ALLOWED
  std::function<Tessaly::Async<int>()> former = lazy.wrappedValue();
  former = function;
#else
  lazy.wrappedValue() = function;
#endif
}
