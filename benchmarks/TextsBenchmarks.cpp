// SPDX-License-Identifier: MIT
#include <unicode/curramt.h>
#include <unicode/currunit.h>
#include <unicode/datefmt.h>
#include <unicode/dtitvfmt.h>
#include <unicode/listformatter.h>
#include <unicode/measfmt.h>
#include <unicode/measunit.h>
#include <unicode/numberformatter.h>
#include <unicode/numberrangeformatter.h>
#include <unicode/plurrule.h>
#include <unicode/rbnf.h>
#include <unicode/reldatefmt.h>

#include <QDate>
#include <QLocale>
#include <QString>
#include <QStringList>
#include <memory>
#include <string>

#include "Harness.hpp"
#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DateFormatter.hpp"
#include "Tessaly/Core/Formatters/DateIntervalFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DurationFormatStyle.hpp"
#include "Tessaly/Core/Formatters/ListFormatStyle.hpp"
#include "Tessaly/Core/Formatters/MeasurementFormatStyle.hpp"
#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Core/Formatters/OrdinalFormatStyle.hpp"
#include "Tessaly/Core/Formatters/PercentFormatStyle.hpp"
#include "Tessaly/Core/Formatters/PluralRules.hpp"
#include "Tessaly/Core/Formatters/RelativeDateFormatStyle.hpp"

// Texts that desktops show: a kept style, beside a kept formatter of ICU and beside `QLocale`.

