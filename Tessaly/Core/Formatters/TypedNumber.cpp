// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/detail/TypedNumber.hpp"

#include <unicode/uchar.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <optional>
#include <utility>

#include "Tessaly/Core/Text/Characters.hpp"
#include "Tessaly/Core/Text/UTF8.hpp"

namespace Tessaly::inline v1::detail {
namespace {

/// Groups of digits, and the separators between them.
struct Groups {
  std::vector<std::string> digits{std::string()};
  std::vector<char32_t> separators;

  [[nodiscard]] bool isEmpty() const {
    return std::ranges::all_of(digits, [](const std::string& group) { return group.empty(); });
  }
};

constexpr bool isOneOf(std::u32string_view characters, char32_t scalar) {
  return characters.find(scalar) != std::u32string_view::npos;
}

/// Points, commas and apostrophes, also those of Arabic and Adlam.
constexpr bool isSeparator(char32_t scalar) { return isOneOf(U".,'\u2019\u066B\u066C\u2E41\uFF0E\uFF0C", scalar); }
constexpr bool isDecimalSeparator(char32_t scalar) { return isOneOf(U".,\u066B\uFF0E\uFF0C", scalar); }
/// The invisible marks that set the direction of writing.
constexpr bool isDirectionMark(char32_t scalar) {
  return isOneOf(U"\u061C\u200E\u200F\u202A\u202B\u202C\u2066\u2067\u2068\u2069", scalar);
}

std::string_view trimmedEnd(std::string_view text) {
  std::size_t end = 0;
  const Text::Scalars scalars(text);
  for (auto scalar = scalars.begin(); scalar != scalars.end();) {
    const bool isInk = !Text::isWhiteSpace(*scalar);
    ++scalar;
    if (isInk) end = scalar.offset();
  }
  return text.substr(0, end);
}

std::string_view withoutWhiteSpace(std::string_view text) {
  text = trimmedEnd(text);
  const Text::Scalars scalars(text);
  auto first = scalars.begin();
  while (first != scalars.end() && Text::isWhiteSpace(*first)) ++first;
  return text.substr(first.offset());
}

/// The scalars without direction marks, and without white space at both ends.
std::u32string trimmed(std::string_view text) {
  std::u32string scalars;
  for (const char32_t scalar : Text::Scalars(text)) {
    if (!isDirectionMark(scalar)) scalars.push_back(scalar);
  }
  const auto isInk = [](char32_t scalar) { return !Text::isWhiteSpace(scalar); };
  scalars.erase(scalars.begin(), std::ranges::find_if(scalars, isInk));
  while (!scalars.empty() && !isInk(scalars.back())) scalars.pop_back();
  return scalars;
}

/// Splits a text at separators and white space. Absent if the text has other characters besides digits.
std::optional<Groups> groupsOf(std::u32string_view scalars) {
  Groups groups;
  for (const char32_t scalar : scalars) {
    const int digit = u_charDigitValue(static_cast<UChar32>(scalar));
    if (digit >= 0) {
      groups.digits.back().push_back(static_cast<char>('0' + digit));
    } else if (isSeparator(scalar) || Text::isWhiteSpace(scalar)) {
      groups.separators.push_back(scalar);
      groups.digits.emplace_back();
    } else {
      return std::nullopt;
    }
  }
  return groups;
}

/// The digits of the first groups, joined. Absent unless separators can stand there: all are equal, the last group has
/// three digits, the first has one to three, and the others have two or three.
std::optional<std::string> joined(const Groups& groups, std::size_t count) {
  std::string whole = groups.digits[0];
  if (count > 1 && (whole.empty() || whole.size() > 3)) return std::nullopt;
  for (std::size_t i = 1; i < count; ++i) {
    const std::string& group = groups.digits[i];
    const bool isLast = i + 1 == count;
    if (groups.separators[i - 1] != groups.separators[0]) return std::nullopt;
    if (group.size() != 3 && (isLast || group.size() != 2)) return std::nullopt;
    whole += group;
  }
  return whole;
}

/// The reading in which every separator groups digits.
std::optional<TypedNumber> readWhole(const Groups& groups) {
  std::optional<std::string> integer = joined(groups, groups.digits.size());
  if (!integer) return std::nullopt;
  return TypedNumber{.isNegative = false, .integer = *std::move(integer), .fraction = {}};
}

/// The reading in which the last separator is the decimal one.
std::optional<TypedNumber> readFraction(const Groups& groups) {
  const char32_t separator = groups.separators.back();
  if (!isDecimalSeparator(separator) || std::ranges::count(groups.separators, separator) != 1) return std::nullopt;
  std::optional<std::string> integer = joined(groups, groups.separators.size());
  if (!integer) return std::nullopt;
  return TypedNumber{
      .isNegative = false, .integer = integer->empty() ? "0" : *std::move(integer), .fraction = groups.digits.back()};
}

}  // namespace

bool isMinusSign(char32_t scalar) noexcept { return isOneOf(U"-\u2010\u2011\u2012\u2013\u2212\uFE63\uFF0D", scalar); }

bool isPlusSign(char32_t scalar) noexcept { return isOneOf(U"+\uFF0B", scalar); }

std::string_view withoutSuffix(std::string_view text, std::string_view suffix) {
  const std::string_view unit = withoutWhiteSpace(suffix);
  if (unit.empty()) return text;
  for (std::string_view rest = trimmedEnd(text); rest.ends_with(unit); text = rest) {
    rest = trimmedEnd(rest.substr(0, rest.size() - unit.size()));
  }
  return text;
}

TypedText typedText(std::string_view text, std::string_view decimalSeparator) {
  TypedText result;
  std::u32string scalars = trimmed(text);
  if (!scalars.empty() && (isMinusSign(scalars.front()) || isPlusSign(scalars.front()))) {
    result.hasSign = true;
    result.isNegative = isMinusSign(scalars.front());
    // A minus sign before a plus sign of the field replaces the plus sign.
    const bool hasPlus = result.isNegative && scalars.size() > 1 && isPlusSign(scalars[1]);
    scalars.erase(0, hasPlus ? 2 : 1);
    scalars.erase(scalars.begin(),
                  std::ranges::find_if(scalars, [](char32_t scalar) { return !Text::isWhiteSpace(scalar); }));
  }
  const std::optional<Groups> groups = groupsOf(scalars);
  if (!groups) return result;
  result.hasSeparator = !groups->separators.empty();
  if (groups->isEmpty()) {
    result.isBeginning = groups->separators.size() < 2;
    return result;
  }
  std::array<std::optional<TypedNumber>, 2> found{readWhole(*groups), std::nullopt};
  if (result.hasSeparator) {
    found[1] = readFraction(*groups);
    const char32_t local = decimalSeparator.empty() ? U'.' : *Text::Scalars(decimalSeparator).begin();
    if (groups->separators.back() == local) std::swap(found[0], found[1]);
  }
  for (std::optional<TypedNumber>& reading : found) {
    if (!reading) continue;
    reading->isNegative = result.isNegative;
    result.readings.push_back(*std::move(reading));
  }
  return result;
}

}  // namespace Tessaly::inline v1::detail
