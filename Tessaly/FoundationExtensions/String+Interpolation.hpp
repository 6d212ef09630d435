// SPDX-License-Identifier: MIT
// Component: Tessaly::FoundationExtensions
#pragma once

#include <concepts>
#include <functional>
#include <optional>
#include <ostream>
#include <ranges>
#include <string>
#include <string_view>
#include <type_traits>

#include "Tessaly/FoundationExtensions/Optional+Extensions.hpp"

namespace Tessaly::inline v1::String {

namespace detail {

inline void append(std::string& text, std::string_view more) { text.append(more); }
inline void append(std::ostream& stream, std::string_view more) { stream << more; }

}  // namespace detail

/// A destination for text: a `std::string`, which grows at its end, or a stream.
template <typename Target>
concept Interpolation = std::same_as<Target, std::string> || std::derived_from<Target, std::ostream>;

/// Appends the description of an optional's value, or `whenNil` if the optional is empty.
///
/// Thread contract: thread-safe, except on the same text.
///
///     std::string text = "Year: ";
///     String::appendInterpolation(text, std::optional<int>(), "unknown");  // Year: unknown
template <Interpolation Target, Optional::Describable T>
void appendInterpolation(Target& text, const std::optional<T>& optional, std::string_view whenNil) {
  detail::append(text, optional ? Optional::description(*optional) : std::string(whenNil));
}

/// Appends one value of each element in order, joined by ", ". `joiningOn` selects the value: it is a member, a member
/// function, a key path, or any function of an element.
///
/// Thread contract: thread-safe, except on the same text.
///
///     std::string line;
///     String::appendInterpolation(line, album, &Song::title);  // Girl, Help!
template <Interpolation Target, std::ranges::input_range Elements, typename KeyPath>
  requires std::invocable<KeyPath&, std::ranges::range_reference_t<Elements>> &&
           Optional::Describable<
               std::remove_cvref_t<std::invoke_result_t<KeyPath&, std::ranges::range_reference_t<Elements>>>>
void appendInterpolation(Target& text, Elements&& elements, KeyPath joiningOn) {
  bool isFirst = true;
  for (auto&& element : elements) {
    if (!isFirst) detail::append(text, ", ");
    isFirst = false;
    const auto& value = std::invoke(joiningOn, element);
    detail::append(text, Optional::description(value));
  }
}

}  // namespace Tessaly::inline v1::String
