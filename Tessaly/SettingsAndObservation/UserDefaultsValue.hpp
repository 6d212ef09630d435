// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <concepts>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Data.hpp"
#include "Tessaly/Core/Foundation/Date.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"

namespace Tessaly::inline v1 {

namespace detail {
template <typename Value>
struct NativeValue;
}

/// The mark of a type that the settings store holds directly. Only the library makes marks, so the set of types is
/// closed.
///
/// Thread contract: thread-safe.
///
///     constexpr const UserDefaultValueIdentification<int>& mark = UserDefaultsValueTraits<int>::identification;
template <typename Value>
class UserDefaultValueIdentification {
 private:
  friend struct detail::NativeValue<Value>;
  constexpr UserDefaultValueIdentification() noexcept = default;
};

/// The conversion of a type to and from a stored object; see `UserDefaultsValue`.
///
/// Thread contract: thread-safe.
///
///     PropertyList object = UserDefaultsValueTraits<int>::object(5);
///     std::optional<int> five = UserDefaultsValueTraits<int>::value(&object);
///     std::optional<bool> none = UserDefaultsValueTraits<bool>::value(&object);  // Only 0 and 1 are boolean.
template <typename Value>
struct UserDefaultsValueTraits;

/// A type that the settings store holds directly. The basic types are `std::string`, `bool`, numbers, `Date` and
/// `Data`. The numbers are signed and unsigned integers of 16, 32 and 64 bits, unsigned integers of 8 bits, `float` and
/// `double`. Vectors of such values, maps from `std::string` to such values, and optionals of such values are held too.
///
/// The set is closed. Other types are converted for storing; see `UserDefaultsValueTransformable`.
///
/// Reading converts between the numeric types if nothing is lost. A stored 5.0 can be read as the integer 5, and a
/// stored 1 as true. But 5.5 is not an integer, 2 is not a boolean, and 300 does not fit in 8 bits. A stored text
/// is never read as a number. An array or a dictionary converts if all of its values convert. Only an optional can
/// stand for an absent value.
template <typename Value>
concept UserDefaultsValue = requires {
  { UserDefaultsValueTraits<Value>::identification } -> std::same_as<const UserDefaultValueIdentification<Value>&>;
};

namespace detail {

template <typename Value>
struct NativeValue {
  static constexpr UserDefaultValueIdentification<Value> identification{};
};

template <typename Value, typename... Kinds>
concept OneOf = (std::same_as<Value, Kinds> || ...);

/// A type that the settings store holds as a number. The signed integer of 8 bits is excluded.
template <typename Value>
concept NativeNumber = OneOf<Value, bool, short, int, long, long long, unsigned char, unsigned short, unsigned,
                             unsigned long, unsigned long long, float, double>;

/// The conversion of a map with text keys to and from a stored object.
template <typename Map>
struct NativeDictionary : NativeValue<Map> {
  using Element = UserDefaultsValueTraits<typename Map::mapped_type>;

