// SPDX-License-Identifier: MIT
#pragma once

#include <any>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Formatters/Formatter.hpp"

namespace Tessaly::Tests {

/// A formatter of texts that records its calls. It refuses "!" during typing, replaces a text with "*", and cannot
/// parse "?".
class RecordingFormatter final : public Formatter {
 public:
  [[nodiscard]] static std::shared_ptr<RecordingFormatter> make() { return std::make_shared<RecordingFormatter>(); }

  [[nodiscard]] std::optional<std::string> string(const std::any& object) const override {
    const std::optional<std::string> shown = text(object);
    calls.push_back("string " + shown.value_or("of nothing"));
    return shown;
  }
  bool getObjectValue(std::any* object, std::string_view text, std::optional<std::string>* errorDescription) override {
    calls.push_back("read " + std::string(text));
    if (text.contains('?')) {
      if (errorDescription != nullptr) *errorDescription = "no questions";
      return false;
    }
    if (object != nullptr) *object = std::string(text);
    return true;
  }
  bool isPartialStringValid(std::string_view partialString, std::optional<std::string>* newEditingString,
                            std::optional<std::string>* errorDescription) override {
    calls.push_back("partial " + std::string(partialString));
    if (partialString == "throw") throw std::runtime_error("thrown");
    if (partialString.contains('*')) {
      if (newEditingString != nullptr) *newEditingString = "!replaced!";
      return false;
    }
    if (!partialString.contains('!')) return true;
    if (errorDescription != nullptr) *errorDescription = "no exclamations";
    return false;
  }

  mutable std::vector<std::string> calls;
};

}  // namespace Tessaly::Tests
