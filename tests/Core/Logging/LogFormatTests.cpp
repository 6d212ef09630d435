// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "Tessaly/Core/Logging/LogFormat.hpp"

namespace {

using namespace Tessaly;

TEST(LogFormat, FindsPlaceholdersInOrder) {
  constexpr std::string_view format = "a %d b %{public}s";
  constexpr auto first = detail::nextLogPlaceholder(format, 0);
  EXPECT_EQ(first.begin, 2u);
  EXPECT_EQ(first.end, 4u);
  EXPECT_EQ(first.conversion, 'd');
  constexpr auto second = detail::nextLogPlaceholder(format, first.end);
  EXPECT_EQ(second.begin, 7u);
  EXPECT_EQ(second.end, format.size());
  EXPECT_EQ(second.conversion, 's');
  constexpr auto none = detail::nextLogPlaceholder(format, second.end);
  EXPECT_EQ(none.begin, format.size());
  EXPECT_EQ(none.end, format.size());
}

TEST(LogFormat, TextIsPrivateAndNumbersArePublicUnlessMarked) {
  EXPECT_EQ(detail::nextLogPlaceholder("%s", 0).privacy, LogPrivacy::private_);
  EXPECT_EQ(detail::nextLogPlaceholder("%d", 0).privacy, LogPrivacy::public_);
  EXPECT_EQ(detail::nextLogPlaceholder("%x", 0).privacy, LogPrivacy::public_);
  EXPECT_EQ(detail::nextLogPlaceholder("%f", 0).privacy, LogPrivacy::public_);
  EXPECT_EQ(detail::nextLogPlaceholder("%{public}s", 0).privacy, LogPrivacy::public_);
  EXPECT_EQ(detail::nextLogPlaceholder("%{private}d", 0).privacy, LogPrivacy::private_);
}

TEST(LogFormat, APercentSignTakesNoArgument) {
  EXPECT_EQ(detail::nextLogPlaceholder("100%%", 0).conversion, '%');
  EXPECT_EQ(detail::nextLogPlaceholder("100%%", 0).end, 5u);
}

TEST(LogFormat, OtherTextAfterAPercentSignIsMalformed) {
  for (const std::string_view format : {"%", "%q", "%{public}", "%{public}%", "%{secret}s", "%{", "%ld"}) {
    EXPECT_EQ(detail::nextLogPlaceholder(format, 0).conversion, 0) << format;
  }
}

TEST(LogFormat, EachConversionTakesItsKindOfArgument) {
  using Kind = detail::LogArgumentKind;
  EXPECT_TRUE(detail::acceptsLogArgument('s', Kind::text));
  EXPECT_FALSE(detail::acceptsLogArgument('s', Kind::signedInteger));
  EXPECT_TRUE(detail::acceptsLogArgument('d', Kind::signedInteger));
  EXPECT_TRUE(detail::acceptsLogArgument('d', Kind::unsignedInteger));
  EXPECT_FALSE(detail::acceptsLogArgument('d', Kind::floatingPoint));
  EXPECT_TRUE(detail::acceptsLogArgument('x', Kind::unsignedInteger));
  EXPECT_FALSE(detail::acceptsLogArgument('x', Kind::text));
  EXPECT_TRUE(detail::acceptsLogArgument('f', Kind::floatingPoint));
  EXPECT_FALSE(detail::acceptsLogArgument('f', Kind::signedInteger));
}

TEST(LogFormat, AcceptsOnlyTypesOfArguments) {
  static_assert(detail::LogArgumentType<std::string>);
  static_assert(detail::LogArgumentType<std::string_view>);
  static_assert(detail::LogArgumentType<const char*>);
  static_assert(detail::LogArgumentType<char[4]>);
  static_assert(detail::LogArgumentType<int>);
  static_assert(detail::LogArgumentType<unsigned long long>);
  static_assert(detail::LogArgumentType<double>);
  static_assert(detail::LogArgumentType<bool>);
  static_assert(!detail::LogArgumentType<void*>);
  static_assert(!detail::LogArgumentType<LogPrivacy>);
  EXPECT_EQ(detail::logArgumentKind<std::string>, detail::LogArgumentKind::text);
  EXPECT_EQ(detail::logArgumentKind<int>, detail::LogArgumentKind::signedInteger);
  EXPECT_EQ(detail::logArgumentKind<std::uint8_t>, detail::LogArgumentKind::unsignedInteger);
  EXPECT_EQ(detail::logArgumentKind<float>, detail::LogArgumentKind::floatingPoint);
}

TEST(LogFormat, KeepsThePlaceOfTheCall) {
  const LogFormat<int> format = "%d";
  const unsigned line = __LINE__ - 1;
  EXPECT_EQ(format.text(), "%d");
  EXPECT_EQ(format.location().line, line);
  EXPECT_TRUE(std::string_view(format.location().file).ends_with("LogFormatTests.cpp"));
  EXPECT_STREQ(format.location().function, "TestBody");
}

LogLocation placeOfCaller(LogLocation location = LogLocation::here()) { return location; }

TEST(LogLocation, DefaultArgumentGivesThePlaceOfTheCall) {
  const LogLocation location = placeOfCaller();
  EXPECT_EQ(location.line, static_cast<unsigned>(__LINE__ - 1));
  EXPECT_STREQ(location.function, "TestBody");
  EXPECT_TRUE(std::string_view(location.file).ends_with("LogFormatTests.cpp"));
}

}  // namespace
