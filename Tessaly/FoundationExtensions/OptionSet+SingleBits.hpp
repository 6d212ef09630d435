// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <concepts>
#include <type_traits>
#include <vector>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1::OptionSet {

namespace detail {

template <typename T>
concept HasRawValue = requires(const T& options) {
  { options.rawValue() } -> std::integral;
  T(options.rawValue());
};

template <typename T>
  requires std::is_enum_v<T>
constexpr std::underlying_type_t<T> rawValueOf(T options) noexcept {
  return static_cast<std::underlying_type_t<T>>(options);
}

template <HasRawValue T>
constexpr auto rawValueOf(const T& options) {
  return options.rawValue();
}

}  // namespace detail

/// A set of options with one bit each: an enumeration, or a class with `rawValue()` and a constructor from the raw
/// value.
template <typename T>
concept Options = std::is_enum_v<T> || detail::HasRawValue<T>;

/// The single options of a set, from the least significant bit upward. An empty set has none. A sign bit comes last.
///
/// Thread contract: thread-safe.
///
///     enum class Style : std::uint8_t { bold = 1, italic = 2, underlined = 4 };
///     for (Style style : OptionSet::singleBits(Style(0b101))) apply(style);  // bold, underlined
template <Options T>
[[nodiscard]] std::vector<T> singleBits(const T& options) {
  using Raw = decltype(detail::rawValueOf(options));
  using Bits = std::make_unsigned_t<Raw>;
  std::vector<T> single;
  auto remaining = static_cast<Bits>(detail::rawValueOf(options));
  for (Bits mask = 1; remaining != 0; mask = static_cast<Bits>(mask << 1)) {
    if ((remaining & mask) == 0) continue;
    remaining = static_cast<Bits>(remaining & ~mask);
    single.push_back(T(static_cast<Raw>(mask)));
  }
  return single;
}

}  // namespace Tessaly::inline v1::OptionSet
