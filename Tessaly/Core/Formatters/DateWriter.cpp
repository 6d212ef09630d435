// SPDX-License-Identifier: MIT
#include "Tessaly/Core/Formatters/detail/DateWriter.hpp"

#include <unicode/calendar.h>
#include <unicode/decimfmt.h>
#include <unicode/dtfmtsym.h>
#include <unicode/smpdtfmt.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
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

/// Takes the parts of a date from the beginning of a text.
class Taking {
 public:
  Taking(std::string_view text, const std::array<std::string, 10>& digits) : rest_(text), digits_(digits) {}

  [[nodiscard]] bool isAtEnd() const { return rest_.empty(); }

  /// Takes this text. False if the remaining text does not begin with it.
  bool take(std::string_view sought) {
    if (!rest_.starts_with(sought)) return false;
    rest_.remove_prefix(sought.size());
    return true;
  }

  /// Takes a number of at most `maximum` digits.
  std::optional<int> number(int maximum) {
    std::optional<int> value;
    for (int count = 0; count < maximum; ++count) {
      const auto digit = std::ranges::find_if(digits_, [this](const std::string& text) { return take(text); });
      if (digit == digits_.end()) break;
      value = value.value_or(0) * 10 + static_cast<int>(digit - digits_.begin());
    }
    return value;
  }

  /// Takes the longest name that fits. Absent if it stands for more than one value.
  std::optional<int> name(const std::vector<std::string>& names) {
    std::optional<int> index;
    std::size_t length = 0;
    for (std::size_t at = 0; at < names.size(); ++at) {
      if (names[at].size() < length || !rest_.starts_with(names[at])) continue;
      index = names[at].size() > length ? std::optional(static_cast<int>(at)) : std::nullopt;
      length = names[at].size();
    }
    rest_.remove_prefix(length);
    return index;
  }

 private:
  std::string_view rest_;
  const std::array<std::string, 10>& digits_;
};

/// The values of the fields, by `DateWriter::Field`. The values of names count from zero.
using Values = std::array<std::optional<int>, 12>;

std::optional<int> valueOf(const Values& values, DateWriter::Field field) {
  return values[static_cast<std::size_t>(field)];
}

/// The full number of a year of two digits, in the century that begins 80 years before a day.
int fullYear(int yearOfCentury, std::chrono::month month, std::chrono::day day, std::chrono::sys_days today) {
  const std::chrono::year_month_day now(today);
  const std::chrono::year first = now.year() - std::chrono::years(80);
  const std::chrono::year year{int{first} - int{first} % 100 + yearOfCentury};
  return int{year} + (year / month / day < first / now.month() / now.day() ? 100 : 0);
}

/// The day of the values, which is today if they have no field of a date. Absent if there is no such day, or if fields
/// of the date are missing.
std::optional<std::chrono::sys_days> dayOf(const Values& values, std::chrono::sys_days today) {
  using Field = DateWriter::Field;
  const std::optional<int> month =
      valueOf(values, Field::monthName).transform([](int index) { return index + 1; }).or_else([&] {
        return valueOf(values, Field::month);
      });
  const std::optional<int> day = valueOf(values, Field::day);
  const std::optional<int> year = valueOf(values, Field::year);
  const std::optional<int> yearOfCentury = valueOf(values, Field::yearOfCentury);
  if (!month && !day && !year && !yearOfCentury) return today;
  if (!month || !day || (!year && !yearOfCentury)) return std::nullopt;
  const std::chrono::month namedMonth{static_cast<unsigned>(*month)};
  const std::chrono::day namedDay{static_cast<unsigned>(*day)};
  const int fourDigits = year ? *year : fullYear(*yearOfCentury, namedMonth, namedDay, today);
  const std::chrono::year_month_day date = std::chrono::year(fourDigits) / namedMonth / namedDay;
  return date.ok() ? std::optional(std::chrono::sys_days(date)) : std::nullopt;
}

}  // namespace

std::optional<std::int64_t> DateWriter::read(std::string_view text, std::chrono::sys_days today) const {
  Values values;
  Taking taking(text, digits);
  for (const Part& part : parts) {
    if (part.field == Field::literal) {
      if (!taking.take(part.names.front())) return std::nullopt;
      continue;
    }
    const std::optional<int> value =
        part.names.empty() ? taking.number(part.field == Field::year ? 4 : 2) : taking.name(part.names);
    if (!value) return std::nullopt;
    values[static_cast<std::size_t>(part.field)] = value;
  }
  const std::optional<std::chrono::sys_days> day = dayOf(values, today);
  if (!taking.isAtEnd() || !day) return std::nullopt;
  int hour = valueOf(values, Field::hour).value_or(0);
  if (const auto hourOfHalf = valueOf(values, Field::hourOfTwelve)) {
    hour = *hourOfHalf % 12 + 12 * valueOf(values, Field::dayPeriod).value_or(0);
  }
  const int minute = valueOf(values, Field::minute).value_or(0);
  const int second = valueOf(values, Field::second).value_or(0);
  if (hour > 23 || minute > 59 || second > 59) return std::nullopt;
  const std::chrono::milliseconds sum =
      day->time_since_epoch() + std::chrono::hours(hour) + std::chrono::minutes(minute) + std::chrono::seconds(second);
  return sum.count();
}

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
