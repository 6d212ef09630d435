// SPDX-License-Identifier: MIT
#pragma once

#include "Tessaly/Core/Base/detail/FirstUse.hpp"
#include "Tessaly/Core/Base/detail/ThreadKey.hpp"

namespace Tessaly::inline v1::detail {

/// One value of a type for each thread. The first use on a thread makes it. It is destroyed after the C++ objects of
/// the thread. If the destructor of another per-thread value needs it after that, another value is made and destroyed
/// later. So it can be used at any time. Stops the process if the system has no more keys of threads.
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
          delete static_cast<Value*>(value);
          cached = nullptr;
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
