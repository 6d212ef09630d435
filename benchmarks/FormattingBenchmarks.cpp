// SPDX-License-Identifier: MIT
#include <unicode/brkiter.h>
#include <unicode/decimfmt.h>
#include <unicode/measfmt.h>
#include <unicode/numberformatter.h>
#include <unicode/smpdtfmt.h>

#include <QDateTime>
#include <QLocale>
#include <QString>
#include <QTextBoundaryFinder>
#include <array>
#include <ctime>
#include <iomanip>
#include <locale>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>

#include "Harness.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/FormattingService.hpp"
#include "ThreadTeam.hpp"

namespace Tessaly::Benchmarks {
namespace {

constexpr int turns = 500;
constexpr double someSeconds = 1'672'671'845;

const icu::Locale& english() {
  static const icu::Locale locale("en_US");
  return locale;
}

std::string utf8(const icu::UnicodeString& units) {
  std::string text;
  return units.toUTF8String(text);
}

std::shared_ptr<icu::DecimalFormat> stockPercent(const icu::Locale& locale = english()) {
  UErrorCode status = U_ZERO_ERROR;
  auto* format = dynamic_cast<icu::DecimalFormat*>(icu::NumberFormat::createPercentInstance(locale, status));
  return std::shared_ptr<icu::DecimalFormat>(format);
}

std::shared_ptr<icu::DecimalFormat> stockDecimal() {
  UErrorCode status = U_ZERO_ERROR;
  auto format = std::make_shared<icu::DecimalFormat>(icu::UnicodeString(u"#"),
                                                     new icu::DecimalFormatSymbols(english(), status), status);
  format->setMaximumFractionDigits(2);
  return format;
}

std::shared_ptr<icu::number::LocalizedNumberFormatter> stockGigabytes(const icu::Locale& locale = english()) {
  UErrorCode status = U_ZERO_ERROR;
  return std::make_shared<icu::number::LocalizedNumberFormatter>(
      icu::number::NumberFormatter::forSkeleton(u".## measure-unit/digital-gigabyte", status).locale(locale));
}

std::shared_ptr<icu::DateFormat> stockDate(int dateStyle, const icu::Locale& locale = english()) {
  return std::shared_ptr<icu::DateFormat>(icu::DateFormat::createDateTimeInstance(
      static_cast<icu::DateFormat::EStyle>(dateStyle), icu::DateFormat::kShort, locale));
}

std::shared_ptr<icu::MeasureFormat> stockDuration(const icu::Locale& locale = english()) {
  UErrorCode status = U_ZERO_ERROR;
  return std::make_shared<icu::MeasureFormat>(locale, UMEASFMT_WIDTH_NUMERIC, status);
}

std::string format(const icu::DecimalFormat& formatter, double value) {
  icu::UnicodeString units;
  return utf8(formatter.format(value, units));
}

std::string format(const icu::number::LocalizedNumberFormatter& formatter, double value) {
  UErrorCode status = U_ZERO_ERROR;
  return utf8(formatter.formatDouble(value, status).toString(status));
}

std::string format(const icu::DateFormat& formatter, double seconds) {
  icu::UnicodeString units;
  return utf8(formatter.format(seconds * 1000, units));
}

std::string format(const icu::MeasureFormat& formatter, double minutes, double seconds) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Measure measures[] = {{icu::Formattable(minutes), icu::MeasureUnit::createMinute(status), status},
                                   {icu::Formattable(seconds), icu::MeasureUnit::createSecond(status), status}};
  icu::UnicodeString units;
  icu::FieldPosition position(icu::FieldPosition::DONT_CARE);
  return utf8(formatter.formatMeasures(measures, 2, units, position, status));
}

/// Threads that format at once. The figure is the time between two texts of any thread.
template <typename Body>
auto onThreads(int count, Body body) {
  return [=] {
    return [body, team = std::make_shared<ThreadTeam>(count)] {
      team->run([&] {
        for (int turn = 0; turn < turns; ++turn) benchmark::DoNotOptimize(body());
      });
    };
  };
}

template <typename Body>
auto underALock(Body body) {
  return [body, mutex = std::make_shared<std::mutex>()] {
    const std::lock_guard guard(*mutex);
    return body();
  };
}

struct Absent {};

/// One operation on one, two and eight threads. The formatter of ICU is reused. Threads that share it use a lock.
template <typename Ours, typename Stock, typename Qt = Absent, typename Stream = Absent>
void compare(Facility& facility, const std::string& operation, Ours ours, Stock stock, Qt qt = {}, Stream stream = {}) {
  for (const int count : {1, 2, 8}) {
    const std::string name = count == 1 ? operation : operation + ", " + std::to_string(count) + " threads";
    const std::string bar = count == 1 ? "ICU, cached" : "ICU, cached, shared under a lock";
    Row& row = facility.row(name, count == 1 ? 1 : std::int64_t{count} * turns);
    const auto add = [&](const std::string& peer, auto body) {
      if constexpr (!std::is_same_v<decltype(body), Absent>) {
        if (count == 1) {
          row.peer(peer, body);
        } else {
          row.peer(peer, onThreads(count, body));
        }
      }
    };
    if (count == 1) {
      row.ours(ours).peer(bar, stock);
    } else {
      row.ours(onThreads(count, ours)).peer(bar, onThreads(count, underALock(stock)));
    }
    add("QLocale", qt);
    add("iostream", stream);
    row.notSlowerThan(bar);
  }
}

/// One megabyte of multi-byte and combining letters.
std::string mixedText() {
  std::string text;
  while (text.size() < 1 << 20) text += "Grüße, मूर्तियाँ, 東京 und 👨‍👩‍👧! ";
  return text;
}

const Facility formatting("Formatting", [](Facility& facility) {
  FormattingService::setLanguage("en_US");
  const QLocale qt(QLocale::English, QLocale::UnitedStates);

  compare(
      facility, "bytes", [] { return FormattingService::Bytes::string(1'234'567'890); },
      [formatter = stockGigabytes()] { return format(*formatter, 1.23456789); },
      [qt] { return qt.formattedDataSize(1'234'567'890, 2, QLocale::DataSizeSIFormat).toStdString(); });

  compare(
      facility, "percent", [] { return FormattingService::Number::percent(0.575); },
      [formatter = stockPercent()] { return format(*formatter, 0.575); },
      [qt] { return (qt.toString(0.575 * 100, 'f', 0) + qt.percent()).toStdString(); },
      [] {
        std::ostringstream stream;
        stream << std::fixed << std::setprecision(0) << 0.575 * 100 << '%';
        return stream.str();
      });

  compare(
      facility, "decimal, two digits", [] { return FormattingService::Number::limitedFractionDigit(1234.5678, 2); },
      [formatter = stockDecimal()] { return format(*formatter, 1234.5678); },
      [qt] { return qt.toString(1234.5678, 'f', 2).toStdString(); },
      [] {
        std::ostringstream stream;
        stream << std::fixed << std::setprecision(2) << 1234.5678;
        return stream.str();
      });

  compare(
      facility, "medium date and time",
      [] { return FormattingService::Date::mediumDate(Date::since1970(someSeconds), true); },
      [formatter = stockDate(icu::DateFormat::kMedium)] { return format(*formatter, someSeconds); },
      [qt] {
        return qt.toString(QDateTime::fromSecsSinceEpoch(static_cast<qint64>(someSeconds)), QLocale::ShortFormat)
            .toStdString();
      },
      [] {
        const auto seconds = static_cast<std::time_t>(someSeconds);
        std::tm parts{};
        ::localtime_r(&seconds, &parts);
        std::ostringstream stream;
        stream << std::put_time(&parts, "%b %e, %Y, %I:%M %p");
        return stream.str();
      });

  compare(
      facility, "relative date and time, yesterday",
      [] {
        return FormattingService::Date::relative(Date::now() + -86'400.0, DateFormatter::Style::medium, true, true);
      },
      [formatter = stockDate(icu::DateFormat::kMedium | icu::DateFormat::kRelative)] {
        return format(*formatter, Date::now().timeIntervalSince1970() - 86'400.0);
      });

  compare(
      facility, "positional duration", [] { return FormattingService::Duration::positional(543); },
      [formatter = stockDuration()] { return format(*formatter, 9, 3); }, Absent(),
      [] {
        std::ostringstream stream;
        stream << 543 / 60 << ':' << std::setw(2) << std::setfill('0') << 543 % 60;
        return stream.str();
      });

  constexpr std::array codes{"en", "de", "fr", "es", "sv", "ru", "he", "ar", "hi", "ja", "pt", "it",
                             "nl", "pl", "tr", "ko", "zh", "th", "el", "da", "fi", "cs", "uk", "vi"};
  facility.row("percent, in a language not used lately")
      .ours([codes, turn = std::size_t{0}]() mutable {
        FormattingService::setLanguage(codes[turn++ % codes.size()]);
        return FormattingService::Number::percent(0.575);
      })
      .peer("ICU, made anew", [codes, turn = std::size_t{0}]() mutable {
        return format(*stockPercent(icu::Locale(codes[turn++ % codes.size()])), 0.575);
      });
  facility.row("medium date and time, in a language not used lately")
      .ours([codes, turn = std::size_t{0}]() mutable {
        FormattingService::setLanguage(codes[turn++ % codes.size()]);
        return FormattingService::Date::mediumDate(Date::since1970(someSeconds), true);
      })
      .peer("ICU, made anew", [codes, turn = std::size_t{0}]() mutable {
        return format(*stockDate(icu::DateFormat::kMedium, icu::Locale(codes[turn++ % codes.size()])), someSeconds);
      });

  facility.row("typing at the end of a megabyte, limit 100 characters")
      .ours([limit = Formatters::CharactersLimit::make(100), text = mixedText()] {
        return limit->isPartialStringValid(text);
      })
      .peer("ICU, as far as the limit", [text = mixedText()] {
        UErrorCode status = U_ZERO_ERROR;
        UText units = UTEXT_INITIALIZER;
        utext_openUTF8(&units, text.data(), static_cast<std::int64_t>(text.size()), &status);
        const std::unique_ptr<icu::BreakIterator> characters(
            icu::BreakIterator::createCharacterInstance(english(), status));
        characters->setText(&units, status);
        const bool isShorter = characters->next(100) == icu::BreakIterator::DONE;
        utext_close(&units);
        return isShorter;
      });
  facility.row("typing at the end of a megabyte, within the limit")
      .ours([limit = Formatters::CharactersLimit::make(900'000), text = mixedText()] {
        return limit->isPartialStringValid(text);
      })
      .peer("ICU",
            [text = mixedText()] {
              UErrorCode status = U_ZERO_ERROR;
              UText units = UTEXT_INITIALIZER;
              utext_openUTF8(&units, text.data(), static_cast<std::int64_t>(text.size()), &status);
              const std::unique_ptr<icu::BreakIterator> characters(
                  icu::BreakIterator::createCharacterInstance(english(), status));
              characters->setText(&units, status);
              const bool isShorter = characters->next(900'000) == icu::BreakIterator::DONE;
              utext_close(&units);
              return isShorter;
            })
      .peer("QTextBoundaryFinder", [text = QString::fromStdString(mixedText())] {
        QTextBoundaryFinder finder(QTextBoundaryFinder::Grapheme, text);
        int count = 0;
        while (count < 900'000 && finder.toNextBoundary() >= 0) ++count;
        return count < 900'000;
      });
});

}  // namespace
}  // namespace Tessaly::Benchmarks
