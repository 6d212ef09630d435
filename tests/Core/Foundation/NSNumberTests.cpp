// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <optional>
#include <sstream>
#include <unordered_set>

#include "Tessaly/Core/Foundation/NSNumber.hpp"

namespace Tessaly::inline v1 {
namespace {

constexpr double notANumber = std::numeric_limits<double>::quiet_NaN();
constexpr auto largestUnsigned = std::numeric_limits<std::uint64_t>::max();
constexpr auto smallest = std::numeric_limits<std::int64_t>::min();
constexpr auto largest = std::numeric_limits<std::int64_t>::max();

TEST(NSNumber, KnowsItsKind) {
  EXPECT_EQ(NSNumber(true).kind(), NSNumber::Kind::boolean);
  EXPECT_EQ(NSNumber(std::int8_t{-1}).kind(), NSNumber::Kind::integer);
  EXPECT_EQ(NSNumber(7u).kind(), NSNumber::Kind::integer);
  EXPECT_EQ(NSNumber(largestUnsigned).kind(), NSNumber::Kind::unsignedInteger);
  EXPECT_EQ(NSNumber(1.0f).kind(), NSNumber::Kind::single);
  EXPECT_EQ(NSNumber(1.0).kind(), NSNumber::Kind::double_);
}

TEST(NSNumber, TruncatesTowardZeroAndWrapsToTheWidth) {
  EXPECT_EQ(NSNumber(40000).shortValue(), -25536);
  EXPECT_EQ(NSNumber(65535).shortValue(), -1);
  EXPECT_EQ(NSNumber(70000.9).shortValue(), 4464);
  EXPECT_EQ(NSNumber(-5.9).integerValue(), -5);
  EXPECT_EQ(NSNumber(std::numeric_limits<std::int32_t>::min()).shortValue(), 0);
  EXPECT_EQ(NSNumber(largestUnsigned).integerValue(), -1);
  EXPECT_EQ(NSNumber(0.1).floatValue(), 0.1f);
  EXPECT_EQ(NSNumber(largestUnsigned).doubleValue(), 0x1p64);
}

TEST(NSNumber, RealOutOfRangeGivesTheNearestInteger) {
  EXPECT_EQ(NSNumber(1e300).integerValue(), largest);
  EXPECT_EQ(NSNumber(-1e300).integerValue(), smallest);
  EXPECT_EQ(NSNumber(notANumber).integerValue(), 0);
}

TEST(NSNumber, EqualsByValueAcrossKinds) {
  EXPECT_EQ(NSNumber(true), NSNumber(1));
  EXPECT_EQ(NSNumber(5), NSNumber(5.0));
  EXPECT_EQ(NSNumber(0.5f), NSNumber(0.5));
  EXPECT_EQ(NSNumber(0.0), NSNumber(-0.0));
  EXPECT_EQ(NSNumber(notANumber), NSNumber(-notANumber));
  EXPECT_EQ(NSNumber(std::uint64_t{1} << 63), NSNumber(0x1p63));
  EXPECT_NE(NSNumber(0.1f), NSNumber(0.1));
  EXPECT_NE(NSNumber(-1), NSNumber(largestUnsigned));
  EXPECT_NE(NSNumber((std::int64_t{1} << 53) + 1), NSNumber(0x1p53));
  EXPECT_NE(NSNumber(largest), NSNumber(0x1p63));
  EXPECT_NE(NSNumber(largestUnsigned), NSNumber(0x1p64));
  EXPECT_NE(NSNumber(0), NSNumber(notANumber));
}

TEST(NSNumber, IsIdenticalOnlyInKindAndBits) {
  EXPECT_TRUE(NSNumber(5).isIdentical(NSNumber(std::uint8_t{5})));
  EXPECT_TRUE(NSNumber(notANumber).isIdentical(NSNumber(notANumber)));
  EXPECT_FALSE(NSNumber(5).isIdentical(NSNumber(5.0)));
  EXPECT_FALSE(NSNumber(true).isIdentical(NSNumber(1)));
  EXPECT_FALSE(NSNumber(0.0).isIdentical(NSNumber(-0.0)));
  EXPECT_FALSE(NSNumber(0.5).isIdentical(NSNumber(0.5f)));
}

TEST(NSNumber, HashesEqualValuesEqually) {
  const std::unordered_set<NSNumber> numbers{NSNumber(1), NSNumber(2.5), NSNumber(notANumber),
                                             NSNumber(largestUnsigned)};
  EXPECT_TRUE(numbers.contains(NSNumber(true)));
  EXPECT_TRUE(numbers.contains(NSNumber(1.0f)));
  EXPECT_TRUE(numbers.contains(NSNumber(2.5f)));
  EXPECT_TRUE(numbers.contains(NSNumber(std::numeric_limits<float>::quiet_NaN())));
  EXPECT_FALSE(numbers.contains(NSNumber(-1)));
}

TEST(NSNumber, IsABooleanExactlyWhenItIsZeroOrOne) {
  EXPECT_EQ(NSNumber(1).exactly<bool>(), true);
  EXPECT_EQ(NSNumber(0.0).exactly<bool>(), false);
  EXPECT_EQ(NSNumber(1.0f).exactly<bool>(), true);
  EXPECT_EQ(NSNumber(2).exactly<bool>(), std::nullopt);
  EXPECT_EQ(NSNumber(-1).exactly<bool>(), std::nullopt);
  EXPECT_EQ(NSNumber(0.5).exactly<bool>(), std::nullopt);
  EXPECT_EQ(NSNumber(notANumber).exactly<bool>(), std::nullopt);
}

template <typename Value>
concept HasExactly = requires(NSNumber number) { number.exactly<Value>(); };

TEST(NSNumber, IsNeverACharacterOrALongDouble) {
  EXPECT_TRUE((HasExactly<signed char> && HasExactly<unsigned char> && HasExactly<unsigned long long>));
  EXPECT_TRUE((HasExactly<bool> && HasExactly<float> && HasExactly<double>));
  EXPECT_FALSE((HasExactly<char> || HasExactly<wchar_t> || HasExactly<char8_t> || HasExactly<char16_t>));
  EXPECT_FALSE((HasExactly<char32_t> || HasExactly<long double>));
}

TEST(NSNumber, IsAnIntegerExactlyWhenItFits) {
  EXPECT_EQ(NSNumber(true).exactly<std::int16_t>(), 1);
  EXPECT_EQ(NSNumber(5.0).exactly<std::int64_t>(), 5);
  EXPECT_EQ(NSNumber(5.5).exactly<std::int64_t>(), std::nullopt);
  EXPECT_EQ(NSNumber(-0.0).exactly<std::int64_t>(), 0);
  EXPECT_EQ(NSNumber(1e19).exactly<std::int64_t>(), std::nullopt);
  EXPECT_EQ(NSNumber(1e19).exactly<std::uint64_t>(), 10'000'000'000'000'000'000u);
  EXPECT_EQ(NSNumber(0x1p64).exactly<std::uint64_t>(), std::nullopt);
  EXPECT_EQ(NSNumber(40000).exactly<std::int16_t>(), std::nullopt);
  EXPECT_EQ(NSNumber(-1).exactly<std::uint64_t>(), std::nullopt);
  EXPECT_EQ(NSNumber(300).exactly<std::uint8_t>(), std::nullopt);
  EXPECT_EQ(NSNumber(largestUnsigned).exactly<std::int64_t>(), std::nullopt);
  EXPECT_EQ(NSNumber(largestUnsigned).exactly<std::uint64_t>(), largestUnsigned);
  EXPECT_EQ(NSNumber(static_cast<double>(smallest)).exactly<std::int64_t>(), smallest);
  EXPECT_EQ(NSNumber(notANumber).exactly<std::int64_t>(), std::nullopt);
  EXPECT_EQ(NSNumber(std::numeric_limits<double>::infinity()).exactly<std::uint64_t>(), std::nullopt);
}

TEST(NSNumber, IsARealExactlyWhenNothingIsRounded) {
  EXPECT_EQ(NSNumber(0.1).exactly<float>(), std::nullopt);
  EXPECT_EQ(NSNumber(0.1f).exactly<float>(), 0.1f);
  EXPECT_EQ(NSNumber(0.1f).exactly<double>(), static_cast<double>(0.1f));
  EXPECT_EQ(NSNumber(2.25).exactly<float>(), 2.25f);
  EXPECT_EQ(NSNumber(3).exactly<float>(), 3.0f);
  EXPECT_EQ(NSNumber((std::int64_t{1} << 53) + 1).exactly<double>(), std::nullopt);
  EXPECT_EQ(NSNumber((1 << 24) + 1).exactly<float>(), std::nullopt);
  EXPECT_TRUE(std::isnan(NSNumber(notANumber).exactly<float>().value()));
  EXPECT_TRUE(std::isnan(NSNumber(notANumber).exactly<double>().value()));
  EXPECT_EQ(NSNumber(1e300).exactly<float>(), std::nullopt);
}

TEST(NSNumber, DescribesItselfInTheFewestDigits) {
  const auto text = [](NSNumber number) { return (std::ostringstream() << number).str(); };
  EXPECT_EQ(text(NSNumber(true)), "1");
  EXPECT_EQ(text(NSNumber(smallest)), "-9223372036854775808");
  EXPECT_EQ(text(NSNumber(largestUnsigned)), "18446744073709551615");
  EXPECT_EQ(text(NSNumber(0.1f)), "0.1");
  EXPECT_EQ(text(NSNumber(0.1)), "0.1");
  EXPECT_EQ(text(NSNumber(notANumber)), "nan");
}

}  // namespace
}  // namespace Tessaly::inline v1
