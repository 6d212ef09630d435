// expected: invalid operands|no member named 'await_ready'|no viable|'this' argument|cannot be co_await
// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Tasks/Async.hpp"

using Tessaly::Async;

Async<int> await(Async<int> work) {
#ifdef ALLOWED
  co_return co_await std::move(work);
#else
  co_return co_await work;
#endif
}
