// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <concepts>
#include <map>
#include <optional>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/URL.hpp"
#include "Tessaly/SettingsAndObservation/RawValues.hpp"
#include "Tessaly/SettingsAndObservation/UserDefaultsValue.hpp"

namespace Tessaly::inline v1 {

/// The conversion of a type to and from a type that the settings store holds; see `UserDefaultsValueTransformable`. A
/// host's class may have the two conversions as members. For any other type, a host may specialise this template.
///
/// Thread contract: thread-safe.
///
///     using URLs = UserDefaultsValueTransformableTraits<URL>;
///     std::string stored = URLs::transformToUserDefaultValue(*URL::from("file:///tmp/a%20b.txt"));  // "/tmp/a b.txt"
///     std::optional<URL> read = URLs::from(stored);
template <typename Value>
struct UserDefaultsValueTransformableTraits;

/// A type whose values can be stored as settings: a type that the store holds directly, an enumeration with
/// `rawValues`, or `URL`. Vectors, maps with text keys, and optionals of such values can be stored too. A class with
/// two conversions can also be stored:
///
///     struct Size {
///       using StoredValue = std::vector<double>;
///       static std::optional<Size> from(StoredValue stored) {
///         if (stored.size() != 2) return std::nullopt;
///         return Size{stored[0], stored[1]};
///       }
///       StoredValue transformToUserDefaultValue() const { return {width, height}; }
///
///       double width;
///       double height;
///     };
///
/// `from` returns `std::nullopt` for a stored value that has no counterpart in the type. A read of a vector or map
/// omits elements without a counterpart, and keeps all other elements. The stored form of a `URL` is only its path. A
/// read parses this path as a relative URL, so the scheme and the host are lost.
template <typename Value>
concept UserDefaultsValueTransformable =
    requires(const Value& value, typename UserDefaultsValueTransformableTraits<Value>::StoredValue stored) {
      requires UserDefaultsValue<typename UserDefaultsValueTransformableTraits<Value>::StoredValue>;
      { UserDefaultsValueTransformableTraits<Value>::from(std::move(stored)) } -> std::same_as<std::optional<Value>>;
      {
        UserDefaultsValueTransformableTraits<Value>::transformToUserDefaultValue(value)
      } -> std::convertible_to<typename UserDefaultsValueTransformableTraits<Value>::StoredValue>;
    };

/// The type in which the settings store holds a `Value`.
template <UserDefaultsValueTransformable Value>
using StoredValue = typename UserDefaultsValueTransformableTraits<Value>::StoredValue;

/// Converts a value to the type in which the settings store holds it.
template <UserDefaultsValueTransformable Value>
[[nodiscard]] StoredValue<Value> transformToUserDefaultValue(const Value& value) {
  return UserDefaultsValueTransformableTraits<Value>::transformToUserDefaultValue(value);
}

namespace detail {

template <typename Value>
concept NativeScalar = NativeNumber<Value> || OneOf<Value, std::string, Date, Data>;

template <typename Value>
concept HasTransformation = requires(const Value& value, typename Value::StoredValue stored) {
  { Value::from(std::move(stored)) } -> std::same_as<std::optional<Value>>;
  { value.transformToUserDefaultValue() } -> std::convertible_to<typename Value::StoredValue>;
};

/// The conversion of a map with text keys to and from the map type `Stored`.
template <typename Map, typename Stored>
struct DictionaryTransformation {
  using Element = UserDefaultsValueTransformableTraits<typename Map::mapped_type>;
  using StoredValue = Stored;

