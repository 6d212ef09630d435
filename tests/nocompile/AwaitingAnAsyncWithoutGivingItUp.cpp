// expected: 'await_ready' is a private member
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Async.hpp"

using Tessaly::Async;

Async<int> await(Async<int> work) {
#ifdef ALLOWED
  co_return co_await std::move(work);
#else
  co_return co_await work;
#endif
}
