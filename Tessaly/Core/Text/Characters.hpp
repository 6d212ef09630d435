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
/// The standard library has only the locale-bound `std::isalpha` family, which knows bytes and not scalars.
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

/// The general category of a scalar. Numbers above U+10FFFF are `unassigned`.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT GeneralCategory generalCategory(char32_t scalar) noexcept;

/// Whether the scalar is punctuation: of the categories Pc, Pd, Ps, Pe, Pi, Pf and Po. Signs such as `$ + < = > ^ | ~`
/// are symbols and not punctuation, in contrast to `std::ispunct`.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isPunctuation(char32_t scalar) noexcept;

/// Whether the scalar has Unicode's property White_Space, in contrast to `std::isspace` also U+0085, U+00A0, U+2028,
/// U+3000 and their like. U+200B and U+FEFF do not have it.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isWhiteSpace(char32_t scalar) noexcept;

/// Whether the scalar has Unicode's property Emoji. Digits, `#`, `*`, `©` and `®` have it too.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT bool isEmoji(char32_t scalar) noexcept;

/// Unicode's two-letter abbreviation of the category, such as "Lu". A constant.
///
/// Thread contract: thread-safe.
[[nodiscard]] TESSALY_EXPORT std::string_view description(GeneralCategory category) noexcept;

/// Writes `description(category)`.
TESSALY_EXPORT std::ostream& operator<<(std::ostream& stream, GeneralCategory category);

}  // namespace Tessaly::inline v1::Text
