// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/numberformatter.h>
#include <unicode/rbnf.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "tests/Core/Formatters/AllLocales.hpp"

namespace Tessaly::Tests {

/// The texts of byte counts by ICU and the rule for the unit. No code of the library takes part.
class ByteCountRecipe {
 public:
  explicit ByteCountRecipe(const icu::Locale& locale) : locale_(locale) {}

  std::string text(std::int64_t count) {
    struct Unit {
      double limit;
      double size;
      const char16_t* skeleton;
    };
    constexpr Unit units[] = {{999, 1, u". measure-unit/digital-byte unit-width-full-name"},
                              {999'499, 1e3, u". measure-unit/digital-kilobyte"},
                              {999'949'999, 1e6, u".# measure-unit/digital-megabyte"},
                              {999'994'999'999, 1e9, u".## measure-unit/digital-gigabyte"},
                              {999'994'999'999'999, 1e12, u".## measure-unit/digital-terabyte"},
                              {1e300, 1e15, u".## measure-unit/digital-petabyte"}};
    const double value = static_cast<double>(count);
    std::size_t index = 0;
    while (std::abs(value) >= units[index].limit) ++index;
    UErrorCode status = U_ZERO_ERROR;
    auto& formatter = formatters_[index];
    if (!formatter) {
      formatter = icu::number::NumberFormatter::forSkeleton(units[index].skeleton, status).locale(locale_);
    }
    return utf8(formatter->formatDouble(value / units[index].size, status).toString(status));
  }

  /// The text of no bytes: a word for the number in the languages that have one.
  [[nodiscard]] std::string zero() const {
    constexpr std::array<std::string_view, 13> spelling{"ar", "da", "el", "en", "fr", "hi", "hr",
                                                        "id", "it", "ms", "pt", "ro", "th"};
    UErrorCode status = U_ZERO_ERROR;
    const auto number = icu::number::NumberFormatter::forSkeleton(u"measure-unit/digital-kilobyte", status)
                            .locale(locale_)
                            .formatInt(0, status);
    icu::UnicodeString text = number.toString(status);
    if (std::ranges::find(spelling, std::string_view(locale_.getLanguage())) == spelling.end()) return utf8(text);
    icu::ConstrainedFieldPosition position;
    position.constrainField(UFIELD_CATEGORY_NUMBER, UNUM_INTEGER_FIELD);
    EXPECT_TRUE(number.nextPosition(position, status));
    return utf8(text.replaceBetween(position.getStart(), position.getLimit(), spelledZero()));
  }

 private:
  [[nodiscard]] icu::UnicodeString spelledZero() const {
    UErrorCode status = U_ZERO_ERROR;
    icu::RuleBasedNumberFormat speller(icu::URBNF_SPELLOUT, locale_, status);
    for (const char16_t* rules : {u"%spellout-cardinal", u"%spellout-cardinal-masculine"}) {
      UErrorCode unknown = U_ZERO_ERROR;
      speller.setDefaultRuleSet(rules, unknown);
      if (U_SUCCESS(unknown)) break;
    }
    speller.setContext(UDISPCTX_CAPITALIZATION_FOR_BEGINNING_OF_SENTENCE, status);
    icu::UnicodeString word;
    icu::FieldPosition anywhere(icu::FieldPosition::DONT_CARE);
    speller.format(std::int64_t{0}, word, anywhere, status);
    EXPECT_TRUE(U_SUCCESS(status)) << u_errorName(status);
    return word;
  }

  icu::Locale locale_;
  std::array<std::optional<icu::number::LocalizedNumberFormatter>, 6> formatters_;
};

}  // namespace Tessaly::Tests
