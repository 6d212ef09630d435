// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstdint>
#include <ctime>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// If the word has the value, sleeps until `futexWake` wakes this thread. May return early, so callers must test the
/// word again.
TESSALY_EXPORT void futexWait(const std::atomic<std::uint32_t>& word, std::uint32_t value) noexcept;

/// Like `futexWait`, but sleeps for at most `nanoseconds`. Returns false if that time has elapsed.
TESSALY_EXPORT bool futexWaitFor(const std::atomic<std::uint32_t>& word, std::uint32_t value,
                                 std::int64_t nanoseconds) noexcept;

/// Wakes at most `count` threads that sleep on the word. The word may have been destroyed, because `futexWake` uses
/// only the word's address.
TESSALY_EXPORT void futexWake(const std::atomic<std::uint32_t>& word, int count) noexcept;

/// Tells the processor that the caller is in a spin loop.
inline void pauseProcessor() noexcept {
#if defined(__x86_64__) || defined(__i386__)
  __builtin_ia32_pause();
#elif defined(__aarch64__)
  asm volatile("yield" ::: "memory");
#endif
}

}  // namespace Tessaly::inline v1::detail
