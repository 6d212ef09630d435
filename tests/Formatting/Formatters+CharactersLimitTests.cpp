// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <limits>
#include <string>

#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"

namespace Tessaly {
namespace {

using Formatters::CharactersLimit;

TEST(CharactersLimit, AcceptsFewerCharactersThanItsLimit) {
  CharactersLimit limit(3);
  EXPECT_EQ(limit.charactersLimit(), 3);
  EXPECT_TRUE(limit.isPartialStringValid(""));
  EXPECT_TRUE(limit.isPartialStringValid("ab"));
  EXPECT_FALSE(limit.isPartialStringValid("abc"));
}

TEST(CharactersLimit, AcceptsNothingWithoutRoom) {
  for (const std::int64_t none : {std::int64_t{0}, std::int64_t{-1}, std::numeric_limits<std::int64_t>::min()}) {
    EXPECT_FALSE(CharactersLimit(none).isPartialStringValid(""));
  }
  EXPECT_TRUE(CharactersLimit(1).isPartialStringValid(""));
  EXPECT_TRUE(CharactersLimit(std::numeric_limits<std::int64_t>::max()).isPartialStringValid("abc"));
}

TEST(CharactersLimit, CountsPerceivedCharacters) {
  CharactersLimit limit(2);
  for (const char* one : {"é", "e\u0301", "\r\n", "🇫🇷", "👨‍👩‍👧", "1️⃣", "👍🏽", "\xFF"}) {
    EXPECT_TRUE(limit.isPartialStringValid(one)) << one;
    EXPECT_FALSE(limit.isPartialStringValid(std::string(one) + "xy")) << one;
  }
}

TEST(CharactersLimit, AcceptsAMegabyteOfMarksOnOneLetter) {
  std::string text = "e";
  for (int index = 0; index < 500'000; ++index) text += "\u0301";
  EXPECT_TRUE(CharactersLimit(2).isPartialStringValid(text));
  EXPECT_FALSE(CharactersLimit(2).isPartialStringValid(std::string(1'000'000, 'a')));
}

TEST(CharactersLimit, CountsMarksWithoutALetterAsOneCharacter) {
  std::string marks;
  for (int index = 0; index < 1000; ++index) marks += "\u0301";
  EXPECT_TRUE(CharactersLimit(2).isPartialStringValid(marks));
  EXPECT_FALSE(CharactersLimit(1).isPartialStringValid(marks));
  EXPECT_FALSE(CharactersLimit(2).isPartialStringValid("\n" + marks));  // They do not join a line end.
}

TEST(CharactersLimit, CountsEachIllFormedPieceAsOneCharacter) {
  const std::pair<std::string, int> texts[] = {{"\xFF\xFF\xFF", 3}, {"\xE2\x82", 1},     {"\xF0\x9F\x98", 1},
                                               {"\xC0\x80", 2},     {"\xED\xA0\x80", 3}, {"a\x80", 2}};
  for (const auto& [text, count] : texts) {
    EXPECT_TRUE(CharactersLimit(count + 1).isPartialStringValid(text)) << count;
    EXPECT_FALSE(CharactersLimit(count).isPartialStringValid(text)) << count;
  }
}

TEST(CharactersLimit, NeitherReplacesNorDescribes) {
  std::optional<std::string> replacement;
  std::optional<std::string> description;
  EXPECT_FALSE(CharactersLimit(1).isPartialStringValid("abc", &replacement, &description));
  EXPECT_EQ(replacement, std::nullopt);
  EXPECT_EQ(description, std::nullopt);
}

TEST(CharactersLimit, ShowsOnlyTexts) {
  const CharactersLimit limit(3);
  EXPECT_EQ(limit.string(std::string("longer than that")), "longer than that");
  EXPECT_EQ(limit.string("ab"), "ab");
  EXPECT_EQ(limit.string(5), std::nullopt);
  EXPECT_EQ(limit.string({}), std::nullopt);
}

TEST(CharactersLimit, GivesTheTextUnchanged) {
  CharactersLimit limit(1);
  std::any object;
  std::optional<std::string> description;
  EXPECT_TRUE(limit.getObjectValue(&object, "a😀b", &description));
  EXPECT_EQ(std::any_cast<std::string>(object), "a😀b");
  EXPECT_EQ(description, std::nullopt);
  EXPECT_TRUE(limit.getObjectValue(nullptr, "abc"));
}

TEST(CharactersLimit, IsKnownByItsName) { EXPECT_EQ(CharactersLimit::make(1)->className(), "Tessaly.CharactersLimit"); }

TEST(CharactersLimitDeathTest, MadeFromAnArchiveStopsTheProcess) {
  EXPECT_DEATH(CharactersLimit::from(Data()),
               "Tessaly/Formatters\\+CharactersLimit:[0-9]+: Fatal error: init\\(coder:\\) has not been implemented");
}

TEST(CharactersLimitDeathTest, MadeWithoutArgumentsStopsTheProcess) {
  EXPECT_DEATH(static_cast<void>(Object::make("Tessaly.CharactersLimit")),
               "Tessaly/Formatters\\+CharactersLimit:[0-9]+: Fatal error: Use of unimplemented initializer "
               "'init\\(\\)' for class "
               "'Tessaly.CharactersLimit'");
}

}  // namespace
}  // namespace Tessaly
