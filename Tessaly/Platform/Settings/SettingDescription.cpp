// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Settings/SettingDescription.hpp"

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "Tessaly/Platform/Settings/detail/SettingDescriptions.hpp"

namespace Tessaly::inline v1 {
namespace {

using Kind = PropertyList::Kind;

constexpr std::array<std::string_view, 8> kindNames{"boolean", "integer", "real",  "text",
                                                    "date",    "data",    "array", "dictionary"};

std::string_view nameOf(Kind kind) { return kindNames[static_cast<std::size_t>(kind)]; }

std::partial_ordering order(NSNumber left, NSNumber right) {
  if (left == right) return std::partial_ordering::equivalent;
  const auto isLarge = [](NSNumber number) { return number.kind() == NSNumber::Kind::unsignedInteger; };
  if (left.isReal() || right.isReal()) return left.doubleValue() <=> right.doubleValue();
  if (isLarge(left) != isLarge(right)) return isLarge(left) <=> isLarge(right);
  if (isLarge(left)) {
    return static_cast<std::uint64_t>(left.integerValue()) <=> static_cast<std::uint64_t>(right.integerValue());
  }
  return left.integerValue() <=> right.integerValue();
}

/// Unordered unless both values are numbers, both are dates, or both are texts.
std::partial_ordering order(const PropertyList& left, const PropertyList& right) {
  if (left.number() && right.number()) return order(*left.number(), *right.number());
  if (left.date() && right.date()) {
    return left.date()->timeIntervalSinceReferenceDate() <=> right.date()->timeIntervalSinceReferenceDate();
  }
  if (left.text() != nullptr && right.text() != nullptr) return *left.text() <=> *right.text();
  return std::partial_ordering::unordered;
}

bool isOfKind(const PropertyList& stored, Kind kind) {
  const auto number = stored.number();
  if (!number || kind > Kind::real) return stored.kind() == kind;
  if (kind == Kind::boolean) return number->exactly<bool>().has_value();
  return kind == Kind::real || number->exactly<std::int64_t>() || number->exactly<std::uint64_t>();
}

template <typename Value, typename Read>
void readInto(Value& value, const PropertyList& entry, const char* key, Read read) {
  if (const PropertyList* const found = entry.find(key)) value = read(*found);
}

std::optional<SettingDescription> descriptionOf(const std::string& name, const PropertyList& entry) {
  const PropertyList* const type = entry.find("type");
  const std::string* const kind = type != nullptr ? type->text() : nullptr;
  const auto known = kind != nullptr ? std::ranges::find(kindNames, *kind) : kindNames.end();
  if (known == kindNames.end()) return std::nullopt;
  SettingDescription description{.name = name, .kind = static_cast<Kind>(known - kindNames.begin())};
  const auto whole = [](const PropertyList& value) { return value; };
  readInto(description.defaultValue, entry, "default", whole);
  readInto(description.minimum, entry, "minimum", whole);
  readInto(description.maximum, entry, "maximum", whole);
  readInto(description.cases, entry, "cases",
           [](const PropertyList& value) { return value.array() != nullptr ? *value.array() : PropertyList::Array(); });
  readInto(description.hasPredicate, entry, "predicate", [](const PropertyList& value) { return value == true; });
  readInto(description.documentation, entry, "documentation",
           [](const PropertyList& value) { return value.text() != nullptr ? *value.text() : std::string(); });
  return description;
}

}  // namespace

bool SettingDescription::allows(const PropertyList& stored) const {
  if (!isOfKind(stored, kind)) return false;
  if (minimum && !(order(stored, *minimum) >= 0)) return false;
  if (maximum && !(order(stored, *maximum) <= 0)) return false;
  return cases.empty() || std::ranges::find(cases, stored) != cases.end();
}

std::string SettingDescription::summary() const {
  std::string text(nameOf(kind));
  if (minimum) text += " from " + minimum->description();
  if (maximum) text += (minimum ? " to " : " up to ") + maximum->description();
  for (std::size_t i = 0; i < cases.size(); ++i) text += (i == 0 ? ", one of " : ", ") + cases[i].description();
  if (hasPredicate) text += ", checked by the host";
  return text + (defaultValue ? ", default " + defaultValue->description() : ", absent by default");
}

PropertyList detail::propertyListOf(const std::vector<SettingDescription>& keys) {
  PropertyList::Dictionary list;
  for (const SettingDescription& key : keys) {
    PropertyList::Dictionary entry{{"type", nameOf(key.kind)}, {"documentation", key.documentation}};
    if (key.defaultValue) entry.emplace("default", *key.defaultValue);
    if (key.minimum) entry.emplace("minimum", *key.minimum);
    if (key.maximum) entry.emplace("maximum", *key.maximum);
    if (!key.cases.empty()) entry.emplace("cases", PropertyList::Array(key.cases));
    if (key.hasPredicate) entry.emplace("predicate", true);
    list.insert_or_assign(key.name, std::move(entry));
  }
  return list;
}

std::vector<SettingDescription> detail::descriptionsIn(const PropertyList& list) {
  std::vector<SettingDescription> keys;
  if (list.dictionary() == nullptr) return keys;
  for (const auto& [name, entry] : *list.dictionary()) {
    if (auto description = descriptionOf(name, entry)) keys.push_back(*std::move(description));
  }
  return keys;
}

}  // namespace Tessaly::inline v1
