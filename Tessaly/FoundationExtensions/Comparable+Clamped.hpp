// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <algorithm>
#include <concepts>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Foundation/Range.hpp"

namespace Tessaly::inline v1::Comparable {

/// The value if the range contains it, otherwise the nearest bound of the range. NaN becomes the lower bound. The
/// nearest standard facility is `std::clamp`, which takes two bounds and does not check their order.
///
/// Thread contract: thread-safe.
///
///     const int volume = Comparable::clamped(112, ClosedRange(0, 100));  // 100
template <std::totally_ordered T>
[[nodiscard]] constexpr T clamped(const T& value, const ClosedRange<T>& range) {
  return std::max(range.lowerBound(), std::min(value, range.upperBound()));
}

/// `clamped` for a value whose type differs from the type of the range's bounds. For a range of integers, the value can
/// be an integer of any size and sign. For a range in floating point, it can be any number. For a range of texts, it
/// can be a literal. A floating-point value for a range of integers does not compile, because its fraction would be
/// lost.
///
/// Thread contract: thread-safe.
template <std::totally_ordered T, std::convertible_to<T> Value>
  requires(!std::same_as<Value, T> && !(std::integral<T> && std::floating_point<Value>))
[[nodiscard]] constexpr T clamped(const Value& value, const ClosedRange<T>& range) {
  if constexpr (std::integral<T> && std::integral<Value>) {
    // The values are promoted, because `std::cmp_less` and `std::cmp_greater` reject character types and `bool`.
    if (std::cmp_less(+value, +range.lowerBound())) return range.lowerBound();
    if (std::cmp_greater(+value, +range.upperBound())) return range.upperBound();
    return static_cast<T>(value);
  } else {
    return clamped(static_cast<T>(value), range);
  }
}
/// Deleted, because the fraction would be lost. Write a floating-point range: `clamped(2.5, ClosedRange(0.0, 9.0))`.
template <std::integral T, std::floating_point Value>
T clamped(const Value& value, const ClosedRange<T>& range) = delete;

}  // namespace Tessaly::inline v1::Comparable

namespace Tessaly::inline v1 {
using Comparable::clamped;
}  // namespace Tessaly::inline v1
