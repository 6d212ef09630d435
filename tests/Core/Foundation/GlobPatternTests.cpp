// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>
#include <locale.h>

#include <string>

#include "Tessaly/Core/Foundation/detail/GlobPattern.hpp"

namespace Tessaly::detail::GlobPattern {
namespace {

TEST(GlobPattern, MatchesWholeNames) {
  EXPECT_TRUE(fits("readme", "readme"));
  EXPECT_FALSE(fits("readme", "readme.txt"));
  EXPECT_FALSE(fits("readme", "a readme"));
  EXPECT_TRUE(fits("", ""));
  EXPECT_FALSE(fits("", "a"));
  EXPECT_FALSE(fits("a", ""));
}

TEST(GlobPattern, StarsAndQuestionMarksMatchOtherCharacters) {
  EXPECT_TRUE(fits("*", ""));
  EXPECT_TRUE(fits("**", "anything"));
  EXPECT_TRUE(fits("*.so.?", "lib.so.so.1"));
  EXPECT_FALSE(fits("*.so.?", "lib.so."));
  EXPECT_TRUE(fits("a*b*c", "aXbXbc"));
  EXPECT_FALSE(fits("a*b*c", "aXbXb"));
}

TEST(GlobPattern, SetsMatchCharactersAndRanges) {
  EXPECT_TRUE(fits("*.so.[0-9]*", "libc.so.6.1"));
  EXPECT_FALSE(fits("*.so.[0-9]*", "libc.so.x"));
  EXPECT_TRUE(fits("*.anim[1-9j]", "a.animj"));
  EXPECT_TRUE(fits("[!a]", "b"));
  EXPECT_FALSE(fits("[!a]", "a"));
  EXPECT_TRUE(fits("[]a]", "]"));
  EXPECT_TRUE(fits("[a-]", "-"));
  // A bracket that is never closed matches itself.
  EXPECT_TRUE(fits("[a", "[a"));
  EXPECT_FALSE(fits("[a", "a"));
}

TEST(GlobPattern, BackslashEscapesTheNextCharacter) {
  EXPECT_TRUE(fits("\\*", "*"));
  EXPECT_FALSE(fits("\\*", "a"));
  EXPECT_TRUE(fits("a\\b", "ab"));
}

TEST(GlobPattern, MatchesBytesThatAreNotUTF8) {
  EXPECT_TRUE(fits("*.\xFF", "\xC3.\xFF"));
  EXPECT_TRUE(fits("[\x80-\xFF]", "\xF0"));
}

TEST(GlobPattern, ManyStarsTakeAtMostQuadraticTime) {
  std::string pattern;
  for (int i = 0; i < 2'000; ++i) pattern += "a*";
  EXPECT_FALSE(fits(pattern + "b", std::string(4'000, 'a')));
}

TEST(GlobPattern, LocaleOfTheHostChangesNothing) {
  ASSERT_NE(::setlocale(LC_ALL, "C.UTF-8"), nullptr);
  EXPECT_FALSE(fits("?", "é"));
  EXPECT_TRUE(fits("??", "é"));
  EXPECT_TRUE(fits("[\x80-\xFF]*", "é"));
  EXPECT_EQ(::uselocale(nullptr), LC_GLOBAL_LOCALE);
}

TEST(GlobPattern, PatternsWithZerosMatchNothing) {
  EXPECT_FALSE(fits(std::string("*.a\0[0-9]", 9), "b.a"));
  EXPECT_FALSE(fits(std::string(1, '\0'), ""));
}

TEST(GlobPattern, NamesWithZerosMatchNothing) {
  EXPECT_FALSE(fits("*.txt", std::string("a.txt\0.png", 10)));
  EXPECT_FALSE(fits("*", std::string(1, '\0')));
}

}  // namespace
}  // namespace Tessaly::detail::GlobPattern
