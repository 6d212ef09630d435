// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <locale>
#include <ostream>
#include <sstream>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/NumberDescription.hpp"
#include "Tessaly/Core/Base/detail/Escaped.hpp"

namespace Tessaly::inline v1::detail {

template <typename T>
concept HasDescription = requires(const T& value) {
  { value.description() } -> std::convertible_to<std::string>;
};
template <typename T>
concept HasDebugDescription = requires(const T& value) {
  { value.debugDescription() } -> std::convertible_to<std::string>;
};

/// A type whose values can be described, by `description()` or by `operator<<`.
template <typename T>
concept DescribableElement = HasDescription<T> || requires(std::ostream& stream, const T& value) { stream << value; };

template <DescribableElement T>
std::string describe(const T& value) {
  if constexpr (HasDescription<T>) {
    return value.description();
  } else if constexpr (std::same_as<T, bool>) {
    return value ? "true" : "false";
  } else if constexpr (std::convertible_to<const T&, std::string_view>) {
    return std::string(std::string_view(value));
  } else if constexpr (std::same_as<T, signed char> || std::same_as<T, unsigned char>) {
    return std::to_string(static_cast<int>(value));  // A small integer, not a character.
  } else if constexpr (std::same_as<T, float> || std::same_as<T, double>) {
    return numberDescription(value);
  } else {
    std::ostringstream stream;
    // The classic locale, because the host's global locale could group digits.
    stream.imbue(std::locale::classic());
    stream << value;
    return std::move(stream).str();
  }
}

/// The description for debugging: `debugDescription()` if the value has it. Otherwise a text is put in quotation marks,
/// and any other value gives its description.
template <typename T>
  requires HasDebugDescription<T> || DescribableElement<T>
std::string debugDescribe(const T& value) {
  if constexpr (HasDebugDescription<T>) {
    return value.debugDescription();
  } else if constexpr (!HasDescription<T> && std::convertible_to<const T&, std::string_view>) {
    return quoted(std::string_view(value));
  } else {
    return describe(value);
  }
}

template <typename Elements, typename Describe>
std::string joinDescriptions(const Elements& elements, Describe describeElement) {
  std::string text = "[";
  std::string_view separator;
  for (const auto& element : elements) {
    text += separator;
    text += describeElement(element);
    separator = ", ";
  }
  return text + ']';
}

/// The descriptions of all elements as one string, such as `[1, 2]`.
template <typename Elements>
std::string describeAll(const Elements& elements) {
  return joinDescriptions(elements, [](const auto& element) { return describe(element); });
}

/// The debug descriptions of all elements as one string, such as `["a", "b"]`.
template <typename Elements>
std::string debugDescribeAll(const Elements& elements) {
  return joinDescriptions(elements, [](const auto& element) { return debugDescribe(element); });
}

}  // namespace Tessaly::inline v1::detail
