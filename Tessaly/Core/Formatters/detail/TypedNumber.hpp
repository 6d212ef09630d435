// SPDX-License-Identifier: MIT
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// Whether a character is one of the hyphens, dashes and minus signs that people use as a minus sign.
[[nodiscard]] bool isMinusSign(char32_t scalar) noexcept;
[[nodiscard]] bool isPlusSign(char32_t scalar) noexcept;

/// One meaning of a number that a person typed. All digits are ASCII digits.
struct TypedNumber {
  bool isNegative = false;
  std::string integer;
  std::string fraction;

  friend bool operator==(const TypedNumber&, const TypedNumber&) = default;
};

/// The properties of a text that a person typed, and the numbers that the text can mean.
struct TypedText {
  /// Whether the text has no digit yet: it has at most a sign and a separator.
  bool isBeginning = false;
  bool hasSign = false;
  bool isNegative = false;
  bool hasSeparator = false;
  /// The most probable meaning comes first. Empty if the text is not a number.
  std::vector<TypedNumber> readings;
};

/// Parses a number as people type it. The number may have digits of any script, a sign or hyphen before them, white
/// space at both ends, and separators of any language. The last separator can be the decimal separator if it is a
/// point, a comma or the Arabic decimal separator, and occurs only once. Equal separators can group digits: three in
/// the last group, one to three in the first group, and two or three in the groups between. "1.234" has two readings.
/// The first reading follows `decimalSeparator`, which is the locale's decimal separator.
[[nodiscard]] TESSALY_EXPORT TypedText typedText(std::string_view text, std::string_view decimalSeparator);

/// Returns the text without the suffix at its end. Ignores white space around the suffix, and removes a repeated suffix
/// completely. Returns the whole text if it does not end with the suffix.
[[nodiscard]] TESSALY_EXPORT std::string_view withoutSuffix(std::string_view text, std::string_view suffix);

}  // namespace Tessaly::inline v1::detail