  [[nodiscard]] static PropertyList object(Map map) {
    PropertyList::Dictionary dictionary;
    while (!map.empty()) {
      auto entry = map.extract(map.begin());
      if (std::optional<PropertyList> object = Element::object(std::move(entry.mapped()))) {
        dictionary.insert_or_assign(std::move(entry.key()), *std::move(object));
      }
    }
    return dictionary;
  }
  [[nodiscard]] static std::optional<Map> value(const PropertyList* object) {
    const auto* dictionary = object != nullptr ? object->dictionary() : nullptr;
    if (dictionary == nullptr) return std::nullopt;
    std::optional<Map> map(std::in_place);
    for (const auto& [key, element] : *dictionary) {
      auto value = Element::value(&element);
      if (!value) return std::nullopt;
      map->emplace(key, *std::move(value));
    }
    return map;
  }
};

}  // namespace detail

template <detail::NativeNumber Value>
struct UserDefaultsValueTraits<Value> : detail::NativeValue<Value> {
  [[nodiscard]] static PropertyList object(Value value) noexcept { return NSNumber(value); }
  /// The number. Absent if the object is null, or is not a number that `Value` represents exactly. In all traits, null
  /// means that the store has no object.
  [[nodiscard]] static std::optional<Value> value(const PropertyList* object) noexcept {
    const auto number = object != nullptr ? object->number() : std::nullopt;
    return number ? number->exactly<Value>() : std::nullopt;
  }
};

template <>
struct UserDefaultsValueTraits<std::string> : detail::NativeValue<std::string> {
  [[nodiscard]] static PropertyList object(std::string value) { return value; }
  [[nodiscard]] TESSALY_EXPORT static std::optional<std::string> value(const PropertyList* object);
};

template <>
struct UserDefaultsValueTraits<Date> : detail::NativeValue<Date> {
  [[nodiscard]] static PropertyList object(Date value) noexcept { return value; }
  [[nodiscard]] TESSALY_EXPORT static std::optional<Date> value(const PropertyList* object) noexcept;
};

template <>
struct UserDefaultsValueTraits<Data> : detail::NativeValue<Data> {
  [[nodiscard]] static PropertyList object(Data value) { return value; }
  [[nodiscard]] TESSALY_EXPORT static std::optional<Data> value(const PropertyList* object);
};

template <UserDefaultsValue Element>
struct UserDefaultsValueTraits<std::vector<Element>> : detail::NativeValue<std::vector<Element>> {
  [[nodiscard]] static PropertyList object(std::vector<Element> elements) {
    PropertyList::Array array;
    array.reserve(elements.size());
    for (auto&& element : elements) {  // A vector of booleans gives no references.
      if (std::optional<PropertyList> object = UserDefaultsValueTraits<Element>::object(std::move(element))) {
        array.push_back(*std::move(object));
      }
    }
    return array;
  }
  [[nodiscard]] static std::optional<std::vector<Element>> value(const PropertyList* object) {
    const auto* array = object != nullptr ? object->array() : nullptr;
    if (array == nullptr) return std::nullopt;
    std::optional<std::vector<Element>> elements(std::in_place);
    elements->reserve(array->size());
    for (const PropertyList& stored : *array) {
      auto element = UserDefaultsValueTraits<Element>::value(&stored);
      if (!element) return std::nullopt;
      elements->push_back(*std::move(element));
    }
    return elements;
  }
};

template <UserDefaultsValue Value, typename Order, typename Allocator>
struct UserDefaultsValueTraits<std::map<std::string, Value, Order, Allocator>>
    : detail::NativeDictionary<std::map<std::string, Value, Order, Allocator>> {};
template <UserDefaultsValue Value, typename Hash, typename Equal, typename Allocator>
struct UserDefaultsValueTraits<std::unordered_map<std::string, Value, Hash, Equal, Allocator>>
    : detail::NativeDictionary<std::unordered_map<std::string, Value, Hash, Equal, Allocator>> {};

/// An absent value is represented by the absence of a stored object. So storing an absent value removes the entry of
/// the setting. Arrays and dictionaries omit absent values.
template <UserDefaultsValue Wrapped>
struct UserDefaultsValueTraits<std::optional<Wrapped>> : detail::NativeValue<std::optional<Wrapped>> {
  [[nodiscard]] static std::optional<PropertyList> object(std::optional<Wrapped> value) {
    if (!value) return std::nullopt;
    return UserDefaultsValueTraits<Wrapped>::object(*std::move(value));
  }
  [[nodiscard]] static std::optional<std::optional<Wrapped>> value(const PropertyList* object) {
    if (object == nullptr) return std::optional<Wrapped>();
    auto wrapped = UserDefaultsValueTraits<Wrapped>::value(object);
    if (!wrapped) return std::nullopt;
    return std::optional<std::optional<Wrapped>>(std::in_place, *std::move(wrapped));
  }
};

}  // namespace Tessaly::inline v1
