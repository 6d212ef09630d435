// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Base/detail/Futex.hpp"

#include <linux/futex.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace Tessaly::inline v1::detail {

void futexWait(const std::atomic<std::uint32_t>& word, std::uint32_t value) noexcept {
  ::syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, nullptr, nullptr, 0);
}

bool futexWaitFor(const std::atomic<std::uint32_t>& word, std::uint32_t value, std::int64_t nanoseconds) noexcept {
  if (nanoseconds <= 0) return false;
  const timespec limit{static_cast<std::time_t>(nanoseconds / 1'000'000'000),
                       static_cast<long>(nanoseconds % 1'000'000'000)};
  return ::syscall(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, &limit, nullptr, 0) == 0 || errno != ETIMEDOUT;
}

void futexWake(const std::atomic<std::uint32_t>& word, int count) noexcept {
  ::syscall(SYS_futex, &word, FUTEX_WAKE_PRIVATE, count, nullptr, nullptr, 0);
}

}  // namespace Tessaly::inline v1::detail
