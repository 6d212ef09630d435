// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <concepts>

#include "Tessaly/Platform/Foundation/Range.hpp"

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

}  // namespace Tessaly::inline v1::Comparable
