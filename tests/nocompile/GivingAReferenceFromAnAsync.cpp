// expected: an asynchronous function returns a value: a reference could dangle
// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Tasks/Async.hpp"

#ifdef ALLOWED
Tessaly::Async<int> give(int value) { co_return value; }
#else
Tessaly::Async<int&> give(int& value) { co_return value; }
#endif