namespace Tessaly::Benchmarks {
namespace {

constexpr const char* bar = "ICU, cached";

std::string utf8(const icu::UnicodeString& units) {
  std::string text;
  return units.toUTF8String(text);
}

const icu::Locale& american() {
  static const icu::Locale locale("en_US");
  return locale;
}

std::shared_ptr<icu::number::LocalizedNumberFormatter> kept(const icu::number::LocalizedNumberFormatter& formatter) {
  return std::make_shared<icu::number::LocalizedNumberFormatter>(formatter);
}

std::string text(const icu::number::LocalizedNumberFormatter& formatter, double value) {
  UErrorCode status = U_ZERO_ERROR;
  return utf8(formatter.formatDouble(value, status).toString(status));
}

void addNumbers(Facility& facility, const Locale& locale) {
  using icu::number::Precision;
  const QLocale qt(QLocale::English, QLocale::UnitedStates);
  const auto numbers = icu::number::NumberFormatter::withLocale(american());
  UErrorCode status = U_ZERO_ERROR;

  facility.row("grouped number")
      .ours([style = NumberFormatStyle().locale(locale).fractionDigits(2)] { return style.format(1'234'567.891); })
      .peer(bar, [icu = kept(numbers.precision(Precision::fixedFraction(2)))] { return text(*icu, 1'234'567.891); })
      .peer("QLocale", [qt] { return qt.toString(1'234'567.891, 'f', 2).toStdString(); })
      .notSlowerThan("QLocale");
  facility.row("percent, one digit")
      .ours([style = PercentFormatStyle().locale(locale).fractionDigits(1)] { return style.format(0.1234); })
      .peer(bar, [icu = kept(numbers.unit(icu::NoUnit::percent())
                                 .scale(icu::number::Scale::powerOfTen(2))
                                 .precision(Precision::fixedFraction(1)))] { return text(*icu, 0.1234); })
      .peer("QLocale", [qt] { return (qt.toString(12.34, 'f', 1) + qt.percent()).toStdString(); })
      .notSlowerThan("QLocale");
  facility.row("amount of money")
      .ours([style = CurrencyFormatStyle("USD").locale(locale)] { return style.format(1234.5); })
      .peer(bar, [icu = kept(numbers.unit(icu::CurrencyUnit(u"USD", status)))] { return text(*icu, 1234.5); })
      .peer("QLocale", [qt] { return qt.toCurrencyString(1234.5).toStdString(); })
      .notSlowerThan("QLocale");
  facility.row("speed in the given unit")
      .ours([style = MeasurementFormatStyle().locale(locale).unit(MeasurementFormatStyle::UnitChoice::asGiven)] {
        return style.format({62.5, ::Tessaly::Quantity::Unit::milePerHour});
      })
      .peer(bar, [icu = kept(numbers.unit(icu::MeasureUnit::forIdentifier("mile-per-hour", status))
                                 .precision(Precision::maxFraction(1)))] { return text(*icu, 62.5); })
      .notSlowerThan(bar);
  facility.row("range of numbers")
      .ours([style = NumberFormatStyle().locale(locale)] { return style.formatRange(3, 5); })
      .peer(bar,
            [icu = std::make_shared<icu::number::LocalizedNumberRangeFormatter>(
                 icu::number::NumberRangeFormatter::withLocale(american()))] {
              UErrorCode failure = U_ZERO_ERROR;
              return utf8(icu->formatFormattableRange(3, 5, failure).toString(failure));
            })
      .notSlowerThan(bar);
}

void addReading(Facility& facility, const Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  const QLocale qt(QLocale::English, QLocale::UnitedStates);
  facility.row("amount of money, read")
      .ours([style = CurrencyFormatStyle("USD").locale(locale)] { return style.parse("$1,234.50"); })
      .peer(bar,
            [icu = std::shared_ptr<icu::NumberFormat>(icu::NumberFormat::createCurrencyInstance(american(), status))] {
              icu::ParsePosition position(0);
              const std::unique_ptr<icu::CurrencyAmount> amount(icu->parseCurrency(u"$1,234.50", position));
              UErrorCode failure = U_ZERO_ERROR;
              return amount->getNumber().getDouble(failure);
            })
      .notSlowerThan(bar);
  const auto formatter = std::make_shared<DateFormatter>();
  formatter->setLocale(locale);
  formatter->setTimeZone(TimeZone::gmt());
  formatter->setDateStyle(DateFormatter::Style::medium);
  const std::shared_ptr<icu::DateFormat> icuDates(
      icu::DateFormat::createDateInstance(icu::DateFormat::kMedium, american()));
  icuDates->adoptTimeZone(icu::TimeZone::getGMT()->clone());
  facility.row("date, read")
      .ours([formatter] { return formatter->date("Jan 2, 2023"); })
      .peer(bar,
            [icuDates] {
              UErrorCode failure = U_ZERO_ERROR;
              return icuDates->parse(u"Jan 2, 2023", failure);
            })
      .peer("QLocale", [qt] { return qt.toDate(QStringLiteral("Jan 2, 2023"), QStringLiteral("MMM d, yyyy")); })
      .notSlowerThan("QLocale");
}

void addWords(Facility& facility, const Locale& locale) {
  UErrorCode status = U_ZERO_ERROR;
  facility.row("5 minutes ago")
      .ours([style = RelativeDateFormatStyle().locale(locale)] {
        return style.format(-5, RelativeDateFormatStyle::Unit::minute);
      })
      .peer(bar,
            [icu = std::make_shared<icu::RelativeDateTimeFormatter>(american(), status)] {
              UErrorCode failure = U_ZERO_ERROR;
              icu::UnicodeString units;
              return utf8(icu->formatNumeric(-5, UDAT_REL_UNIT_MINUTE, units, failure));
            })
      .notSlowerThan(bar);
  facility.row("list of three")
      .ours([style = ListFormatStyle().locale(locale)] { return style.format({"red", "green", "blue"}); })
      .peer(bar,
            [icu = std::shared_ptr<icu::ListFormatter>(icu::ListFormatter::createInstance(american(), status))] {
              UErrorCode failure = U_ZERO_ERROR;
              const icu::UnicodeString items[] = {u"red", u"green", u"blue"};
              icu::UnicodeString units;
              return utf8(icu->format(items, 3, units, failure));
            })
      .peer("QLocale",
            [qt = QLocale(QLocale::English)] {
              return qt.createSeparatedList({QStringLiteral("red"), QStringLiteral("green"), QStringLiteral("blue")})
                  .toStdString();
            })
      .notSlowerThan("QLocale");
  facility.row("plural category")
      .ours([rules = PluralRules(PluralRules::Kind::cardinal, locale)] { return rules.category(21); })
      .peer(bar, [icu = std::shared_ptr<icu::PluralRules>(
                      icu::PluralRules::forLocale(american(), status))] { return icu->select(21).length(); })
      .notSlowerThan(bar);
  facility.row("22nd")
      .ours([style = OrdinalFormatStyle().locale(locale)] { return style.format(22); })
      .peer(bar,
            [icu = std::make_shared<icu::RuleBasedNumberFormat>(icu::URBNF_ORDINAL, american(), status)] {
              icu::UnicodeString units;
              return utf8(icu->format(22, units));
            })
      .notSlowerThan(bar);
}

void addTimes(Facility& facility, const Locale& locale) {
  constexpr double someSeconds = 1'672'671'845;
  UErrorCode status = U_ZERO_ERROR;
  facility.row("days, hours and minutes")
      .ours([style = DurationFormatStyle().locale(locale)] { return style.format(93'780); })
      .peer(bar,
            [icu = std::make_shared<icu::MeasureFormat>(american(), UMEASFMT_WIDTH_WIDE, status)] {
              UErrorCode failure = U_ZERO_ERROR;
              const icu::Measure measures[] = {{icu::Formattable(1), icu::MeasureUnit::createDay(failure), failure},
                                               {icu::Formattable(2), icu::MeasureUnit::createHour(failure), failure},
                                               {icu::Formattable(3), icu::MeasureUnit::createMinute(failure), failure}};
              icu::UnicodeString units;
              icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
              return utf8(icu->formatMeasures(measures, 3, units, position, failure));
            })
      .notSlowerThan(bar);
  facility.row("interval of dates")
      .ours([style = DateIntervalFormatStyle().locale(locale)] {
        return style.format(Date::since1970(someSeconds), Date::since1970(someSeconds + 259'200));
      })
      .peer(bar,
            [icu = std::shared_ptr<icu::DateIntervalFormat>(
                 icu::DateIntervalFormat::createInstance(u"yMMMd", american(), status))] {
              UErrorCode failure = U_ZERO_ERROR;
              const icu::DateInterval interval(someSeconds * 1000, (someSeconds + 259'200) * 1000);
              icu::UnicodeString units;
              icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
              return utf8(icu->format(&interval, units, position, failure));
            })
      .notSlowerThan(bar);
}

const Facility texts("Texts", [](Facility& facility) {
  const Locale locale("en_US");
  addNumbers(facility, locale);
  addReading(facility, locale);
  addWords(facility, locale);
  addTimes(facility, locale);
});

}  // namespace
}  // namespace Tessaly::Benchmarks
