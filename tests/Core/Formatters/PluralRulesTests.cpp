// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/numberformatter.h>
#include <unicode/plurrule.h>

#include <array>
#include <limits>
#include <memory>
#include <string>

#include "Tessaly/Core/Formatters/PluralRules.hpp"
#include "tests/Core/Formatters/AllLocales.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

using Kind = PluralRules::Kind;
using Category = PluralRules::Category;

constexpr std::array<const char*, 6> names{"zero", "one", "two", "few", "many", "other"};

std::string nameOf(Category category) { return names.at(static_cast<std::size_t>(category)); }

TEST(PluralRules, GiveTheGoldenCategories) {
  for (const auto& row : Tests::goldenRows("plural", "texts")) {
    const Kind kind = row.input.starts_with("ordinal ") ? Kind::ordinal : Kind::cardinal;
    const double number = std::stod(row.input.substr(row.input.find(' ')));
    EXPECT_EQ(nameOf(PluralRules(kind, Locale(row.locale)).category(number)), row.output)
        << row.locale << ' ' << row.input;
  }
}

TEST(PluralRules, CategoriesInEveryLocaleAreThoseOfICU) {
  const auto shortest = icu::number::NumberFormatter::withLocale("en").precision(icu::number::Precision::unlimited());
  const auto twoDigits =
      icu::number::NumberFormatter::withLocale("en").precision(icu::number::Precision::fixedFraction(2));
  for (const std::string& locale : Tests::comparedLocales()) {
    for (const Kind kind : {Kind::cardinal, Kind::ordinal}) {
      UErrorCode status = U_ZERO_ERROR;
      const std::unique_ptr<icu::PluralRules> peer(icu::PluralRules::forLocale(
          icu::Locale(locale.c_str()), kind == Kind::cardinal ? UPLURAL_TYPE_CARDINAL : UPLURAL_TYPE_ORDINAL, status));
      const PluralRules rules(kind, Locale(locale));
      const auto compare = [&](double number) {
        EXPECT_EQ(nameOf(rules.category(number)),
                  Tests::utf8(peer->select(shortest.formatDouble(number, status), status)))
            << locale << ' ' << number;
        EXPECT_EQ(nameOf(rules.category(number, 2)),
                  Tests::utf8(peer->select(twoDigits.formatDouble(number, status), status)))
            << locale << ' ' << number;
      };
      for (int number = 0; number < 140; ++number) compare(number);
      for (const double number : {0.5, 1.5, 629.93, 0.1, 1.21, 2.03, 1000.0, 1021.0, 1e6, 2e6, 1e15, 1e21}) {
        compare(number);
      }
    }
  }
}

TEST(PluralRules, HundredthsAreCountedByTheDigitsThatAreShown) {
  const auto shown = icu::number::NumberFormatter::withLocale("en").precision(icu::number::Precision::maxFraction(2));
  // In these languages, ICU gives 2.22 as a double another category than as a text: 222.00000000000003 is not whole.
  for (const char* locale : {"bs", "ceb", "dsb", "fil", "hr", "hsb", "is", "lv", "mk", "sr"}) {
    UErrorCode status = U_ZERO_ERROR;
    const std::unique_ptr<icu::PluralRules> peer(icu::PluralRules::forLocale(icu::Locale(locale), status));
    const PluralRules rules(Kind::cardinal, Locale(locale));
    for (int hundredths = 1; hundredths < 1300; ++hundredths) {
      const double number = hundredths / 100.0;
      const int digits = hundredths % 100 == 0 ? 0 : hundredths % 10 == 0 ? 1 : 2;
      const std::string expected = Tests::utf8(peer->select(shown.formatDouble(number, status), status));
      EXPECT_EQ(nameOf(rules.category(number, digits)), expected) << locale << ' ' << number;
    }
  }
}

TEST(PluralRules, VisibleFractionDigitsCount) {
  const PluralRules rules(Kind::cardinal, Locale("en"));
  EXPECT_EQ(rules.category(1), Category::one);
  EXPECT_EQ(rules.category(1, 1), Category::other);
  EXPECT_EQ(rules.category(1, -7), Category::one);
  EXPECT_EQ(rules.category(1, std::numeric_limits<int>::max()), Category::other);
}

TEST(PluralRules, SignDoesNotCount) {
  EXPECT_EQ(PluralRules(Kind::cardinal, Locale("ar")).category(-2), Category::two);
}

TEST(PluralRules, NumbersWithoutDigitsAreOther) {
  const PluralRules rules(Kind::cardinal, Locale("fr"));
  EXPECT_EQ(rules.category(std::numeric_limits<double>::infinity()), Category::other);
  EXPECT_EQ(rules.category(std::numeric_limits<double>::quiet_NaN()), Category::other);
}

TEST(PluralRules, UnknownLocalesHaveOneCategory) {
  for (const char* locale : {"", "xx", "@@@", "\xFF\xFE"}) {
    EXPECT_EQ(PluralRules(Kind::cardinal, Locale(locale)).category(1), Category::other) << locale;
  }
}

}  // namespace
}  // namespace Tessaly
