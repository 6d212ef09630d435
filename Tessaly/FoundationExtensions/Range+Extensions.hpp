// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <concepts>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Range.hpp"

namespace Tessaly::inline v1 {

namespace detail {

[[noreturn]] TESSALY_EXPORT void stopRangeOverflow() noexcept;

template <typename Bound>
concept Additive = requires(const Bound& left, const Bound& right) {
  { left + right } -> std::convertible_to<Bound>;
  { left - right } -> std::convertible_to<Bound>;
};

template <Additive Bound>
[[nodiscard]] constexpr Bound widthOf(const Bounds<Bound>& range) {
  if constexpr (std::integral<Bound>) {
    Bound width{};
    if (__builtin_sub_overflow(range.upperBound(), range.lowerBound(), &width)) stopRangeOverflow();
    return width;
  } else {
    return range.upperBound() - range.lowerBound();
  }
}

}  // namespace detail

/// The upper bound minus the lower bound. Stops the process if `Bound` is an integer type that cannot hold the result.
///
/// Thread contract: thread-safe.
///
///     const int years = width(Range(1969, 2023));  // 54
template <detail::Additive Bound>
[[nodiscard]] constexpr Bound width(const Range<Bound>& range) {
  return detail::widthOf(range);
}

/// The upper bound minus the lower bound. Stops the process if `Bound` is an integer type that cannot hold the result.
///
/// Thread contract: thread-safe.
template <detail::Additive Bound>
[[nodiscard]] constexpr Bound width(const ClosedRange<Bound>& range) {
  return detail::widthOf(range);
}

}  // namespace Tessaly::inline v1
