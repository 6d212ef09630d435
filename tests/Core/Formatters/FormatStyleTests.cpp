// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <unicode/dtptngen.h>
#include <unicode/locid.h>

#include <cmath>
#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "Tessaly/Core/Formatters/FormatStyle.hpp"
#include "tests/Support/GoldenRows.hpp"

namespace Tessaly {
namespace {

using Style = Date::FormatStyle;
using Field = Style::Field;

const Date firstDate = Date::since1970(1'672'671'845);   // 2023-01-02 15:04:05 UTC
const Date secondDate = Date::since1970(1'704'013'620);  // 2023-12-31 09:07:00 UTC

Style time() { return Style().hour(Field::twoDigits).minute(Field::twoDigits).timeZone(TimeZone::gmt()); }
Style dayAndTime() { return time().month(Style::Month::twoDigits).day(Field::twoDigits); }

void expectRows(const char* rows, const Style& style) {
  for (const auto& row : Tests::goldenRows(rows)) {
    const Date date = row.input == "d2" ? secondDate : firstDate;
    EXPECT_EQ(style.locale(Locale(row.locale)).format(date), row.output)
        << rows << ' ' << row.locale << ' ' << row.input;
  }
}

TEST(FormatStyle, WritesWhatTheGoldenRowsSay) {
  expectRows("compact15", time());
  expectRows("compactOld", dayAndTime());
  expectRows("numeric+standard", Style::numericDateStandardTime().timeZone(TimeZone::gmt()));
}

TEST(FormatStyle, InstalledICUHasThePatternsOfTheGoldenRows) {
  for (const auto& [rows, skeleton] : {std::pair("compact15pat", u"jjmm"), std::pair("compactOldpat", u"MMddjjmm"),
                                       std::pair("numeric+standardpat", u"yMdjmmss")}) {
    for (const auto& row : Tests::goldenRows(rows)) {
      UErrorCode status = U_ZERO_ERROR;
      const std::unique_ptr<icu::DateTimePatternGenerator> generator(
          icu::DateTimePatternGenerator::createInstance(icu::Locale(row.locale.c_str()), status));
      ASSERT_TRUE(U_SUCCESS(status));
      std::string pattern;
      generator->getBestPattern(skeleton, UDATPG_MATCH_ALL_FIELDS_LENGTH, status).toUTF8String(pattern);
      EXPECT_EQ(pattern, row.output) << rows << ' ' << row.locale;
    }
  }
}

TEST(FormatStyle, KeepsItsWidths) {
  EXPECT_EQ(time().locale(Locale("es")).format(secondDate), "09:07");
  const Style standard = Style::numericDateStandardTime().timeZone(TimeZone::gmt());
  EXPECT_EQ(standard.locale(Locale("en_GB")).format(secondDate), "31/12/2023, 9:07:00");
}

TEST(FormatStyle, WritesNothingWithoutFields) { EXPECT_EQ(Style().format(firstDate), ""); }

TEST(FormatStyle, CutsAndDoesNotRound) {
  const Style style = Style().second(Field::twoDigits).locale(Locale("en")).timeZone(TimeZone::gmt());
  EXPECT_EQ(style.format(firstDate + 0.9999), "05");
}

TEST(FormatStyle, WritesNothingOfWhatIsNoDate) {
  for (const double seconds : {std::nan(""), std::numeric_limits<double>::infinity()}) {
    EXPECT_EQ(time().format(Date::since1970(seconds)), "");
  }
  EXPECT_NE(time().format(Date::since1970(std::numeric_limits<double>::max())), "");
}

TEST(FormatStyle, WritesATextInUnknownLocales) {
  for (const std::string& identifier :
       {std::string(), std::string("xx"), std::string("\xFF"), std::string(9999, 'z')}) {
    EXPECT_NE(dayAndTime().locale(Locale(identifier)).format(firstDate), "");
  }
}

TEST(FormatStyle, IsAValue) {
  EXPECT_EQ(time(), time());
  EXPECT_FALSE(time() == dayAndTime());
}

}  // namespace
}  // namespace Tessaly
