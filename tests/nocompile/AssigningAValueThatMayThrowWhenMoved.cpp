// expected: invalid reference to function 'assignWithLock': constraints not satisfied
// SPDX-License-Identifier: MIT
#include "Tessaly/Concurrency/Mutex.hpp"

struct Value {
  Value() = default;
#ifdef ALLOWED
  Value(Value&&) noexcept {}
#else
  Value(Value&&) {}
#endif
};

void assign(Tessaly::Mutex<Value>& mutex) { mutex.assignWithLock(Value()); }
