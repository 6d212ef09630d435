// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "Tessaly/FoundationExtensions/String+Search.hpp"
#include "tests/Support/Allocations.hpp"

namespace {

using namespace Tessaly;
using String::normalizedForSearch;

TEST(NormalizedForSearch, IsLatinWithoutMarksInLowerCase) {
  EXPECT_EQ(normalizedForSearch("Ñandú"), "nandu");
  EXPECT_EQ(normalizedForSearch("Straße"), "strasse");
  EXPECT_EQ(normalizedForSearch("Øyvind ÆØÅ"), "oyvind aeoa");
  EXPECT_EQ(normalizedForSearch("Łódź"), "lodz");
  EXPECT_EQ(normalizedForSearch("İstanbul"), "istanbul");
  EXPECT_EQ(normalizedForSearch("HELLO, World! 123"), "hello, world! 123");
  EXPECT_EQ(normalizedForSearch(""), "");
}

TEST(NormalizedForSearch, TransliteratesOtherScripts) {
  EXPECT_EQ(normalizedForSearch("Привет, Мир"), "privet, mir");
  EXPECT_EQ(normalizedForSearch("日本語"), "ri ben yu");
  EXPECT_EQ(normalizedForSearch("ひらがな カタカナ"), "hiragana katakana");
  EXPECT_EQ(normalizedForSearch("한국어"), "hangug-eo");
  EXPECT_EQ(normalizedForSearch("हिन्दी"), "hindi");
  EXPECT_EQ(normalizedForSearch("Ελληνικά"), "ellenika");
  EXPECT_EQ(normalizedForSearch("العربية"), "alʿrbyt");
}

TEST(NormalizedForSearch, WritesSignsInASCII) {
  EXPECT_EQ(normalizedForSearch("“Quote” – dash…"), "\"quote\" - dash...");
  EXPECT_EQ(normalizedForSearch("ﬁne ½"), "fine  1/2");
  EXPECT_EQ(normalizedForSearch("™ © 😀"), "™ (c) 😀");
}

TEST(NormalizedForSearch, ReplacesIllFormedBytes) {
  EXPECT_EQ(normalizedForSearch("A\xFFZ"), "a\uFFFDz");
  EXPECT_EQ(normalizedForSearch("\xE2\x82И"), "\uFFFDi");
}

TEST(NormalizedForSearch, AllocatesNothingForAShortLatinText) {
  EXPECT_EQ(normalizedForSearch("Øyvind Łódź"), "oyvind lodz");  // From now on these letters are known.
  EXPECT_EQ(Tests::allocationsOf([] { EXPECT_EQ(normalizedForSearch("Øyvind"), "oyvind"); }), 0);
  EXPECT_EQ(Tests::allocationsOf([] { EXPECT_EQ(normalizedForSearch("HELLO, WORLD"), "hello, world"); }), 0);
}

TEST(NormalizedForSearch, MayBeCutToAPrefix) {
  EXPECT_EQ(normalizedForSearch("Straße", 5), "stras");
  EXPECT_EQ(normalizedForSearch("Straße", 7), "strasse");
  EXPECT_EQ(normalizedForSearch("Straße", 100), "strasse");
  EXPECT_EQ(normalizedForSearch("Straße", 0), "");
  EXPECT_EQ(normalizedForSearch("👍🏽x", 1), "👍🏽");
  EXPECT_EQ(normalizedForSearch("", 3), "");
}

TEST(NormalizedForSearchDeathTest, ANegativePrefixStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(normalizedForSearch("a", -1)),
               "Tessaly/String\\+Search:.*: Fatal error: A prefix cannot have a negative length");
}

}  // namespace
