// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <concepts>
#include <optional>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// The trait that checks whether a value of an optional type is absent; see `AnyOptional`.
///
/// Thread contract: thread-safe.
///
///     bool isAbsent = AnyOptionalTraits<std::optional<int>>::isNil(std::nullopt);
template <typename Value>
struct AnyOptionalTraits;

template <typename Wrapped>
struct AnyOptionalTraits<std::optional<Wrapped>> {
  [[nodiscard]] static constexpr bool isNil(const std::optional<Wrapped>& value) noexcept { return !value.has_value(); }
};

/// A type whose values can be absent: `std::optional`, and any type for which a host specialises `AnyOptionalTraits`.
template <typename Value>
concept AnyOptional = requires(const Value& value) {
  { AnyOptionalTraits<Value>::isNil(value) } -> std::same_as<bool>;
};

/// Whether the value is absent.
template <AnyOptional Value>
[[nodiscard]] constexpr bool isNil(const Value& value) noexcept {
  return AnyOptionalTraits<Value>::isNil(value);
}

}  // namespace Tessaly::inline v1
