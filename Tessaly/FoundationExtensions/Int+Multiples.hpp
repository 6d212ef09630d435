// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <concepts>
#include <cstdint>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Int {

/// An integer type whose values all fit in a signed integer of 64 bits.
template <typename T>
concept Fitting = std::integral<T> && !std::same_as<T, bool> && (std::signed_integral<T> || sizeof(T) < 8);

namespace detail {
[[nodiscard]] TESSALY_EXPORT std::int64_t digits(std::int64_t value) noexcept;
[[nodiscard]] TESSALY_EXPORT std::int64_t nearestMultiple(std::int64_t value, std::int64_t divisor) noexcept;
[[nodiscard]] TESSALY_EXPORT std::int64_t nearestUpMultiple(std::int64_t value, std::int64_t divisor) noexcept;
[[nodiscard]] TESSALY_EXPORT std::int64_t nearestTowardZeroMultiple(std::int64_t value, std::int64_t divisor) noexcept;
}  // namespace detail

/// The number of characters of the decimal text. A minus sign counts: -12 has 3 characters, 0 has 1.
///
/// Thread contract: thread-safe.
[[nodiscard]] std::int64_t digits(Fitting auto value) noexcept { return detail::digits(value); }

/// The multiple of `divisor` nearest to the value. If two multiples are equally near, the result is the one farther
/// from zero. The quotient is computed in double precision. So the result may be another multiple if the absolute value
/// of `value` is 2^52 or more. For the divisor -1, the result is the value itself.
///
/// Stops the process for the divisor 0 and on overflow.
///
/// Thread contract: thread-safe.
///
///     const std::int64_t width = Int::nearestMultiple(6, 4);  // 8
[[nodiscard]] std::int64_t nearestMultiple(Fitting auto value, Fitting auto divisor) noexcept {
  return detail::nearestMultiple(value, divisor);
}

/// The value if it is a multiple of `divisor`. Otherwise the quotient is truncated toward zero, increased by one, and
/// multiplied by `divisor`. So with a positive divisor, a negative value between two multiples skips the next higher
/// multiple. For example, -5 with 3 gives 0 instead of -3. For the divisor -1, the result is the value itself.
///
/// Stops the process on overflow, and for the divisor 0 unless the value is 0.
///
/// Thread contract: thread-safe.
[[nodiscard]] std::int64_t nearestUpMultiple(Fitting auto value, Fitting auto divisor) noexcept {
  return detail::nearestUpMultiple(value, divisor);
}

/// The quotient, truncated toward zero, times `divisor`. For the divisor -1, the result is the value itself.
///
/// Stops the process for the divisor 0, unless the value is 0.
///
/// Thread contract: thread-safe.
[[nodiscard]] std::int64_t nearestTowardZeroMultiple(Fitting auto value, Fitting auto divisor) noexcept {
  return detail::nearestTowardZeroMultiple(value, divisor);
}

}  // namespace Tessaly::inline v1::Int
