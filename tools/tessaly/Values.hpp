// SPDX-License-Identifier: MIT
#pragma once

#include <charconv>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>

#include "Command.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"

namespace TessalyTool {

/// The number that the whole text represents.
template <typename Number>
std::optional<Number> parsedNumber(std::string_view text) {
  if (text.starts_with('+') && !text.starts_with("+-")) text.remove_prefix(1);
  Number number{};
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// The date of a text such as "2023-01-02T15:04:05Z". Throws `UsageError`.
Tessaly::PropertyList parsedDate(std::string_view text);

/// The value that the arguments represent: `-int 5`, `-array a -int 5`, or a text alone. Throws `UsageError`.
Tessaly::PropertyList parsedValue(Arguments arguments);

/// A value for people and scripts: a text unchanged, any other value as its description.
std::string printed(const Tessaly::PropertyList& value);

/// A key at the beginning of a line. It is quoted if it contains line breaks or control characters.
std::string printedKey(std::string_view key);

}  // namespace TessalyTool
