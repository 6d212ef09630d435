// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <algorithm>
#include <array>
#include <concepts>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Base/TypeName.hpp"
#include "Tessaly/SettingsAndObservation/UserDefaultsValue.hpp"

namespace Tessaly::inline v1 {

namespace detail {

template <typename Enumeration>
[[noreturn]] void stopAtUnknownCase() noexcept {
  fatalError(std::string("A value of ").append(typeName<Enumeration>()).append(" is not one of its cases"),
             "Tessaly/RawValues", __LINE__);
}

}  // namespace detail

/// The cases (enumerators) of an enumeration, and the stored text of each case. Made by `textRawValues`.
///
/// Thread contract: thread-safe. A search is linear in the number of cases.
///
///     constexpr auto table = textRawValues<Theme>({{Theme::light, "light"}, {Theme::dark, "dark"}});
///     std::optional<Theme> dark = table.value("dark");
template <typename Enumeration, std::size_t count>
class TextRawValues {
 public:
  using RawValue = std::string;
  using Case = std::pair<Enumeration, std::string_view>;

  explicit constexpr TextRawValues(const Case (&cases)[count]) noexcept { std::ranges::copy(cases, cases_.begin()); }

  /// The case with this raw value, if there is one.
  [[nodiscard]] constexpr std::optional<Enumeration> value(std::string_view rawValue) const noexcept {
    for (const auto& [value, text] : cases_) {
      if (text == rawValue) return value;
    }
    return std::nullopt;
  }
  /// The text of a case. Stops the process for a value that is not one of the cases.
  [[nodiscard]] constexpr RawValue rawValue(Enumeration value) const {
    for (const auto& [known, text] : cases_) {
      if (known == value) return RawValue(text);
    }
    detail::stopAtUnknownCase<Enumeration>();
  }
  /// The texts of all cases, in the order of the cases in the call of `textRawValues`.
  [[nodiscard]] std::vector<RawValue> allRawValues() const {
    std::vector<RawValue> all;
    for (const auto& [value, text] : cases_) all.emplace_back(text);
    return all;
  }

 private:
  std::array<Case, count> cases_;
};

/// The cases (enumerators) of an enumeration that is stored as integers. Made by `integerRawValues`.
///
/// Thread contract: thread-safe. A search is linear in the number of cases.
///
///     constexpr auto table = integerRawValues(Quality::draft, Quality::best);
///     std::optional<Quality> none = table.value(7);
template <typename Enumeration, std::size_t count>
class IntegerRawValues {
 public:
  using RawValue = std::underlying_type_t<Enumeration>;

  explicit constexpr IntegerRawValues(std::array<Enumeration, count> cases) noexcept : cases_(cases) {}

  /// The case with this raw value, if there is one.
  [[nodiscard]] constexpr std::optional<Enumeration> value(RawValue rawValue) const noexcept {
    // The cases are converted, not the raw value, because an enumeration without a fixed underlying type cannot hold
    // every raw value.
    const auto found = std::ranges::find(cases_, rawValue, [](Enumeration known) { return std::to_underlying(known); });
    return found != cases_.end() ? std::optional(*found) : std::nullopt;
  }
  /// The integer of a case. Stops the process for a value that is not one of the cases.
  [[nodiscard]] constexpr RawValue rawValue(Enumeration value) const noexcept {
    if (std::ranges::find(cases_, value) == cases_.end()) detail::stopAtUnknownCase<Enumeration>();
    return std::to_underlying(value);
  }
  /// The integers of all cases, in the order of the cases in the call of `integerRawValues`.
  [[nodiscard]] std::vector<RawValue> allRawValues() const {
    std::vector<RawValue> all;
    for (const Enumeration value : cases_) all.push_back(std::to_underlying(value));
    return all;
  }

 private:
  std::array<Enumeration, count> cases_;
};

/// Makes the table of an enumeration's cases and their stored texts.
template <typename Enumeration, std::size_t count>
  requires std::is_enum_v<Enumeration>
[[nodiscard]] consteval TextRawValues<Enumeration, count> textRawValues(
    const std::pair<Enumeration, std::string_view> (&cases)[count]) noexcept {
  return TextRawValues<Enumeration, count>(cases);
}

/// Makes the table of the cases of an enumeration that is stored as integers.
template <typename Enumeration, std::same_as<Enumeration>... Others>
  requires std::is_enum_v<Enumeration>
[[nodiscard]] consteval IntegerRawValues<Enumeration, 1 + sizeof...(Others)> integerRawValues(
    Enumeration first, Others... others) noexcept {
  return IntegerRawValues<Enumeration, 1 + sizeof...(Others)>({first, others...});
}

/// The raw values of an enumeration. One declaration makes an enumeration storable:
///
///     enum class Theme { light, dark };
///     template <>
///     inline constexpr auto Tessaly::rawValues<Theme> =
///         Tessaly::textRawValues<Theme>({{Theme::light, "light"}, {Theme::dark, "dark"}});
///
/// If the numbers of the cases never change, use `Tessaly::integerRawValues(Quality::draft, Quality::best)` instead.
template <typename Enumeration>
inline constexpr std::nullptr_t rawValues = nullptr;

/// An enumeration whose `rawValues` have a type that the settings store holds directly.
template <typename Enumeration>
concept RawRepresentable = std::is_enum_v<Enumeration> &&
                           UserDefaultsValue<typename std::remove_cvref_t<decltype(rawValues<Enumeration>)>::RawValue>;

}  // namespace Tessaly::inline v1
