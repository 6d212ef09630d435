// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/rbnf.h>

#include <limits>
#include <string>

#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Core/Formatters/OrdinalFormatStyle.hpp"
#include "tests/Core/Formatters/AllLocales.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

OrdinalFormatStyle ordinals(const std::string& locale) { return OrdinalFormatStyle().locale(Locale(locale)); }

TEST(OrdinalFormatStyle, WritesTheGoldenTexts) {
  for (const auto& row : Tests::goldenRows("ordinal", "texts")) {
    EXPECT_EQ(ordinals(row.locale).format(std::stoll(row.input)), row.output) << row.locale << ' ' << row.input;
  }
}

TEST(OrdinalFormatStyle, WritesInEveryLocaleAsICUDoes) {
  for (const std::string& name : Tests::comparedLocales()) {
    UErrorCode status = U_ZERO_ERROR;
    const icu::RuleBasedNumberFormat peer(icu::URBNF_ORDINAL, icu::Locale(name.c_str()), status);
    for (const std::int64_t rank :
         {0L, 1L, 2L, 3L, 4L, 11L, 22L, 101L, 1000L, 1'000'001L, -1L, -22L, std::numeric_limits<std::int64_t>::max(),
          std::numeric_limits<std::int64_t>::min() + 1}) {
      icu::UnicodeString text;
      const std::string expected = Tests::utf8(peer.format(rank, text));
      EXPECT_EQ(ordinals(name).format(rank), expected) << name << ' ' << rank;
      EXPECT_EQ(ordinals(name).format(rank), expected) << name << ' ' << rank;
    }
  }
}

TEST(OrdinalFormatStyle, LeastNumberIsWrittenWithoutAnOrdinal) {
  for (const char* locale : {"en", "en@numbers=roman", "zh@numbers=hanidec", "\xFF"}) {
    constexpr std::int64_t least = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(ordinals(locale).format(least), NumberFormatStyle().locale(Locale(locale)).format(least)) << locale;
  }
}

TEST(OrdinalFormatStyle, WritesInUnknownLocales) {
  for (const char* locale : {"", "xx", "@@@", "\xFF\xFE"}) EXPECT_FALSE(ordinals(locale).format(1).empty()) << locale;
}

}  // namespace
}  // namespace Tessaly
