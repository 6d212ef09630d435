// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Platform/Settings/SettingDescription.hpp"
#include "Tessaly/SettingsAndObservation/UserDefaultsValueTransformable.hpp"
#include "Tessaly/SettingsAndObservation/detail/SettingRule.hpp"

namespace Tessaly::inline v1::detail {

/// Converts a value to the object that the settings store holds for it. Absent if the value is absent.
template <typename Value>
std::optional<PropertyList> storedObject(const Value& value) {
  return UserDefaultsValueTraits<StoredValue<Value>>::object(transformToUserDefaultValue(value));
}

/// The kind of a stored value of this type. The type may be optional.
template <typename Stored>
struct StoredKind {
  static constexpr PropertyList::Kind kind = std::same_as<Stored, bool>          ? PropertyList::Kind::boolean
                                             : std::integral<Stored>             ? PropertyList::Kind::integer
                                             : std::floating_point<Stored>       ? PropertyList::Kind::real
                                             : std::same_as<Stored, std::string> ? PropertyList::Kind::text
                                             : std::same_as<Stored, Date>        ? PropertyList::Kind::date
                                             : std::same_as<Stored, Data>        ? PropertyList::Kind::data
                                                                                 : PropertyList::Kind::dictionary;
  using Type = Stored;
};
template <typename Element>
struct StoredKind<std::vector<Element>> {
  static constexpr PropertyList::Kind kind = PropertyList::Kind::array;
  using Type = std::vector<Element>;
};
template <typename Wrapped>
struct StoredKind<std::optional<Wrapped>> : StoredKind<Wrapped> {};

/// Describes the limits of an integer type. An unsigned type of 32 bits or more gets only the minimum 0. A signed type
/// of this size gets no limit. People need not know such large limits.
template <typename Stored>
void describeLimits(SettingDescription& description) {
  if constexpr (std::integral<Stored> && !std::same_as<Stored, bool>) {
    using Limits = std::numeric_limits<Stored>;
    if (std::unsigned_integral<Stored> || sizeof(Stored) < sizeof(std::int32_t)) description.minimum = Limits::min();
    if (sizeof(Stored) < sizeof(std::int32_t)) description.maximum = Limits::max();
  }
}

template <typename Value>
void describeCases(SettingDescription& description) {
  if constexpr (RawRepresentable<Value>) {
    for (auto& raw : rawValues<Value>.allRawValues()) description.cases.emplace_back(raw);
  }
}
template <typename Value>
struct Unwrapped {
  using Type = Value;
};
template <typename Wrapped>
struct Unwrapped<std::optional<Wrapped>> : Unwrapped<Wrapped> {};

template <typename Value>
SettingDescription descriptionOf(std::string_view name, const Value& defaultValue, const SettingRule<Value>& rule,
                                 std::string documentation) {
  using Kind = StoredKind<StoredValue<Value>>;
  SettingDescription description{.name = std::string(name),
                                 .kind = Kind::kind,
                                 .defaultValue = storedObject(defaultValue),
                                 .hasPredicate = rule.hasPredicate()};
  description.documentation = std::move(documentation);
  describeLimits<typename Kind::Type>(description);
  describeCases<typename Unwrapped<Value>::Type>(description);
  if (rule.lowest()) {
    description.minimum = storedObject(*rule.lowest());
    description.maximum = storedObject(*rule.highest());
  }
  return description;
}

}  // namespace Tessaly::inline v1::detail
