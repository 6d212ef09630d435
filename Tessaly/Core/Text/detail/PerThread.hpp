// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

namespace Tessaly::inline v1::detail {

/// One value of a type for each thread, made at its first use there and destroyed after the thread's own C++ objects.
/// Should one of those still need it later, another is made and destroyed in its turn, so it can be used at any time.
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
