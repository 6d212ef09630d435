// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>

#include "Tessaly/Formatting/Formatters+NoEmojis.hpp"

namespace Tessaly {
namespace {

using Formatters::NoEmojis;

std::string kept(std::string_view text) {
  std::any object;
  EXPECT_TRUE(NoEmojis(std::nullopt).getObjectValue(&object, text));
  return std::any_cast<std::string>(object);
}

TEST(NoEmojis, RemovesEveryEmoji) {
  EXPECT_EQ(kept("a😀b"), "ab");
  EXPECT_EQ(kept("🇫🇷👨‍👩‍👧1️⃣👍🏽x"), "x");
  EXPECT_EQ(kept("😀😀😀"), "");
  EXPECT_EQ(kept(""), "");
}

TEST(NoEmojis, KeepsOtherCharacters) {
  EXPECT_EQ(kept("#1*©™"), "#1*©™");
  EXPECT_EQ(kept("⌚"), "⌚");      // Below U+238D, and a single scalar.
  EXPECT_EQ(kept("⌚\uFE0F"), "");  // Two scalars.
  EXPECT_EQ(kept("e\u0301\r\n\u200D"), "e\u0301\r\n\u200D");
  EXPECT_EQ(kept("\xFF"
                 "a"),
            "\xFF"
            "a");
}

TEST(NoEmojis, RemovesAMegabyteOfEmoji) {
  std::string text;
  while (text.size() < 1'000'000) text += "👨‍👩‍👧";
  EXPECT_EQ(kept(text), "");
  EXPECT_EQ(kept("a" + text + "b"), "ab");
}

TEST(NoEmojis, KeepsMarksAndIllFormedPiecesByteForByte) {
  std::string text;
  for (int index = 0; index < 1000; ++index) text += "\u0301";
  for (const std::string& each : {text, std::string("\xE2\x82"), std::string("\xED\xA0\x80"), std::string("a\0b", 3)}) {
    EXPECT_EQ(kept(each), each);
  }
  EXPECT_EQ(kept("\xF0\x9F\x98😀\xFF"), "\xF0\x9F\x98\xFF");
}

TEST(NoEmojis, AcceptsUpToItsLimit) {
  NoEmojis limited(3);
  EXPECT_EQ(limited.charactersLimit(), 3);
  EXPECT_TRUE(limited.isPartialStringValid("abc"));
  EXPECT_TRUE(limited.isPartialStringValid("😀😀😀"));
  EXPECT_FALSE(limited.isPartialStringValid("abcd"));
  EXPECT_TRUE(NoEmojis(0).isPartialStringValid(""));
  EXPECT_FALSE(NoEmojis(0).isPartialStringValid("a"));
  EXPECT_FALSE(NoEmojis(-1).isPartialStringValid(""));
}

TEST(NoEmojis, AcceptsEverythingWithoutALimit) {
  NoEmojis unlimited(std::nullopt);
  EXPECT_TRUE(unlimited.isPartialStringValid(std::string(1'000'000, 'a')));
  EXPECT_TRUE(unlimited.isPartialStringValid("😀"));
}

TEST(NoEmojis, ShowsOnlyUnchangedTexts) {
  const NoEmojis formatter(std::nullopt);
  EXPECT_EQ(formatter.string("a😀"), "a😀");
  EXPECT_EQ(formatter.string(5), std::nullopt);
}

TEST(NoEmojis, NeitherReplacesNorDescribes) {
  std::optional<std::string> replacement;
  std::optional<std::string> description;
  EXPECT_FALSE(NoEmojis(1).isPartialStringValid("abc", &replacement, &description));
  EXPECT_TRUE(NoEmojis(1).getObjectValue(nullptr, "abc", &description));
  EXPECT_EQ(replacement, std::nullopt);
  EXPECT_EQ(description, std::nullopt);
}

TEST(NoEmojis, IsKnownByItsName) { EXPECT_EQ(NoEmojis::make(std::nullopt)->className(), "Tessaly.NoEmojis"); }

TEST(NoEmojisDeathTest, MadeFromAnArchiveStopsTheProcess) {
  EXPECT_DEATH(NoEmojis::from(Data()),
               "Tessaly/Formatters\\+NoEmojis:[0-9]+: Fatal error: init\\(coder:\\) has not been implemented");
}

TEST(NoEmojisDeathTest, MadeWithoutArgumentsStopsTheProcess) {
  EXPECT_DEATH(
      static_cast<void>(Object::make("Tessaly.NoEmojis")),
      "Tessaly/Formatters\\+NoEmojis:[0-9]+: Fatal error: Use of unimplemented initializer 'init\\(\\)' for class "
      "'Tessaly.NoEmojis'");
}

}  // namespace
}  // namespace Tessaly
