// SPDX-License-Identifier: MIT
// Component: Tessaly::Foundation
#pragma once

#include <concepts>
#include <cstddef>
#include <functional>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1 {

namespace detail {

[[noreturn]] TESSALY_EXPORT void stopUnorderedRange(std::string_view kind) noexcept;

/// The common base class of `Range` and `ClosedRange`.
template <typename Bound>
class Bounds {
 public:
  [[nodiscard]] constexpr const Bound& lowerBound() const noexcept TESSALY_LIFETIMEBOUND { return lower_; }
  [[nodiscard]] constexpr const Bound& upperBound() const noexcept TESSALY_LIFETIMEBOUND { return upper_; }
  friend constexpr bool operator==(const Bounds&, const Bounds&) = default;

 protected:
  constexpr Bounds(Bound lower, Bound upper, std::string_view kind)
      : lower_(std::move(lower)), upper_(std::move(upper)) {
    if (!(lower_ <= upper_)) [[unlikely]]
      stopUnorderedRange(kind);
  }

 private:
  Bound lower_;
  Bound upper_;
};

}  // namespace detail

/// The values from a lower bound up to, but not including, an upper bound. Bounds in the wrong order, or NaN, stop the
/// process.
///
/// A `Range` is a pair of bounds and not a sequence. For a sequence, use `std::views::iota`.
///
/// Thread contract: thread-compatible.
///
///     const Range seconds(1.5, 4.0);
///     const bool isLate = !seconds.contains(4.0);
template <std::totally_ordered Bound>
class Range : public detail::Bounds<Bound> {
 public:
  constexpr Range(Bound lowerBound, Bound upperBound)
      : detail::Bounds<Bound>(std::move(lowerBound), std::move(upperBound), "Range") {}

  [[nodiscard]] constexpr bool isEmpty() const { return this->lowerBound() == this->upperBound(); }
  [[nodiscard]] constexpr bool contains(const Bound& value) const {
    return this->lowerBound() <= value && value < this->upperBound();
  }
  friend constexpr bool operator==(const Range&, const Range&) = default;

  /// The range from `Bound{}` to `Bound{}`, for example from 0 to 0.
  [[nodiscard]] static constexpr Range zero() { return Range(Bound{}, Bound{}); }
};

/// The values from a lower bound up to and including an upper bound. A closed range has at least one value. Bounds in
/// the wrong order, or NaN, stop the process.
///
/// Thread contract: thread-compatible.
///
///     const ClosedRange percents(0, 100);
///     const bool isPercent = percents.contains(100);
template <std::totally_ordered Bound>
class ClosedRange : public detail::Bounds<Bound> {
 public:
  constexpr ClosedRange(Bound lowerBound, Bound upperBound)
      : detail::Bounds<Bound>(std::move(lowerBound), std::move(upperBound), "ClosedRange") {}

  [[nodiscard]] constexpr bool contains(const Bound& value) const {
    return this->lowerBound() <= value && value <= this->upperBound();
  }
  friend constexpr bool operator==(const ClosedRange&, const ClosedRange&) = default;

  /// The range from `Bound{}` to `Bound{}`, for example from 0 to 0.
  [[nodiscard]] static constexpr ClosedRange zero() { return ClosedRange(Bound{}, Bound{}); }
};

// The bounds become `std::string_view`, so string literals are compared by content, not by address.
Range(const char*, const char*) -> Range<std::string_view>;
ClosedRange(const char*, const char*) -> ClosedRange<std::string_view>;

}  // namespace Tessaly::inline v1
