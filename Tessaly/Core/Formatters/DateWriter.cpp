// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/detail/DateWriter.hpp"

#include <unicode/calendar.h>
#include <unicode/decimfmt.h>
#include <unicode/dtfmtsym.h>
#include <unicode/smpdtfmt.h>

#include <algorithm>
#include <span>
#include <string_view>
#include <utility>

#include "Tessaly/Core/Formatters/detail/RelativeDay.hpp"
#include "Tessaly/Core/Text/detail/UTF16Output.hpp"

namespace Tessaly::inline v1::detail {
namespace {

/// The part for a field of a pattern, which is a repeated letter. Absent if the field is left to ICU.
std::optional<DateWriter::Part> partOf(char16_t letter, int count, const icu::DateFormatSymbols& symbols) {
  using Field = DateWriter::Field;
  using icu::DateFormatSymbols;
  const auto width = [count] {
    return count == 3   ? DateFormatSymbols::ABBREVIATED
           : count == 4 ? DateFormatSymbols::WIDE
                        : DateFormatSymbols::NARROW;
  };
  const auto named = [](Field field, std::span<const icu::UnicodeString> names) {
    DateWriter::Part part{.field = field, .names = {}};
    for (const icu::UnicodeString& name : names) part.names.push_back(fromUTF16(name));
    return part;
  };
  const bool isStandalone = letter == u'L' || letter == u'c';
  const auto context = isStandalone ? DateFormatSymbols::STANDALONE : DateFormatSymbols::FORMAT;
  std::int32_t found = 0;
  switch (letter) {
    case u'y':
      if (count == 2) return DateWriter::Part{.field = Field::yearOfCentury, .names = {}};
      return DateWriter::Part{.field = Field::year, .digits = count, .names = {}};
    case u'M':
    case u'L': {
      if (count < 3) return DateWriter::Part{.field = Field::month, .digits = count, .names = {}};
      const icu::UnicodeString* names = symbols.getMonths(found, context, width());
      if (count > 5 || found < 12) return std::nullopt;
      return named(Field::monthName, {names, 12});
    }
    case u'E':
    case u'c': {
      if (count > 5 || (isStandalone && count < 3)) return std::nullopt;
      const icu::UnicodeString* names =
          symbols.getWeekdays(found, context, count < 3 ? DateFormatSymbols::ABBREVIATED : width());
      if (found < 8) return std::nullopt;
      return named(Field::weekdayName, std::span(names, 8).subspan(1));
    }
    case u'a': {
      const icu::UnicodeString* names = symbols.getAmPmStrings(found);
      if (count > 4 || found < 2) return std::nullopt;
      return named(Field::dayPeriod, {names, 2});
    }
    case u'd':
      return DateWriter::Part{.field = Field::day, .digits = count, .names = {}};
    case u'H':
      return DateWriter::Part{.field = Field::hour, .digits = count, .names = {}};
    case u'h':
      return DateWriter::Part{.field = Field::hourOfTwelve, .digits = count, .names = {}};
    case u'm':
      return DateWriter::Part{.field = Field::minute, .digits = count, .names = {}};
    case u's':
      return DateWriter::Part{.field = Field::second, .digits = count, .names = {}};
    default:
      return std::nullopt;
  }
}

}  // namespace

template <typename SimpleDateFormat>
std::optional<DateWriter> dateWriterOf(const SimpleDateFormat& format, const std::string& locale, bool isCapitalised) {
  constexpr std::u16string_view numericFields = u"yMdHhms";
  if (std::string_view(format.getCalendar()->getType()) != "gregorian") return std::nullopt;
  const auto* numbers = dynamic_cast<const icu::DecimalFormat*>(format.getNumberFormat());
  if (numbers == nullptr || std::ranges::any_of(numericFields, [&](char16_t field) {
        return format.getNumberFormatForField(field) != numbers;
      })) {
    return std::nullopt;
  }
  DateWriter writer;
  for (int digit = 0; digit < 10; ++digit) {
    writer.digits[static_cast<std::size_t>(digit)] =
        fromUTF16(numbers->getDecimalFormatSymbols()->getConstDigitSymbol(digit));
  }
  icu::UnicodeString pattern;
  format.toPattern(pattern);
  icu::UnicodeString literal;
  const auto endLiteral = [&] {
    if (literal.isEmpty()) return;
    writer.parts.push_back({.field = DateWriter::Field::literal, .names = {fromUTF16(literal)}});
    literal.remove();
  };
  bool isFirst = true;
  bool isQuoted = false;
  for (std::int32_t at = 0; at < pattern.length();) {
    const char16_t unit = pattern.charAt(at);
    const bool isLetter = (unit >= u'a' && unit <= u'z') || (unit >= u'A' && unit <= u'Z');
    if (unit == u'\'') {
      const bool isDoubled = at + 1 < pattern.length() && pattern.charAt(at + 1) == u'\'';
      if (isDoubled) {
        literal += u'\'';
      } else {
        isQuoted = !isQuoted;
      }
      at += isDoubled ? 2 : 1;
    } else if (isQuoted || !isLetter) {
      literal += unit;
      ++at;
    } else {
      std::int32_t end = at;
      while (end < pattern.length() && pattern.charAt(end) == unit) ++end;
      auto part = partOf(unit, end - at, *format.getDateFormatSymbols());
      if (!part) return std::nullopt;
      endLiteral();
      if (isFirst && isCapitalised) capitalise(part->names, locale);
      isFirst = false;
      writer.parts.push_back(*std::move(part));
      at = end;
    }
  }
  endLiteral();
  return writer;
}

template std::optional<DateWriter> dateWriterOf(const icu::SimpleDateFormat&, const std::string&, bool);

}  // namespace Tessaly::inline v1::detail
