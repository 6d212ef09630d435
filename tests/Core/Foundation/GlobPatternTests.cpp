// SPDX-License-Identifier: MIT
#include <fnmatch.h>
#include <gtest/gtest.h>

#include <random>
#include <string>

#include "Tessaly/Core/Foundation/detail/GlobPattern.hpp"
#include "tests/Support/Repetitions.hpp"

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

TEST(GlobPattern, StarsAndQuestionMarksStandForOthers) {
  EXPECT_TRUE(fits("*", ""));
  EXPECT_TRUE(fits("**", "anything"));
  EXPECT_TRUE(fits("*.so.?", "lib.so.so.1"));
  EXPECT_FALSE(fits("*.so.?", "lib.so."));
  EXPECT_TRUE(fits("a*b*c", "aXbXbc"));
  EXPECT_FALSE(fits("a*b*c", "aXbXb"));
}

TEST(GlobPattern, SetsHoldCharactersAndRanges) {
  EXPECT_TRUE(fits("*.so.[0-9]*", "libc.so.6.1"));
  EXPECT_FALSE(fits("*.so.[0-9]*", "libc.so.x"));
  EXPECT_TRUE(fits("*.anim[1-9j]", "a.animj"));
  EXPECT_TRUE(fits("[!a]", "b"));
  EXPECT_FALSE(fits("[!a]", "a"));
  EXPECT_TRUE(fits("[]a]", "]"));
  EXPECT_TRUE(fits("[a-]", "-"));
  // One that is never closed means itself.
  EXPECT_TRUE(fits("[a", "[a"));
  EXPECT_FALSE(fits("[a", "a"));
}

TEST(GlobPattern, ABackslashTakesTheMeaningFromWhatFollows) {
  EXPECT_TRUE(fits("\\*", "*"));
  EXPECT_FALSE(fits("\\*", "a"));
  EXPECT_TRUE(fits("a\\", "a\\"));
}

TEST(GlobPattern, MatchesBytesThatAreNoUTF8) {
  EXPECT_TRUE(fits("*.\xFF", "\xC3.\xFF"));
  EXPECT_TRUE(fits("[\x80-\xFF]", "\xF0"));
}

TEST(GlobPattern, ManyStarsTakeNoMoreThanTheLengthsMultiplied) {
  std::string pattern;
  for (int i = 0; i < 2'000; ++i) pattern += "a*";
  EXPECT_FALSE(fits(pattern + "b", std::string(4'000, 'a')));
}

TEST(GlobPattern, AgreesWithFnmatch) {
  std::mt19937 random(5);
  const auto text = [&](std::string_view alphabet) {
    std::string made;
    for (auto length = random() % 7; length > 0; --length) made += alphabet[random() % alphabet.size()];
    return made;
  };
  for (int i = 0; i < Tests::repetitions(20'000); ++i) {
    const std::string pattern = text("ab*?[]-!");
    const std::string name = text("ab]-");
    EXPECT_EQ(fits(pattern, name), ::fnmatch(pattern.c_str(), name.c_str(), 0) == 0) << pattern << ' ' << name;
  }
}

}  // namespace
}  // namespace Tessaly::detail::GlobPattern
