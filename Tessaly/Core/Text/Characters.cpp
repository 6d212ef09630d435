// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Text/Characters.hpp"

#include <unicode/uchar.h>

#include <array>
#include <ostream>

#include "Tessaly/Core/Text/detail/CharacterClasses.hpp"

namespace Tessaly::inline v1::Text {
namespace {

using enum GeneralCategory;

constexpr std::array<GeneralCategory, U_CHAR_CATEGORY_COUNT> makeCategories() {
  std::array<GeneralCategory, U_CHAR_CATEGORY_COUNT> categories{};
  categories[U_UPPERCASE_LETTER] = uppercaseLetter;
  categories[U_LOWERCASE_LETTER] = lowercaseLetter;
  categories[U_TITLECASE_LETTER] = titlecaseLetter;
  categories[U_MODIFIER_LETTER] = modifierLetter;
  categories[U_OTHER_LETTER] = otherLetter;
  categories[U_NON_SPACING_MARK] = nonspacingMark;
  categories[U_COMBINING_SPACING_MARK] = spacingMark;
  categories[U_ENCLOSING_MARK] = enclosingMark;
  categories[U_DECIMAL_DIGIT_NUMBER] = decimalNumber;
  categories[U_LETTER_NUMBER] = letterNumber;
  categories[U_OTHER_NUMBER] = otherNumber;
  categories[U_CONNECTOR_PUNCTUATION] = connectorPunctuation;
  categories[U_DASH_PUNCTUATION] = dashPunctuation;
  categories[U_START_PUNCTUATION] = openPunctuation;
  categories[U_END_PUNCTUATION] = closePunctuation;
  categories[U_INITIAL_PUNCTUATION] = initialPunctuation;
  categories[U_FINAL_PUNCTUATION] = finalPunctuation;
  categories[U_OTHER_PUNCTUATION] = otherPunctuation;
  categories[U_MATH_SYMBOL] = mathSymbol;
  categories[U_CURRENCY_SYMBOL] = currencySymbol;
  categories[U_MODIFIER_SYMBOL] = modifierSymbol;
  categories[U_OTHER_SYMBOL] = otherSymbol;
  categories[U_SPACE_SEPARATOR] = spaceSeparator;
  categories[U_LINE_SEPARATOR] = lineSeparator;
  categories[U_PARAGRAPH_SEPARATOR] = paragraphSeparator;
  categories[U_CONTROL_CHAR] = control;
  categories[U_FORMAT_CHAR] = format;
  categories[U_SURROGATE] = surrogate;
  categories[U_PRIVATE_USE_CHAR] = privateUse;
  categories[U_UNASSIGNED] = unassigned;
  return categories;
}

constexpr auto categoryOfICU = makeCategories();

constexpr std::array<std::string_view, U_CHAR_CATEGORY_COUNT> abbreviations{
    "Lu", "Ll", "Lt", "Lm", "Lo", "Mn", "Mc", "Me", "Nd", "Nl", "No", "Pc", "Pd", "Ps", "Pe",
    "Pi", "Pf", "Po", "Sm", "Sc", "Sk", "So", "Zs", "Zl", "Zp", "Cc", "Cf", "Cs", "Co", "Cn"};

UChar32 toICU(char32_t scalar) noexcept { return scalar <= 0x10FFFF ? static_cast<UChar32>(scalar) : 0x10FFFF; }

}  // namespace

GeneralCategory generalCategory(char32_t scalar) noexcept {
  return categoryOfICU[static_cast<std::size_t>(u_charType(toICU(scalar)))];
}

bool isPunctuation(char32_t scalar) noexcept {
  const GeneralCategory category = generalCategory(scalar);
  return category >= connectorPunctuation && category <= otherPunctuation;
}

bool isWhiteSpace(char32_t scalar) noexcept { return u_isUWhiteSpace(toICU(scalar)) != 0; }

bool isEmoji(char32_t scalar) noexcept { return scalar <= 0x10FFFF && detail::CharacterProperties(scalar).isEmoji(); }

std::string_view description(GeneralCategory category) noexcept {
  return abbreviations[static_cast<std::size_t>(category)];
}

std::ostream& operator<<(std::ostream& stream, GeneralCategory category) { return stream << description(category); }

}  // namespace Tessaly::inline v1::Text
