// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <concepts>
#include <initializer_list>
#include <iterator>
#include <optional>
#include <ranges>

#include "Tessaly/Core/Foundation/Data.hpp"

namespace Tessaly::inline v1 {

/// The natural empty value of a type; see `Defaultable`. A type of a host may have a static `defaultValue()` instead of
/// a specialisation.
///
/// Thread contract: thread-safe.
///
///     std::vector<int> nothing = DefaultableTraits<std::vector<int>>::defaultValue();
template <typename Value>
struct DefaultableTraits;

namespace detail {

template <typename Value>
concept HasDefaultValue = requires {
  { Value::defaultValue() } -> std::same_as<Value>;
};

/// A collection that can insert and erase ranges of elements.
template <typename Value>
concept RangeReplaceable = std::ranges::forward_range<Value> && std::default_initializable<Value> &&
                           requires(Value& collection, std::ranges::iterator_t<const Value> position) {
                             collection.insert(position, position, position);
                             collection.erase(position, position);
                           };

template <typename Value>
concept ListInitializable = std::ranges::range<Value> &&
                            std::constructible_from<Value, std::initializer_list<std::ranges::range_value_t<Value>>>;

}  // namespace detail

template <detail::HasDefaultValue Value>
struct DefaultableTraits<Value> {
  [[nodiscard]] static Value defaultValue() { return Value::defaultValue(); }
};

template <typename Wrapped>
struct DefaultableTraits<std::optional<Wrapped>> {
  [[nodiscard]] static constexpr std::optional<Wrapped> defaultValue() noexcept { return std::nullopt; }
};

template <typename Collection>
  requires(!detail::HasDefaultValue<Collection>) &&
          (detail::RangeReplaceable<Collection> || detail::ListInitializable<Collection>)
struct DefaultableTraits<Collection> {
  [[nodiscard]] static Collection defaultValue() {
    if constexpr (std::default_initializable<Collection>) {
      return Collection();
    } else {
      return Collection(std::initializer_list<std::ranges::range_value_t<Collection>>());
    }
  }
};

template <>
struct DefaultableTraits<Data> {
  [[nodiscard]] static Data defaultValue() noexcept { return {}; }
};

/// A type with a natural empty value: an absent optional, an empty collection, or the `defaultValue()` of a host's
/// type. Numbers have no such value, because the natural value of a number depends on its use.
template <typename Value>
concept Defaultable = requires {
  { DefaultableTraits<Value>::defaultValue() } -> std::same_as<Value>;
};

/// The empty value of the type, such as an absent optional, an empty collection, or the result of
/// `Value::defaultValue()`.
template <Defaultable Value>
[[nodiscard]] constexpr Value defaultValue() {
  return DefaultableTraits<Value>::defaultValue();
}

}  // namespace Tessaly::inline v1
