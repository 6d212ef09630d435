// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/Formatter.hpp"

namespace Tessaly::inline v1 {

Formatter::~Formatter() = default;

std::optional<std::string> Formatter::string(const std::any&) const { return std::nullopt; }

bool Formatter::getObjectValue(std::any*, std::string_view, std::optional<std::string>*) { return false; }

bool Formatter::isPartialStringValid(std::string_view, std::optional<std::string>*, std::optional<std::string>*) {
  return true;
}

std::optional<std::string> Formatter::text(const std::any& object) {
  if (const auto* text = std::any_cast<std::string>(&object)) return *text;
  if (const auto* text = std::any_cast<std::string_view>(&object)) return std::string(*text);
  const char* characters = nullptr;
  if (const auto* text = std::any_cast<const char*>(&object)) characters = *text;
  if (const auto* text = std::any_cast<char*>(&object)) characters = *text;
  return characters != nullptr ? std::optional<std::string>(characters) : std::nullopt;
}

}  // namespace Tessaly::inline v1
