// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <concepts>
#include <cstdint>

#include "Tessaly/Core/Foundation/NSNumber.hpp"

namespace Tessaly::inline v1 {

/// How a value is boxed into an `NSNumber` and taken out of one; see `NSNumberTransformable`.
///
/// Thread contract: thread-safe.
///
///     std::int16_t wrapped = NSNumberTransformableTraits<std::int16_t>::from(NSNumber(40'000));  // -25536
template <typename Value>
struct NSNumberTransformableTraits;

namespace detail {

/// `unbox` takes the value out of a number that may be of another kind.
template <typename Value, Value (NSNumber::*unbox)() const noexcept>
struct NumberTransformation {
  [[nodiscard]] static constexpr NSNumber nsNumber(Value value) noexcept { return NSNumber(value); }
  [[nodiscard]] static constexpr Value from(const NSNumber& number) noexcept { return (number.*unbox)(); }
};

}  // namespace detail

template <>
struct NSNumberTransformableTraits<std::int64_t> : detail::NumberTransformation<std::int64_t, &NSNumber::integerValue> {
};
template <>
struct NSNumberTransformableTraits<std::int16_t> : detail::NumberTransformation<std::int16_t, &NSNumber::shortValue> {};
template <>
struct NSNumberTransformableTraits<float> : detail::NumberTransformation<float, &NSNumber::floatValue> {};
template <>
struct NSNumberTransformableTraits<double> : detail::NumberTransformation<double, &NSNumber::doubleValue> {};

/// A number that can be boxed and taken out of a box, which never fails: integers of 64 and 16 bits, and reals of
/// either precision. Taking out cuts and wraps as `NSNumber` says.
template <typename Value>
concept NSNumberTransformable = requires(const Value& value, const NSNumber& number) {
  { NSNumberTransformableTraits<Value>::nsNumber(value) } -> std::same_as<NSNumber>;
  { NSNumberTransformableTraits<Value>::from(number) } -> std::same_as<Value>;
};

/// The value boxed.
template <NSNumberTransformable Value>
[[nodiscard]] constexpr NSNumber nsNumber(const Value& value) noexcept {
  return NSNumberTransformableTraits<Value>::nsNumber(value);
}

}  // namespace Tessaly::inline v1
