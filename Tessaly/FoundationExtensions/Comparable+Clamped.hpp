// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <algorithm>
#include <concepts>
#include <type_traits>

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

/// The same for a number of another type, every one of which the type of the range has: an `int` and a range of 64-bit
/// integers, for example.
///
/// Thread contract: thread-safe.
template <std::totally_ordered T, typename Value>
  requires(std::is_arithmetic_v<T> && std::is_arithmetic_v<Value> && !std::same_as<Value, T>) &&
          requires(const Value& value) { T{value}; }
[[nodiscard]] constexpr T clamped(const Value& value, const ClosedRange<T>& range) {
  return clamped(T{value}, range);
}

}  // namespace Tessaly::inline v1::Comparable
