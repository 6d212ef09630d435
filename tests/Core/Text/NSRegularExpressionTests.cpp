// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <thread>
#include <vector>

#include "Tessaly/Core/Text/NSRegularExpression.hpp"

namespace {

using namespace Tessaly;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

TEST(NSRegularExpression, FindsAllMatchesInOrder) {
  const NSRegularExpression years("\\d{4}");
  EXPECT_THAT(years.matches(u"1965 to 1969"), ElementsAre(NSRange{0, 4}, NSRange{8, 4}));
  EXPECT_THAT(years.matches(u"no year"), IsEmpty());
  EXPECT_EQ(years.rangeOfFirstMatch(u"in 1965, 1969"), (NSRange{3, 4}));
  EXPECT_EQ(years.rangeOfFirstMatch(u""), std::nullopt);
  EXPECT_EQ(years.pattern(), "\\d{4}");
}

TEST(NSRegularExpression, CountsUTF16Units) {
  EXPECT_EQ(NSRegularExpression("b").rangeOfFirstMatch(u"😀b"), (NSRange{2, 1}));
  EXPECT_EQ(NSRegularExpression(".").rangeOfFirstMatch(u"😀b"), (NSRange{0, 2}));
}

TEST(NSRegularExpression, DotMatchesAllExceptLineEnds) {
  const NSRegularExpression dot("a.b");
  for (const char16_t end : std::u16string_view(u"\n\v\f\r\u0085\u2028\u2029")) {
    EXPECT_EQ(dot.rangeOfFirstMatch(std::u16string{u'a', end, u'b'}), std::nullopt) << int{end};
  }
  EXPECT_EQ(dot.rangeOfFirstMatch(u"a\u00A0b"), (NSRange{0, 3}));
}

TEST(NSRegularExpression, MatchesNothingBetweenUnits) {
  EXPECT_THAT(NSRegularExpression("x*").matches(u"axx"), ElementsAre(NSRange{0, 0}, NSRange{1, 2}, NSRange{3, 0}));
  EXPECT_THAT(NSRegularExpression("").matches(u"a"), ElementsAre(NSRange{0, 0}, NSRange{1, 0}));
}

TEST(NSRegularExpression, RefusesMalformedPatterns) {
  try {
    const NSRegularExpression expression("(a");
    FAIL();
  } catch (const RegularExpressionError& error) {
    EXPECT_EQ(error.pattern, "(a");
    EXPECT_EQ(error.reason, "U_REGEX_MISMATCHED_PAREN");
    EXPECT_EQ(error.description(), "The pattern \"(a\" is no regular expression: U_REGEX_MISMATCHED_PAREN");
  }
  for (const char* pattern : {"[", "*", "a{2,1}", "\\", "(?<n>a)(?<n>b)"}) {
    EXPECT_THROW(NSRegularExpression{pattern}, RegularExpressionError) << pattern;
  }
}

TEST(NSRegularExpression, FindsNothingIfBacktrackingNeedsTooMuchMemory) {
  EXPECT_THAT(NSRegularExpression("(a|b|ab)*c").matches(std::u16string(3'000'000, u'a')), IsEmpty());
}

TEST(NSRegularExpression, MovedFromOneStaysUsable) {
  NSRegularExpression first("a");
  const NSRegularExpression second = std::move(first);
  EXPECT_EQ(first.rangeOfFirstMatch(u"ba"), (NSRange{1, 1}));  // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(second.pattern(), "a");
}

TEST(NSRegularExpression, ServesManyThreadsAtOnce) {
  const NSRegularExpression words("\\w+");
  std::vector<std::thread> threads;
  std::vector<std::size_t> counts(4);
  for (std::size_t& count : counts) {
    threads.emplace_back([&] {
      for (int round = 0; round < 500; ++round) count += words.matches(u"one two three").size();
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_THAT(counts, ::testing::Each(1500));
}

}  // namespace
