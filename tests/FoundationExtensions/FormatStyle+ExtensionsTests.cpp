// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "Tessaly/Core/Foundation/ProcessInfo.hpp"
#include "Tessaly/FoundationExtensions/FormatStyle+Extensions.hpp"

namespace Tessaly {
namespace {

using Field = Date::FormatStyle::Field;

const Date date = Date::since1970(1'672'671'845);  // 2023-01-02 15:04:05 UTC

Date::FormatStyle styleOn(std::optional<OperatingSystemVersion> version) {
  const ProcessInfo process({.operatingSystemVersion = version});
  const ProcessInfo::Replacement replacement(process);
  return Date::FormatStyle::compactDateTime();
}

std::string text(const Date::FormatStyle& style, const std::string& locale) {
  return style.locale(Locale(locale)).timeZone(TimeZone::gmt()).format(date);
}

TEST(CompactDateTime, IsTheTimeToTheMinute) {
  const auto style = Date::FormatStyle::compactDateTime();
  EXPECT_EQ(style, Date::FormatStyle().hour(Field::twoDigits).minute(Field::twoDigits));
  EXPECT_EQ(text(style, "en_US"), "03:04\u202FPM");
  EXPECT_EQ(text(style, "en_GB"), "15:04");
  EXPECT_EQ(text(style, "fr"), "15:04");
  EXPECT_EQ(text(style, "hi"), "03:04 pm");
  EXPECT_EQ(text(style, "ar_EG"), "٠٣:٠٤ م");
}

TEST(CompactDateTime, HasDayAndMonthBeforeVersion15) {
  for (const OperatingSystemVersion version : {OperatingSystemVersion{14, 9, 9}, OperatingSystemVersion{10, 15, 0}}) {
    const auto style = styleOn(version);
    EXPECT_EQ(text(style, "en_US"), "01/02, 03:04\u202FPM");
    EXPECT_EQ(text(style, "en_GB"), "02/01, 15:04");
    EXPECT_EQ(text(style, "fr"), "02/01 15:04");
    EXPECT_EQ(text(style, "de"), "02.01., 15:04");
    EXPECT_EQ(text(style, "es"), "2/1, 15:04");
    EXPECT_EQ(text(style, "ja"), "01/02 15:04");
  }
}

TEST(CompactDateTime, FromVersion15OnHasNoDay) {
  const auto now = Date::FormatStyle::compactDateTime();
  EXPECT_EQ(styleOn(OperatingSystemVersion{15, 0, 0}), now);
  EXPECT_EQ(styleOn(OperatingSystemVersion{26, 1, 0}), now);
  EXPECT_EQ(styleOn(std::nullopt), now);
  EXPECT_FALSE(styleOn(OperatingSystemVersion{14, 0, 0}) == now);
}

}  // namespace
}  // namespace Tessaly
