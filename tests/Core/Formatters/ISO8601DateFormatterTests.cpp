// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "Tessaly/Core/Formatters/ISO8601DateFormatter.hpp"
#include "Tessaly/Core/Formatters/TimeZone.hpp"
#include "Tessaly/Core/Text/Locale.hpp"

namespace Tessaly {
namespace {

const Date date = Date::since1970(1'672'671'845);  // 2023-01-02 15:04:05 UTC

TEST(ISO8601DateFormatter, WritesGreenwichTimeWhateverTheLocaleAndTheZone) {
  const Locale arabic("ar_EG");
  const Locale::Replacement locale(arabic);
  const TimeZone tokyo = *TimeZone::from("Asia/Tokyo");
  const TimeZone::Replacement zone(tokyo);
  EXPECT_EQ(ISO8601DateFormatter().string(date), "2023-01-02T15:04:05Z");
}

TEST(ISO8601DateFormatter, RoundsToMillisecondsAndCutsToSeconds) {
  const ISO8601DateFormatter formatter;
  EXPECT_EQ(formatter.string(date + 0.9), "2023-01-02T15:04:05Z");
  EXPECT_EQ(formatter.string(date + 0.9994), "2023-01-02T15:04:05Z");
  EXPECT_EQ(formatter.string(date + 0.9996), "2023-01-02T15:04:06Z");
  EXPECT_EQ(formatter.string(Date::since1970(-0.9)), "1969-12-31T23:59:59Z");
}

TEST(ISO8601DateFormatter, WritesAllTheDigitsOfAYear) {
  const ISO8601DateFormatter formatter;
  EXPECT_EQ(formatter.string(Date::since1970(253'402'300'799)), "9999-12-31T23:59:59Z");
  EXPECT_EQ(formatter.string(Date::since1970(253'402'300'800)), "10000-01-01T00:00:00Z");
  EXPECT_EQ(formatter.string(Date::since1970(-59'000'000'000)), "0100-05-14T15:06:40Z");
}

TEST(ISO8601DateFormatter, WritesNothingOfWhatIsNoDate) {
  const ISO8601DateFormatter formatter;
  EXPECT_EQ(formatter.string(Date::since1970(std::nan(""))), "");
  EXPECT_EQ(formatter.string(Date::since1970(std::numeric_limits<double>::infinity())), "");
  EXPECT_NE(formatter.string(Date::since1970(std::numeric_limits<double>::max())), "");
  EXPECT_EQ(formatter.string(std::any(5)), std::nullopt);
  EXPECT_EQ(formatter.string(std::any(date)), "2023-01-02T15:04:05Z");
}

}  // namespace
}  // namespace Tessaly
