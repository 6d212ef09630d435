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

/// Whether two values are equal, or differ by less than the tolerance. Two infinities of one sign are equal; NaN equals
/// nothing.
///
/// Thread contract: thread-safe.
template <std::floating_point T>
[[nodiscard]] bool isApproximatelyEqual(T value, std::type_identity_t<T> other,
                                        std::type_identity_t<T> tolerance) noexcept {
  return value == other || std::abs(value - other) < tolerance;
}

/// Whether two values are equal, or differ by less than a tolerance that grows with the first: a hundred-thousandth of
/// its absolute value, and at least 1e-5. Only the first counts, so exchanging large values may change the answer.
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