  [[nodiscard]] static std::optional<Map> from(StoredValue stored) {
    std::optional<Map> map(std::in_place);
    for (auto& [key, value] : stored) {
      if (auto element = Element::from(std::move(value))) map->emplace(key, *std::move(element));
    }
    return map;
  }
  [[nodiscard]] static StoredValue transformToUserDefaultValue(const Map& map) {
    StoredValue stored;
    for (const auto& [key, value] : map) stored.emplace(key, Element::transformToUserDefaultValue(value));
    return stored;
  }
};

}  // namespace detail

template <detail::NativeScalar Value>
struct UserDefaultsValueTransformableTraits<Value> {
  using StoredValue = Value;
  [[nodiscard]] static std::optional<Value> from(StoredValue stored) { return stored; }
  [[nodiscard]] static StoredValue transformToUserDefaultValue(const Value& value) { return value; }
};

template <detail::HasTransformation Value>
struct UserDefaultsValueTransformableTraits<Value> {
  using StoredValue = typename Value::StoredValue;
  [[nodiscard]] static std::optional<Value> from(StoredValue stored) { return Value::from(std::move(stored)); }
  [[nodiscard]] static StoredValue transformToUserDefaultValue(const Value& value) {
    return value.transformToUserDefaultValue();
  }
};

template <RawRepresentable Value>
struct UserDefaultsValueTransformableTraits<Value> {
  using StoredValue = typename std::remove_cvref_t<decltype(rawValues<Value>)>::RawValue;
  [[nodiscard]] static std::optional<Value> from(const StoredValue& stored) { return rawValues<Value>.value(stored); }
  [[nodiscard]] static StoredValue transformToUserDefaultValue(Value value) { return rawValues<Value>.rawValue(value); }
};

template <>
struct UserDefaultsValueTransformableTraits<URL> {
  using StoredValue = std::string;
  [[nodiscard]] static std::optional<URL> from(const StoredValue& stored) { return URL::from(stored); }
  [[nodiscard]] static StoredValue transformToUserDefaultValue(const URL& url) { return url.path(); }
};

template <UserDefaultsValueTransformable Element>
struct UserDefaultsValueTransformableTraits<std::vector<Element>> {
  using Elements = UserDefaultsValueTransformableTraits<Element>;
  using StoredValue = std::vector<typename Elements::StoredValue>;

  [[nodiscard]] static std::optional<std::vector<Element>> from(StoredValue stored) {
    if constexpr (detail::NativeScalar<Element>) {
      return stored;
    } else {
      std::optional<std::vector<Element>> elements(std::in_place);
      elements->reserve(stored.size());
      for (auto&& value : stored) {  // A vector of booleans gives no references.
        if (auto element = Elements::from(std::move(value))) elements->push_back(*std::move(element));
      }
      return elements;
    }
  }
  [[nodiscard]] static StoredValue transformToUserDefaultValue(const std::vector<Element>& elements) {
    StoredValue stored;
    stored.reserve(elements.size());
    for (const auto& element : elements) stored.push_back(Elements::transformToUserDefaultValue(element));
    return stored;
  }
};

template <UserDefaultsValueTransformable Value, typename Order, typename Allocator>
struct UserDefaultsValueTransformableTraits<std::map<std::string, Value, Order, Allocator>>
    : detail::DictionaryTransformation<std::map<std::string, Value, Order, Allocator>,
                                       std::map<std::string, StoredValue<Value>, Order>> {};
template <UserDefaultsValueTransformable Value, typename Hash, typename Equal, typename Allocator>
struct UserDefaultsValueTransformableTraits<std::unordered_map<std::string, Value, Hash, Equal, Allocator>>
    : detail::DictionaryTransformation<std::unordered_map<std::string, Value, Hash, Equal, Allocator>,
                                       std::unordered_map<std::string, StoredValue<Value>, Hash, Equal>> {};

/// If the stored value is absent, the conversion fails, so a read gives the setting's default.
template <UserDefaultsValueTransformable Wrapped>
struct UserDefaultsValueTransformableTraits<std::optional<Wrapped>> {
  using Inner = UserDefaultsValueTransformableTraits<Wrapped>;
  using StoredValue = std::optional<typename Inner::StoredValue>;

  [[nodiscard]] static std::optional<std::optional<Wrapped>> from(StoredValue stored) {
    if (!stored) return std::nullopt;
    auto value = Inner::from(*std::move(stored));
    if (!value) return std::nullopt;
    return std::optional<std::optional<Wrapped>>(std::in_place, *std::move(value));
  }
  [[nodiscard]] static StoredValue transformToUserDefaultValue(const std::optional<Wrapped>& value) {
    if (!value) return std::nullopt;
    return Inner::transformToUserDefaultValue(*value);
  }
};

}  // namespace Tessaly::inline v1
