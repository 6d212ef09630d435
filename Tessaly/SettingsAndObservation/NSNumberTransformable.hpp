// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <concepts>
#include <cstdint>

#include "Tessaly/Core/Foundation/NSNumber.hpp"

namespace Tessaly::inline v1 {

/// The conversion of a type to and from `NSNumber`; see `NSNumberTransformable`.
///
/// Thread contract: thread-safe.
///
///     std::int16_t wrapped = NSNumberTransformableTraits<std::int16_t>::from(NSNumber(40'000));  // -25536
template <typename Value>
struct NSNumberTransformableTraits;

namespace detail {

/// A conversion that reads the number by calling its member function `unbox`. `unbox` converts every kind of `NSNumber`
/// to `Value`.
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

/// A number type that converts to and from `NSNumber`: a signed integer of 64 or 16 bits, `float` or `double`. The
/// conversion never fails. It truncates, clamps, wraps or rounds numbers as the functions of `NSNumber` do.
template <typename Value>
concept NSNumberTransformable = requires(const Value& value, const NSNumber& number) {
  { NSNumberTransformableTraits<Value>::nsNumber(value) } -> std::same_as<NSNumber>;
  { NSNumberTransformableTraits<Value>::from(number) } -> std::same_as<Value>;
};

/// The value as an `NSNumber`.
template <NSNumberTransformable Value>
[[nodiscard]] constexpr NSNumber nsNumber(const Value& value) noexcept {
  return NSNumberTransformableTraits<Value>::nsNumber(value);
}

}  // namespace Tessaly::inline v1
