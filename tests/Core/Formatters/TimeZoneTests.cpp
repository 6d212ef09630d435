// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cstdlib>
#include <sstream>

#include "Tessaly/Core/Formatters/TimeZone.hpp"

namespace Tessaly {
namespace {

std::string currentWith(const char* variable) {
  ::setenv("TZ", variable, 1);
  return TimeZone::current().identifier();
}

TEST(TimeZone, IsThatOfTheEnvironment) {
  EXPECT_EQ(currentWith("Europe/Paris"), "Europe/Paris");
  EXPECT_EQ(currentWith(":Asia/Tokyo"), "Asia/Tokyo");
  EXPECT_EQ(currentWith("UTC"), "UTC");
}

TEST(TimeZone, KeepsTheDistanceOfAZoneThatSpellsItsRules) {
  EXPECT_EQ(currentWith("<+03>-3"), "GMT+03:00");
  EXPECT_EQ(currentWith("<-0330>3:30"), "GMT-03:30");
}

TEST(TimeZone, FindsOneWithoutTheVariable) {
  ::unsetenv("TZ");
  EXPECT_FALSE(TimeZone::current().identifier().empty());
}

TEST(TimeZone, IsFoundByItsName) {
  EXPECT_EQ(TimeZone::from("America/New_York")->identifier(), "America/New_York");
  EXPECT_EQ(TimeZone::from("GMT+05:30")->identifier(), "GMT+05:30");
  for (const char* unknown : {"", "Mars/Olympus", "Europe", "\xFF"}) EXPECT_EQ(TimeZone::from(unknown), std::nullopt);
}

TEST(TimeZone, IsAValueThatIsReplacedForAScope) {
  const TimeZone tokyo = *TimeZone::from("Asia/Tokyo");
  const TimeZone before = TimeZone::current();
  {
    const TimeZone::Replacement replacement(tokyo);
    EXPECT_EQ(TimeZone::current(), tokyo);
  }
  EXPECT_EQ(TimeZone::current(), before);
  std::ostringstream stream;
  stream << tokyo;
  EXPECT_EQ(stream.str(), "Asia/Tokyo");
}

}  // namespace
}  // namespace Tessaly
