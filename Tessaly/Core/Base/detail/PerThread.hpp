// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/ThreadKey.hpp"

namespace Tessaly::inline v1::detail {

/// One value of a type for each thread. The first use on a thread makes the value. When a thread ends, the thread's
/// value is destroyed after the thread's `thread_local` objects. The destructor of the value, or a destructor that runs
/// even later, may call `current()` again. Then a new value is made, and destroyed after that destructor. So a thread
/// can use its value at any time. Stops the process if the system has no more thread keys.
///
/// Thread contract: thread-safe.
template <typename Value>
class PerThread {
 public:
  static Value& current() {
    static constinit thread_local Value* cached = nullptr;
    if (cached == nullptr) [[unlikely]] {
      static constinit pthread_key_t key{};
      static constexpr auto makeKey = [] {
        key = makeThreadKey([](void* value) {
          cached = nullptr;  // The destructor of the value may need another value.
          delete static_cast<Value*>(value);
        });
        return &key;
      };
      cached = new Value;
      ::pthread_setspecific(madeOnce<makeKey>(), cached);
    }
    return *cached;
  }
};

}  // namespace Tessaly::inline v1::detail
