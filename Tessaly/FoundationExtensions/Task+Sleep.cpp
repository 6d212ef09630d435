// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <limits>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/FoundationExtensions/Task+Sleep.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr auto longest = static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max());

[[noreturn]] void stop(bool isNegative, unsigned line) noexcept {
  fatalError(isNegative ? "The time to sleep is negative" : "The nanoseconds to sleep do not fit in 64 bits",
             "Tessaly/Task+Sleep", line);
}

std::chrono::nanoseconds clampedDuration(std::uint64_t nanoseconds) noexcept {
  return std::chrono::nanoseconds(static_cast<std::int64_t>(std::min(nanoseconds, longest)));
}

}  // namespace

std::chrono::nanoseconds detail::SleepDuration::of(std::uint64_t count, std::uint64_t nanosecondsEach) noexcept {
  std::uint64_t nanoseconds = 0;
  // A count in the upper half is a negative number that was converted to unsigned. No caller means to sleep that long.
  if (__builtin_mul_overflow(count, nanosecondsEach, &nanoseconds)) stop(count > longest, __LINE__);
  return clampedDuration(nanoseconds);
}

std::chrono::nanoseconds detail::SleepDuration::of(double seconds) noexcept {
  const double nanoseconds = seconds * 1e9;
  if (!std::isfinite(nanoseconds) || nanoseconds <= -1 || nanoseconds >= 0x1p64) stop(nanoseconds < 0, __LINE__);
  return clampedDuration(static_cast<std::uint64_t>(std::max(nanoseconds, 0.0)));
}

}  // namespace Tessaly::inline v1
