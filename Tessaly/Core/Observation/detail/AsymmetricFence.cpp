// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Observation/detail/AsymmetricFence.hpp"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {
namespace {

#if defined(__SANITIZE_THREAD__)
constexpr bool isThreadSanitized = true;
#elif defined(__has_feature)
constexpr bool isThreadSanitized = __has_feature(thread_sanitizer);
#else
constexpr bool isThreadSanitized = false;
#endif

/// The system's support for a fence in all threads.
enum class Support : std::uint8_t { unknown, membarrier, none };

constinit std::atomic<Support> support{Support::unknown};

bool membarrier(int command) noexcept { return ::syscall(SYS_membarrier, command, 0, 0) == 0; }

Support findSupport() noexcept {
  return !isThreadSanitized && membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) ? Support::membarrier
                                                                                     : Support::none;
}

}  // namespace

bool AsymmetricFence::isAvailable() noexcept {
  Support known = support.load(std::memory_order_relaxed);
  if (known == Support::unknown) [[unlikely]] {
    known = findSupport();
    // Threads that arrive here at the same time get the same answer.
    support.store(known, std::memory_order_relaxed);
  }
  return known == Support::membarrier;
}

void AsymmetricFence::fenceAll() noexcept {
  std::atomic_thread_fence(std::memory_order_seq_cst);
  if (!isAvailable() || membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED)) return;
  // The child of a fork may have to register again.
  if (membarrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) && membarrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED)) return;
  fatalError("The kernel has withdrawn membarrier", "Tessaly/AsymmetricFence", __LINE__);
}

}  // namespace Tessaly::inline v1::detail
