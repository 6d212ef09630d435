// SPDX-License-Identifier: MIT
#include <unicode/dtitvfmt.h>
#include <unicode/dtptngen.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/measure.h>
#include <unicode/reldatefmt.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/udat.h>

#include <array>
#include <cmath>
#include <cstdlib>
#include <memory>
#include <tuple>

#include "tests/Core/Formatters/ICUTexts.hpp"

namespace Tessaly::Tests {
namespace {

using icu::UnicodeString;
using DateStyle = icu::DateFormat::EStyle;

std::string measures(const icu::Locale& locale, UMeasureFormatWidth width,
                     const std::vector<std::pair<double, const char*>>& parts) {
  return succeeding([&](UErrorCode& status) {
    const icu::MeasureFormat format(locale, width, status);
    std::vector<icu::Measure> list;
    for (const auto& [amount, unit] : parts) {
      list.emplace_back(icu::Formattable(amount), icu::MeasureUnit::forIdentifier(unit, status).clone(), status);
    }
    UnicodeString text;
    icu::FieldPosition anywhere(icu::FieldPosition::DONT_CARE);
    return utf8(format.formatMeasures(list.data(), static_cast<std::int32_t>(list.size()), text, anywhere, status));
  });
}

const char* unitOf(char letter) { return letter == 'h' ? "hour" : letter == 'm' ? "minute" : "second"; }

/// "-1h 30m". Only the first amount has the sign.
WriteByICU components(UMeasureFormatWidth width) {
  return [width](const icu::Locale& locale, const std::string& input) {
    std::vector<std::pair<double, const char*>> parts;
    for (const std::string& word : wordsOf(input)) parts.emplace_back(std::stod(word), unitOf(word.back()));
    return measures(locale, width, parts);
  };
}

/// "wide 93784", in days and smaller units.
std::string duration(const icu::Locale& locale, const std::string& input) {
  constexpr std::array widths{UMEASFMT_WIDTH_WIDE, UMEASFMT_WIDTH_SHORT, UMEASFMT_WIDTH_NARROW};
  const std::vector<std::string> words = wordsOf(input);
  const double seconds = std::stod(words.at(1));
  double rest = std::abs(seconds);
  std::vector<std::pair<double, const char*>> parts;
  for (const auto& [unit, size] :
       {std::pair("day", 86'400), std::pair("hour", 3600), std::pair("minute", 60), std::pair("second", 1)}) {
    const double amount = std::floor(rest / size);
    rest -= amount * size;
    if (amount > 0) parts.emplace_back(parts.empty() ? std::copysign(amount, seconds) : amount, unit);
  }
  if (parts.empty()) parts.emplace_back(0, "second");
  return measures(locale, widths.at(widthOf(words.at(0))), parts);
}

/// The pattern "h:mm:ss" from the text of one unit each.
std::string positionalPattern(const icu::Locale& locale, const std::string& input) {
  std::vector<std::pair<double, const char*>> parts;
  for (const char letter : input) parts.emplace_back(1, unitOf(letter));
  const icu::Locale digits(locale.getName(), nullptr, nullptr, "numbers=latn");
  std::string text = measures(digits, UMEASFMT_WIDTH_NUMERIC, parts);
  std::size_t field = 0;
  bool isInField = false;
  for (char& unit : text) {
    const bool isDigit = unit == '0' || unit == '1';
    if (isInField && !isDigit) ++field;
    isInField = isDigit;
    if (isDigit) unit = input.at(field);
  }
  return text;
}

/// "named wide day 1"
std::string relative(const icu::Locale& locale, const std::string& input) {
  constexpr std::array units{UDAT_REL_UNIT_YEAR, UDAT_REL_UNIT_QUARTER, UDAT_REL_UNIT_MONTH,  UDAT_REL_UNIT_WEEK,
                             UDAT_REL_UNIT_DAY,  UDAT_REL_UNIT_HOUR,    UDAT_REL_UNIT_MINUTE, UDAT_REL_UNIT_SECOND};
  const std::vector<std::string> words = wordsOf(input);
  return succeeding([&](UErrorCode& status) {
    const icu::RelativeDateTimeFormatter format(locale, nullptr,
                                                static_cast<UDateRelativeDateTimeFormatterStyle>(widthOf(words.at(1))),
                                                UDISPCTX_CAPITALIZATION_NONE, status);
    const auto unit =
        units.at(placeOf(words.at(2), {"year", "quarter", "month", "week", "day", "hour", "minute", "second"}));
    UnicodeString text;
    return utf8(words.at(0) == "named" ? format.format(std::stod(words.at(3)), unit, text, status)
                                       : format.formatNumeric(std::stod(words.at(3)), unit, text, status));
  });
}

/// 2023-01-02 15:04:05 in Greenwich.
constexpr double start = 1'672'671'845;

/// The seconds of "d1", "d2" and "day-3(now)". The days are counted from 2026-11-20 15:04:00.
double secondsOf(const std::string& input) {
  if (input == "d1") return start;
  if (input == "d2") return 1'704'013'620;
  return 1'795'187'040 + std::stod(input.substr(3)) * 86'400;
}

using Format = std::unique_ptr<icu::DateFormat>;

Format styled(DateStyle dateStyle, DateStyle timeStyle, const icu::Locale& locale) {
  return Format(icu::DateFormat::createDateTimeInstance(dateStyle, timeStyle, locale));
}

UnicodeString patternOf(const icu::DateFormat& format) {
  UnicodeString pattern;
  return dynamic_cast<const icu::SimpleDateFormat&>(format).toPattern(pattern);
}

std::string dateOf(icu::DateFormat& format, double seconds, UDisplayContext context = UDISPCTX_CAPITALIZATION_NONE) {
  return succeeding([&](UErrorCode& status) {
    format.adoptTimeZone(icu::TimeZone::getGMT()->clone());
    format.setContext(context, status);
    UnicodeString text;
    return utf8(format.format(seconds * 1000 + 0.5, text));
  });
}

/// The pattern of a relative format, with its glue.
UnicodeString relativePattern(DateStyle dateStyle, DateStyle timeStyle, const icu::Locale& locale) {
  return succeeding([&](UErrorCode& status) {
    UDateFormat* format = udat_open(static_cast<UDateFormatStyle>(timeStyle),
                                    static_cast<UDateFormatStyle>(dateStyle | icu::DateFormat::kRelative),
                                    locale.getName(), nullptr, 0, nullptr, 0, &status);
    char16_t pattern[200];
    const std::int32_t length = udat_toPattern(format, 0, pattern, std::size(pattern), &status);
    udat_close(format);
    return UnicodeString(pattern, length);
  });
}

/// The capitalised word for a day, counted from today. Empty if the language has none.
UnicodeString wordForDay(const icu::Locale& locale, int day) {
  constexpr std::array directions{UDAT_DIRECTION_LAST_2, UDAT_DIRECTION_LAST, UDAT_DIRECTION_THIS, UDAT_DIRECTION_NEXT,
                                  UDAT_DIRECTION_NEXT_2};
  UnicodeString word;
  if (std::abs(day) > 2) return word;
  return succeeding([&](UErrorCode& status) {
    const icu::RelativeDateTimeFormatter format(locale, nullptr, UDAT_STYLE_LONG,
                                                UDISPCTX_CAPITALIZATION_FOR_BEGINNING_OF_SENTENCE, status);
    return format.format(directions.at(static_cast<std::size_t>(day + 2)), UDAT_ABSOLUTE_DAY, word, status);
  });
}

WriteByICU plainDates(DateStyle dateStyle, DateStyle timeStyle, UDisplayContext context) {
  return [=](const icu::Locale& locale, const std::string& input) {
    return dateOf(*styled(dateStyle, timeStyle, locale), secondsOf(input), context);
  };
}

WriteByICU patternsOfDates(DateStyle dateStyle, DateStyle timeStyle) {
  return [=](const icu::Locale& locale, const std::string&) {
    return utf8(patternOf(*styled(dateStyle, timeStyle, locale)));
  };
}

/// A word takes the place of the date in the pattern.
WriteByICU relativeDates(DateStyle dateStyle, DateStyle timeStyle) {
  return [=](const icu::Locale& locale, const std::string& input) {
    UnicodeString pattern = relativePattern(dateStyle, timeStyle, locale);
    if (UnicodeString word = wordForDay(locale, std::stoi(input.substr(3))); !word.isEmpty()) {
      word.findAndReplace(u"'", u"''");
      pattern.findAndReplace(relativePattern(dateStyle, icu::DateFormat::kNone, locale), u"'" + word + u"'");
    }
    return succeeding([&](UErrorCode& status) {
      icu::SimpleDateFormat format(pattern, locale, status);
      return dateOf(format, secondsOf(input), UDISPCTX_CAPITALIZATION_FOR_BEGINNING_OF_SENTENCE);
    });
  };
}

UnicodeString patternOfFields(const icu::Locale& locale, const char16_t* fields) {
  return succeeding([&](UErrorCode& status) {
    const std::unique_ptr<icu::DateTimePatternGenerator> generator(
        icu::DateTimePatternGenerator::createInstance(locale, status));
    return generator->getBestPattern(fields, UDATPG_MATCH_ALL_FIELDS_LENGTH, status);
  });
}

WriteByICU fieldsOfDates(const char16_t* fields) {
  return [=](const icu::Locale& locale, const std::string& input) {
    return succeeding([&](UErrorCode& status) {
      icu::SimpleDateFormat format(patternOfFields(locale, fields), locale, status);
      return dateOf(format, secondsOf(input));
    });
  };
}

/// "2 1 3600": the width of the dates, whether they have times, and the length in seconds.
std::string interval(const icu::Locale& locale, const std::string& input) {
  constexpr std::array<const char16_t*, 5> dates{u"", u"yMd", u"yMMMd", u"yMMMMd", u"yMMMMEEEEd"};
  const std::vector<std::string> words = wordsOf(input);
  return succeeding([&](UErrorCode& status) {
    UnicodeString skeleton(dates.at(static_cast<std::size_t>(std::stoi(words.at(0)))));
    if (words.at(1) == "1") skeleton += u"jm";
    const std::unique_ptr<icu::DateIntervalFormat> format(
        icu::DateIntervalFormat::createInstance(skeleton, locale, status));
    format->setTimeZone(*icu::TimeZone::getGMT());
    const icu::DateInterval dateInterval(start * 1000, (start + std::stod(words.at(2))) * 1000);
    UnicodeString text;
    icu::FieldPosition anywhere(icu::FieldPosition::DONT_CARE);
    return utf8(format->format(&dateInterval, text, anywhere, status));
  });
}

}  // namespace

WritersByICU writersOfDates() {
  constexpr DateStyle none = icu::DateFormat::kNone;
  constexpr DateStyle medium = icu::DateFormat::kMedium;
  constexpr DateStyle brief = icu::DateFormat::kShort;
  constexpr UDisplayContext beginning = UDISPCTX_CAPITALIZATION_FOR_BEGINNING_OF_SENTENCE;
  WritersByICU writers{{"icu/dur-full", components(UMEASFMT_WIDTH_WIDE)},
                       {"icu/dur-narrow", components(UMEASFMT_WIDTH_NARROW)},
                       {"icu/durPattern", positionalPattern},
                       {"texts/duration", duration},
                       {"texts/relative", relative},
                       {"texts/interval", interval},
                       {"icu/mediumDate", plainDates(medium, none, UDISPCTX_CAPITALIZATION_NONE)},
                       {"icu/mediumDate+time", plainDates(medium, brief, UDISPCTX_CAPITALIZATION_NONE)},
                       {"icu/timeOnly", plainDates(none, brief, UDISPCTX_CAPITALIZATION_NONE)},
                       {"icu/mediumDatePat", patternsOfDates(medium, none)},
                       {"icu/mediumDate+timePat", patternsOfDates(medium, brief)},
                       {"icu/timeOnlyPat", patternsOfDates(none, brief)}};
  for (const auto& [name, style] :
       {std::pair("short", brief), std::pair("medium", medium), std::pair("long", icu::DateFormat::kLong),
        std::pair("full", icu::DateFormat::kFull)}) {
    writers[std::string("icu/plain-") + name] = plainDates(style, none, beginning);
    writers[std::string("icu/plain-") + name + "+time"] = plainDates(style, brief, beginning);
    writers[std::string("icu/relative-") + name] = relativeDates(style, none);
    writers[std::string("icu/relative-") + name + "+time"] = relativeDates(style, brief);
  }
  for (const auto& [name, patternName, fields] :
       {std::tuple("icu/compact15", "icu/compact15pat", u"jjmm"),
        std::tuple("icu/compactOld", "icu/compactOldpat", u"MMddjjmm"),
        std::tuple("icu/numeric+standard", "icu/numeric+standardpat", u"yMdjmmss")}) {
    writers[name] = fieldsOfDates(fields);
    writers[patternName] = [fields](const icu::Locale& locale, const std::string&) {
      return utf8(patternOfFields(locale, fields));
    };
  }
  return writers;
}

}  // namespace Tessaly::Tests
