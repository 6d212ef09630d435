// SPDX-License-Identifier: MIT
#include <unicode/decimfmt.h>
#include <unicode/measfmt.h>
#include <unicode/numberformatter.h>
#include <unicode/smpdtfmt.h>

#include <QDateTime>
#include <QLocale>
#include <iomanip>
#include <locale>
#include <memory>
#include <mutex>
#include <sstream>

#include "Harness.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "Tessaly/Platform/Text/GraphemeClusters.hpp"
#include "TwoThreads.hpp"

namespace Tessaly::Benchmarks {
namespace {

constexpr int turns = 2'000;
constexpr double someSeconds = 1'672'671'845;

const icu::Locale& english() {
  static const icu::Locale locale("en_US");
  return locale;
}

std::string utf8(const icu::UnicodeString& units) {
  std::string text;
  return units.toUTF8String(text);
}

std::shared_ptr<icu::DecimalFormat> stockPercent() {
  UErrorCode status = U_ZERO_ERROR;
  auto* format = dynamic_cast<icu::DecimalFormat*>(icu::NumberFormat::createPercentInstance(english(), status));
  return std::shared_ptr<icu::DecimalFormat>(format);
}

std::shared_ptr<icu::DecimalFormat> stockDecimal() {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_shared<icu::DecimalFormat>(icu::UnicodeString(u"#"),
                                                     new icu::DecimalFormatSymbols(english(), status), status);
  format->setMaximumFractionDigits(2);
  return format;
}

std::shared_ptr<icu::DateFormat> stockDate(int dateStyle) {
  return std::shared_ptr<icu::DateFormat>(icu::DateFormat::createDateTimeInstance(
      static_cast<icu::DateFormat::EStyle>(dateStyle), icu::DateFormat::kShort, english()));
}

std::string format(const icu::DecimalFormat& formatter, double value) {
  icu::UnicodeString units;
  return utf8(formatter.format(value, units));
}

std::string format(const icu::DateFormat& formatter, double seconds) {
  icu::UnicodeString units;
  return utf8(formatter.format(seconds * 1000, units));
}

/// Two threads that format at once: the time between two texts of either.
template <typename Body>
auto contended(Body body) {
  return [body] {
    return [body, threads = std::make_shared<TwoThreads>()] {
      threads->run([&] {
        for (int turn = 0; turn < turns; ++turn) benchmark::DoNotOptimize(body());
      });
    };
  };
}

const Facility formatting("Formatting", [](Facility& facility) {
  FormattingService::setLanguage("en_US");
  const QLocale qt(QLocale::English, QLocale::UnitedStates);

  facility.row("percent")
      .ours([] { return FormattingService::Number::percent(0.575); })
      .peer("ICU, cached", [formatter = stockPercent()] { return format(*formatter, 0.575); })
      .peer("QLocale", [qt] { return (qt.toString(0.575 * 100, 'f', 0) + qt.percent()).toStdString(); })
      .notSlowerThan("ICU, cached");

  facility.row("decimal, two digits")
      .ours([] { return FormattingService::Number::limitedFractionDigit(1234.5678, 2); })
      .peer("ICU, cached", [formatter = stockDecimal()] { return format(*formatter, 1234.5678); })
      .peer("QLocale", [qt] { return qt.toString(1234.5678, 'f', 2).toStdString(); })
      .peer("std::ostringstream",
            [] {
              std::ostringstream stream;
              stream << std::fixed << std::setprecision(2) << 1234.5678;
              return stream.str();
            })
      .notSlowerThan("ICU, cached");

  facility.row("decimal, 2 threads", 2 * turns)
      .ours(contended([] { return FormattingService::Number::limitedFractionDigit(1234.5678, 2); }))
      .peer("ICU, cached, shared under a lock",
            contended([formatter = stockDecimal(), mutex = std::make_shared<std::mutex>()] {
              const std::lock_guard guard(*mutex);
              return format(*formatter, 1234.5678);
            }));

  facility.row("bytes")
      .ours([] { return FormattingService::Bytes::string(1'234'567'890); })
      .peer("ICU, cached",
            [formatter = std::make_shared<icu::number::LocalizedNumberFormatter>([] {
               UErrorCode status = U_ZERO_ERROR;
               return icu::number::NumberFormatter::forSkeleton(u".## measure-unit/digital-gigabyte", status)
                   .locale(english());
             }())] {
              UErrorCode status = U_ZERO_ERROR;
              return utf8(formatter->formatDouble(1.23456789, status).toString(status));
            })
      .peer("QLocale",
            [qt] { return qt.formattedDataSize(1'234'567'890, 2, QLocale::DataSizeSIFormat).toStdString(); });

  facility.row("medium date and time")
      .ours([] { return FormattingService::Date::mediumDate(Date::since1970(someSeconds), true); })
      .peer("ICU, cached",
            [formatter = stockDate(icu::DateFormat::kMedium)] { return format(*formatter, someSeconds); })
      .peer("QLocale",
            [qt] {
              return qt.toString(QDateTime::fromSecsSinceEpoch(static_cast<qint64>(someSeconds)), QLocale::ShortFormat)
                  .toStdString();
            })
      .notSlowerThan("ICU, cached");

  facility.row("relative date and time, yesterday")
      .ours([] {
        return FormattingService::Date::relative(Date::now() + -86'400.0, DateFormatter::Style::medium, true, true);
      })
      .peer("ICU, cached",
            [formatter = stockDate(icu::DateFormat::kMedium | icu::DateFormat::kRelative)] {
              return format(*formatter, Date::now().timeIntervalSince1970() - 86'400.0);
            })
      .notSlowerThan("ICU, cached");

  facility.row("positional duration")
      .ours([] { return FormattingService::Duration::positional(543); })
      .peer("ICU, cached", [formatter = [] {
              UErrorCode status = U_ZERO_ERROR;
              return std::make_shared<icu::MeasureFormat>(english(), UMEASFMT_WIDTH_NUMERIC, status);
            }()] {
        UErrorCode status = U_ZERO_ERROR;
        const icu::Measure measures[] = {{icu::Formattable(9.0), icu::MeasureUnit::createMinute(status), status},
                                         {icu::Formattable(3.0), icu::MeasureUnit::createSecond(status), status}};
        icu::UnicodeString units;
        icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
        return utf8(formatter->formatMeasures(measures, 2, units, position, status));
      });

  facility.row("typing at the end of a megabyte, limit 100 characters")
      .ours([limit = Formatters::CharactersLimit::make(100), text = std::string(1 << 20, 'a')] {
        return limit->isPartialStringValid(text);
      })
      .peer("counting all", [text = std::string(1 << 20, 'a')] { return Text::graphemeClusterCount(text) < 100; });
});

}  // namespace
}  // namespace Tessaly::Benchmarks
