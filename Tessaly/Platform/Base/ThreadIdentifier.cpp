// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Base/ThreadIdentifier.hpp"

#include <pthread.h>
#include <unistd.h>

namespace Tessaly::inline v1::detail {

__thread std::uint32_t cachedThreadIdentifier [[gnu::tls_model("initial-exec")]] = 0;

std::uint32_t fetchThreadIdentifier() noexcept {
  [[maybe_unused]] static const int resetAfterFork =
      ::pthread_atfork(nullptr, nullptr, [] { cachedThreadIdentifier = 0; });
  return cachedThreadIdentifier = static_cast<std::uint32_t>(::gettid());
}

}  // namespace Tessaly::inline v1::detail
