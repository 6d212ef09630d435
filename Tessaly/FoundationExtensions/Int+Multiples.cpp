// SPDX-License-Identifier: MIT
#include <cmath>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/FoundationExtensions/Int+Multiples.hpp"

namespace Tessaly::inline v1 {
namespace {

[[noreturn]] void stop(std::string_view message, unsigned line) noexcept {
  fatalError(message, "Tessaly/Int+Multiples", line);
}

std::int64_t product(std::int64_t left, std::int64_t right, unsigned line) noexcept {
  std::int64_t result = 0;
  if (__builtin_mul_overflow(left, right, &result)) stop("Arithmetic overflow in a multiple", line);
  return result;
}

}  // namespace

std::int64_t Int::detail::digits(std::int64_t value) noexcept {
  std::int64_t count = value < 0 ? 2 : 1;
  while ((value /= 10) != 0) ++count;
  return count;
}

std::int64_t Int::detail::nearestMultiple(std::int64_t value, std::int64_t divisor) noexcept {
  if (divisor == -1) return value;
  const double quotient = std::round(static_cast<double>(value) / static_cast<double>(divisor));
  if (!std::isfinite(quotient)) stop("The nearest multiple of 0 is not defined", __LINE__);
  if (quotient < -0x1p63 || quotient >= 0x1p63) stop("The quotient does not fit in 64 bits", __LINE__);
  return product(static_cast<std::int64_t>(quotient), divisor, __LINE__);
}

std::int64_t Int::detail::nearestUpMultiple(std::int64_t value, std::int64_t divisor) noexcept {
  if (divisor == -1) return value;
  if (divisor == 0) {
    if (value == 0) return value;
    stop("Division by zero", __LINE__);
  }
  const std::int64_t quotient = value / divisor;
  if (quotient * divisor == value) return value;
  return product(quotient + 1, divisor, __LINE__);
}

std::int64_t Int::detail::nearestTowardZeroMultiple(std::int64_t value, std::int64_t divisor) noexcept {
  if (divisor == -1) return value;
  if (divisor == 0) {
    if (value == 0) return value;
    stop("Division by zero", __LINE__);
  }
  return value / divisor * divisor;
}

}  // namespace Tessaly::inline v1
