// SPDX-License-Identifier: MIT
// Component: Tessaly::Text
#pragma once

#include <cstdint>
#include <iosfwd>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::Text {

/// Unicode's general category of a scalar, one of thirty.
///
/// The nearest standard facility is the `std::isalpha` family, which depends on the locale and reads bytes instead of
/// scalars.
///
///     GeneralCategory category = generalCategory(U'€');
///     if (category == GeneralCategory::currencySymbol) std::cout << category;  // Sc
enum class GeneralCategory : std::uint8_t {
  uppercaseLetter,
  lowercaseLetter,
  titlecaseLetter,
  modifierLetter,
  otherLetter,
  nonspacingMark,
  spacingMark,
  enclosingMark,
  decimalNumber,
  letterNumber,
  otherNumber,
  connectorPunctuation,
  dashPunctuation,
  openPunctuation,
  closePunctuation,
  initialPunctuation,
  finalPunctuation,
  otherPunctuation,
  mathSymbol,
  currencySymbol,
  modifierSymbol,
  otherSymbol,
  spaceSeparator,
  lineSeparator,
  paragraphSeparator,
  control,
  format,
  surrogate,
  privateUse,
  unassigned,
};

/// The general category of a scalar, in the Unicode version of the installed ICU. Numbers above U+10FFFF are
/// `unassigned`.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT GeneralCategory generalCategory(char32_t scalar) noexcept;

/// Whether the scalar is punctuation: its category is Pc, Pd, Ps, Pe, Pi, Pf or Po. Unlike `std::ispunct`, this
/// function excludes the ASCII signs `$+<=>^|~` and U+0060, which are symbols.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isPunctuation(char32_t scalar) noexcept;

/// Whether the scalar has Unicode's property White_Space. Unlike `std::isspace`, this function accepts U+0085, U+00A0,
/// U+2028 and U+3000. This function excludes U+200B and U+FEFF.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isWhiteSpace(char32_t scalar) noexcept;

/// Whether the scalar has the property Emoji in Unicode 15.0, whatever ICU is installed. Digits, `#`, `*`, `©` and `®`
/// have this property, too.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isEmoji(char32_t scalar) noexcept;

/// Unicode's two-letter abbreviation of the category, such as "Lu". The result refers to a string literal, so it is
/// always valid.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string_view description(GeneralCategory category) noexcept;

/// Writes `description(category)`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, GeneralCategory category);

}  // namespace Tessaly::inline v1::Text
