// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <cmath>
#include <concepts>
#include <type_traits>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1::FloatingPoint {

namespace detail {
template <std::floating_point T>
inline constexpr T epsilon = static_cast<T>(1e-5L);
}  // namespace detail

/// Whether the absolute value is less than 1e-5.
///
/// Thread contract: thread-safe.
template <std::floating_point T>
[[nodiscard]] bool isApproximatelyZero(T value) noexcept {
  return std::abs(value) < detail::epsilon<T>;
}

/// Whether two values are equal or differ by less than the tolerance. Infinities of the same sign are equal. NaN equals
/// nothing.
///
/// Thread contract: thread-safe.
template <std::floating_point T>
[[nodiscard]] bool isApproximatelyEqual(T value, std::type_identity_t<T> other,
                                        std::type_identity_t<T> tolerance) noexcept {
  return value == other || std::abs(value - other) < tolerance;
}

/// Whether two values are equal or differ by less than a relative tolerance. The tolerance is 1e-5 times the absolute
/// value of the first value, and at least 1e-5. So exchanging two large values may change the answer.
///
/// Thread contract: thread-safe.
///
///     const bool isSame = FloatingPoint::isApproximatelyEqual(100'000.0, 100'000.9);  // true
template <std::floating_point T>
[[nodiscard]] bool isApproximatelyEqual(T value, std::type_identity_t<T> other) noexcept {
  T tolerance = detail::epsilon<T> * std::abs(value);
  if (tolerance < detail::epsilon<T>) tolerance = detail::epsilon<T>;
  return isApproximatelyEqual(value, other, tolerance);
}

}  // namespace Tessaly::inline v1::FloatingPoint
