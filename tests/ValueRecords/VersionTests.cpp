// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "Tessaly/ValueRecords/Version.hpp"
#include "tests/Support/Allocations.hpp"

namespace {

using namespace Tessaly;

constexpr std::int64_t lowest = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t highest = std::numeric_limits<std::int64_t>::max();

static_assert(std::is_trivially_copyable_v<Version>);

TEST(Version, KeepsItsParts) {
  const Version version{.major = -1, .minor = lowest, .patch = highest, .build = -7};
  EXPECT_EQ(version.major, -1);
  EXPECT_EQ(version.minor, lowest);
  EXPECT_EQ(version.patch, highest);
  EXPECT_EQ(version.build, -7);
  EXPECT_EQ(Version(1, 2, 3, std::nullopt), (Version{.major = 1, .minor = 2, .patch = 3}));
}

TEST(Version, ParsesTwoToFourPieces) {
  EXPECT_EQ(Version::from("1.2"), Version(1, 2, 0, std::nullopt));
  EXPECT_EQ(Version::from("1.2.3"), Version(1, 2, 3, std::nullopt));
  EXPECT_EQ(Version::from("1.2.3.4"), Version(1, 2, 3, 4));
  EXPECT_EQ(Version::from("1.2.3.4.5"), Version(1, 2, 3, 4));
  EXPECT_EQ(Version::from("1.2.3.4.x"), Version(1, 2, 3, 4));
}

TEST(Version, OmitsEmptyPieces) {
  EXPECT_EQ(Version::from(".1.2."), Version(1, 2, 0, std::nullopt));
  EXPECT_EQ(Version::from("1..2"), Version(1, 2, 0, std::nullopt));
  EXPECT_EQ(Version::from("...1...2...3...4..."), Version(1, 2, 3, 4));
}

TEST(Version, NeedsTwoNumbersToBegin) {
  for (const std::string text :
       {"",     ".",   "..",  "1",     ".1.",   "a.1",   "1.b",   "x.y",   "1. 2", " 1.2", "1 .2",
        "1.2 ", "-.1", "1.+", "+-1.2", "-+1.2", "1.--2", "0x1.2", "1_0.2", "１.2", "1,2",  "1e1.2"}) {
    EXPECT_EQ(Version::from(text), std::nullopt) << text;
  }
}

TEST(Version, ParsesSignsAndLeadingZeros) {
  EXPECT_EQ(Version::from("-1.2"), Version(-1, 2, 0, std::nullopt));
  EXPECT_EQ(Version::from("+1.-2.+3.-4"), Version(1, -2, 3, -4));
  EXPECT_EQ(Version::from("007.0000000000000000000000000001"), Version(7, 1, 0, std::nullopt));
  EXPECT_EQ(Version::from("-0.+0"), Version(0, 0, 0, std::nullopt));
}

TEST(Version, ParsesTheWholeRange) {
  EXPECT_EQ(Version::from("9223372036854775807.-9223372036854775808"), Version(highest, lowest, 0, std::nullopt));
  EXPECT_EQ(Version::from("9223372036854775808.0"), std::nullopt);
  EXPECT_EQ(Version::from("0.-9223372036854775809"), std::nullopt);
  EXPECT_EQ(Version::from("1.2.9223372036854775808.4"), Version(1, 2, 0, 4));
  EXPECT_EQ(Version::from("1.2.3.9223372036854775808"), Version(1, 2, 3, std::nullopt));
}

TEST(Version, MalformedThirdOrFourthPieceIsAbsent) {
  EXPECT_EQ(Version::from("1.2.x"), Version(1, 2, 0, std::nullopt));
  EXPECT_EQ(Version::from("1.2.3.x"), Version(1, 2, 3, std::nullopt));
  EXPECT_EQ(Version::from("1.2.x.4"), Version(1, 2, 0, 4));
  EXPECT_EQ(Version::from("1.2.3rc1.4b"), Version(1, 2, 0, std::nullopt));
}

TEST(Version, AcceptsAnyBytes) {
  EXPECT_EQ(Version::from("1.2.\xFF.4"), Version(1, 2, 0, 4));
  EXPECT_EQ(Version::from("\xFF.2"), std::nullopt);
  EXPECT_EQ(Version::from(std::string_view("1\0.2", 4)), std::nullopt);
  EXPECT_EQ(Version::from(std::string(1'000'000, '.')), std::nullopt);
}

TEST(Version, ParsingAllocatesNothing) {
  EXPECT_EQ(Tests::allocationsOf([] { EXPECT_TRUE(Version::from("2023.4.1.12345")); }), 0);
}

TEST(Version, DescribesItsFieldsJoinedByDots) {
  EXPECT_EQ(Version(1, 2, 0, std::nullopt).description(), "1.2.0");
  EXPECT_EQ(Version(1, 2, 0, 7).description(), "1.2.0.7");
  EXPECT_EQ(Version(lowest, lowest, lowest, lowest).description(),
            "-9223372036854775808.-9223372036854775808.-9223372036854775808.-9223372036854775808");
  std::ostringstream stream;
  stream << Version(0, 0, 0, 0);
  EXPECT_EQ(stream.str(), "0.0.0.0");
}

TEST(Version, ParsesItsOwnDescription) {
  std::mt19937_64 random(51);
  for (int round = 0; round < 20'000; ++round) {
    const auto number = [&] { return static_cast<std::int64_t>(random()) >> random() % 64; };
    Version version(number(), number(), number(), std::nullopt);
    if (round % 2 == 0) version.build = number();
    ASSERT_EQ(Version::from(version.description()), version);
  }
}

TEST(Version, IsEqualInAllFourFields) {
  const Version version(1, 2, 3, 4);
  EXPECT_EQ(version, Version(1, 2, 3, 4));
  EXPECT_NE(version, Version(0, 2, 3, 4));
  EXPECT_NE(version, Version(1, 0, 3, 4));
  EXPECT_NE(version, Version(1, 2, 0, 4));
  EXPECT_NE(version, Version(1, 2, 3, 0));
  EXPECT_NE(version, Version(1, 2, 3, std::nullopt));
  EXPECT_EQ(Version(1, 2, 3, std::nullopt), Version(1, 2, 3, std::nullopt));
}

TEST(Version, IsOrderedByMajorThenPatchThenBuild) {
  EXPECT_LT(Version(1, 2, 0, std::nullopt), Version(2, 0, 0, std::nullopt));
  EXPECT_LT(Version(1, 2, 3, std::nullopt), Version(1, 2, 4, std::nullopt));
  EXPECT_LT(Version(1, 2, 3, 9), Version(1, 2, 4, 1));
  EXPECT_LT(Version(1, 2, 3, 4), Version(1, 2, 3, 5));
  EXPECT_FALSE(Version(1, 2, 3, 5) < Version(1, 2, 3, 5));
}

TEST(Version, IsNeitherLessNorGreaterWhenOnlyTheMinorDiffers) {
  const Version older(1, 2, 0, std::nullopt);
  const Version newer(1, 3, 0, std::nullopt);
  EXPECT_FALSE(older < newer);
  EXPECT_FALSE(newer < older);
  EXPECT_FALSE(older > newer);
  EXPECT_FALSE(newer > older);
  EXPECT_TRUE(older <= newer);
  EXPECT_TRUE(newer <= older);
  EXPECT_TRUE(older >= newer);
  EXPECT_TRUE(newer >= older);
  EXPECT_FALSE(older == newer);
  EXPECT_FALSE(Version(1, 2, 3, 4) < Version(1, 3, 4, 5));
}

TEST(Version, IsNeitherLessNorGreaterWhenABuildIsAbsent) {
  const Version without(1, 2, 3, std::nullopt);
  const Version with(1, 2, 3, 1);
  EXPECT_FALSE(without < with);
  EXPECT_FALSE(with < without);
  EXPECT_NE(without, with);
  EXPECT_TRUE(without <= with);
  EXPECT_TRUE(without >= with);
}

TEST(Version, OrdersAllSmallVersionsByTheRule) {
  std::vector<Version> versions;
  for (std::int64_t fields = 0; fields < 3 * 3 * 3 * 4; ++fields) {
    const std::int64_t build = fields / 27;
    versions.emplace_back(fields % 3 - 1, fields / 3 % 3, fields / 9 % 3,
                          build == 3 ? std::nullopt : std::optional(build));
  }
  for (const Version& a : versions) {
    for (const Version& b : versions) {
      bool isLess = false;
      if (a.major != b.major) {
        isLess = a.major < b.major;
      } else if (a.minor != b.minor) {
        isLess = false;
      } else if (a.patch != b.patch) {
        isLess = a.patch < b.patch;
      } else if (a.build.has_value() && b.build.has_value()) {
        isLess = a.build.value() < b.build.value();
      }
      ASSERT_EQ(a < b, isLess) << a << ' ' << b;
      ASSERT_EQ(b > a, isLess);
      ASSERT_EQ(b <= a, !isLess);
      ASSERT_EQ(a >= b, !isLess);
    }
  }
}

}  // namespace
