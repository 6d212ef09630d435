// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <string>
#include <string_view>

namespace TessalyTool {

/// A text as JSON, in quotation marks. U+FFFD replaces ill-formed UTF-8.
std::string quotedJSON(std::string_view text);

/// An object that is written as one line of JSON, its members in the order in which they are added.
class JSONObject {
 public:
  JSONObject& add(std::string_view name, std::string_view text) { return addRaw(name, quotedJSON(text)); }
  JSONObject& add(std::string_view name, const char* text) { return add(name, std::string_view(text)); }
  /// Adds a truth value or a number.
  JSONObject& add(std::string_view name, std::integral auto value) {
    if constexpr (std::same_as<decltype(value), bool>) {
      return addRaw(name, value ? "true" : "false");
    } else {
      return addRaw(name, std::to_string(value));
    }
  }
  /// The line, without a line break.
  [[nodiscard]] std::string text() const { return '{' + members_ + '}'; }

 private:
  JSONObject& addRaw(std::string_view name, std::string_view value) {
    if (!members_.empty()) members_ += ',';
    members_.append(quotedJSON(name)).append(":").append(value);
    return *this;
  }

  std::string members_;
};

}  // namespace TessalyTool
