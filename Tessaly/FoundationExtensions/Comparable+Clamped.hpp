// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <algorithm>
#include <concepts>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Foundation/Range.hpp"

namespace Tessaly::inline v1::Comparable {

/// The value, or the bound of the range that is nearest to it. The nearest standard facility is `std::clamp`, which
/// takes two loose bounds and trusts their order. NaN becomes the lower bound.
///
/// Thread contract: thread-safe.
///
///     const int volume = Comparable::clamped(112, ClosedRange(0, 100));  // 100
template <std::totally_ordered T>
[[nodiscard]] constexpr T clamped(const T& value, const ClosedRange<T>& range) {
  return std::max(range.lowerBound(), std::min(value, range.upperBound()));
}

/// The same for a value of another type than the range's bounds: an integer of any size and sign, a number for a range
/// in floating point, a literal for a range of texts. A fraction and a range of integers do not compile, because a
/// fraction inside the range would be cut.
///
/// Thread contract: thread-safe.
template <std::totally_ordered T, std::convertible_to<T> Value>
  requires(!std::same_as<Value, T> && !(std::integral<T> && std::floating_point<Value>))
[[nodiscard]] constexpr T clamped(const Value& value, const ClosedRange<T>& range) {
  if constexpr (std::integral<T> && std::integral<Value>) {
    // Promoted, because characters and truth values are no integers for these comparisons.
    if (std::cmp_less(+value, +range.lowerBound())) return range.lowerBound();
    if (std::cmp_greater(+value, +range.upperBound())) return range.upperBound();
    return static_cast<T>(value);
  } else {
    return clamped(static_cast<T>(value), range);
  }
}
/// Write the range in floating point: `clamped(2.5, ClosedRange(0.0, 9.0))`.
template <std::integral T, std::floating_point Value>
T clamped(const Value& value, const ClosedRange<T>& range) = delete;

}  // namespace Tessaly::inline v1::Comparable

namespace Tessaly::inline v1 {
using Comparable::clamped;
}  // namespace Tessaly::inline v1
