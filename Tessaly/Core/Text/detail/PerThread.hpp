// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

namespace Tessaly::inline v1::detail {

/// One value of a type for each thread. The first use on a thread makes it. It is destroyed after the C++ objects of
/// the thread. If one of those objects still needs it, another value is made and destroyed later. So it can be used at
/// any time.
///
/// Thread contract: thread-safe.
template <typename Value>
class PerThread {
 public:
  static Value& current() {
    static constinit thread_local Value* cached = nullptr;
    if (cached == nullptr) [[unlikely]] {
      static const pthread_key_t key = makeKey([](void* value) {
        delete static_cast<Value*>(value);
        cached = nullptr;
      });
      cached = new Value;
      ::pthread_setspecific(key, cached);
    }
    return *cached;
  }

 private:
  static pthread_key_t makeKey(void (*destructor)(void*)) noexcept {
    pthread_key_t key{};
    ::pthread_key_create(&key, destructor);
    return key;
  }
};

}  // namespace Tessaly::inline v1::detail
