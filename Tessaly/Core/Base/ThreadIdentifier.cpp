// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/ThreadIdentifier.hpp"

#include <pthread.h>
#include <unistd.h>

#include <atomic>

namespace Tessaly::inline v1::detail {
namespace {

constinit std::atomic<bool> isForgottenByForks{false};

}  // namespace

__thread std::uint32_t cachedThreadIdentifier [[gnu::tls_model("initial-exec")]] = 0;

std::uint32_t fetchThreadIdentifier() noexcept {
  // Not a static local: the child of a fork in the middle of its initialisation would wait for ever. If two threads
  // come here at once, the handler is there twice and does no harm.
  if (!isForgottenByForks.load(std::memory_order_acquire)) {
    ::pthread_atfork(nullptr, nullptr, [] { cachedThreadIdentifier = 0; });
    isForgottenByForks.store(true, std::memory_order_release);
  }
  return cachedThreadIdentifier = static_cast<std::uint32_t>(::gettid());
}

}  // namespace Tessaly::inline v1::detail
