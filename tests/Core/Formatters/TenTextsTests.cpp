// SPDX-License-Identifier: MIT

// All styles at once: on threads, and in a process whose host has other ideas of numbers.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <clocale>
#include <locale>
#include <set>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "Tessaly/Core/Formatters/ByteCountFormatStyle.hpp"
#include "Tessaly/Core/Formatters/CurrencyFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DateFormatter.hpp"
#include "Tessaly/Core/Formatters/DateIntervalFormatStyle.hpp"
#include "Tessaly/Core/Formatters/DurationFormatStyle.hpp"
#include "Tessaly/Core/Formatters/FormatStyle.hpp"
#include "Tessaly/Core/Formatters/ListFormatStyle.hpp"
#include "Tessaly/Core/Formatters/MeasurementFormatStyle.hpp"
#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Core/Formatters/OrdinalFormatStyle.hpp"
#include "Tessaly/Core/Formatters/PercentFormatStyle.hpp"
#include "Tessaly/Core/Formatters/RelativeDateFormatStyle.hpp"
#include "Tessaly/Formatting/FormattingService+Styles.hpp"
#include "tests/Support/Repetitions.hpp"

namespace Tessaly {
namespace {

constexpr std::array languages{"de", "fr", "ar_EG", "hi", "es", "ja"};

using Texts = std::array<std::string, 11>;

/// Each text by one call of the service, so that all of one text are in one language.
Texts texts() {
  const Date date = Date::since1970(1'672'671'845);
  using FormattingService::format;
  return {format(NumberFormatStyle(), 1'234'567.891),
          format(PercentFormatStyle(), 0.57),
          format(CurrencyFormatStyle("EUR"), -1234.5),
          format(MeasurementFormatStyle().unit(MeasurementFormatStyle::UnitChoice::asGiven),
                 Quantity{12.5, Quantity::Unit::kilometer}),
          format(RelativeDateFormatStyle(), -5, RelativeDateFormatStyle::Unit::minute),
          format(ListFormatStyle(), std::vector{"A", "B", "C"}),
          format(OrdinalFormatStyle(), 22),
          format(DateIntervalFormatStyle().timeZone(TimeZone::gmt()), date, date + 86'400.0),
          format(DurationFormatStyle(), 93'784),
          format(ByteCountFormatStyle(), 1'500'000),
          format(Date::FormatStyle::numericDateStandardTime().timeZone(TimeZone::gmt()), date)};
}

TEST(TenTexts, ThreadsWriteThemWhileTheLanguageChanges) {
  std::array<std::set<std::string>, std::tuple_size_v<Texts>> known;
  for (const char* language : languages) {
    FormattingService::setLanguage(language);
    const Texts written = texts();
    for (std::size_t index = 0; index < written.size(); ++index) known[index].insert(written[index]);
  }
  std::atomic<bool> isOver = false;
  {
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < 3; ++thread) {
      threads.emplace_back([&] {
        for (int turn = 0; turn < Tests::repetitions(60); ++turn) {
          const Texts written = texts();
          for (std::size_t index = 0; index < written.size(); ++index) {
            EXPECT_TRUE(known[index].contains(written[index])) << written[index];
          }
        }
      });
    }
    const std::jthread changer([&] {
      for (std::size_t turn = 0; !isOver; ++turn) FormattingService::setLanguage(languages[turn % languages.size()]);
    });
    threads.clear();
    isOver = true;
  }
}

/// Writes and reads numbers as no locale of ICU does.
struct OddNumbers : std::numpunct<char> {
  char do_decimal_point() const override { return 'd'; }
  char do_thousands_sep() const override { return 't'; }
  std::string do_grouping() const override { return "\1"; }
};

TEST(TenTexts, LocalesOfTheHostDoNotChangeThem) {
  FormattingService::setLanguage("de");
  const Texts before = texts();
  const auto read = [] {
    DateFormatter dates;
    dates.setLocale(Locale("de"));
    dates.setTimeZone(TimeZone::gmt());
    dates.setDateStyle(DateFormatter::Style::medium);
    return std::tuple(CurrencyFormatStyle("EUR").locale(Locale("de")).parse("-1.234,5 €"), dates.date("1.2.2023"));
  };
  const auto readBefore = read();
  const std::locale host = std::locale::global(std::locale(std::locale::classic(), new OddNumbers));
  ASSERT_NE(std::setlocale(LC_ALL, "C.utf8"), nullptr);
  // Another thread prepares everything anew.
  std::jthread([&] {
    EXPECT_EQ(texts(), before);
    EXPECT_EQ(read(), readBefore);
  });
  EXPECT_EQ(std::get<0>(readBefore), -1234.5);
  EXPECT_EQ(std::get<1>(readBefore), Date::since1970(1'675'209'600));
  std::locale::global(host);
}

}  // namespace
}  // namespace Tessaly
