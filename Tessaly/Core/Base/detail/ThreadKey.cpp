// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/detail/ThreadKey.hpp"

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1 {

pthread_key_t detail::makeThreadKey(void (*destructor)(void*)) noexcept {
  pthread_key_t key{};
  if (::pthread_key_create(&key, destructor) != 0) {
    fatalError("The process has no more keys for values of threads", "Tessaly/ThreadKey", __LINE__);
  }
  return key;
}

}  // namespace Tessaly::inline v1
