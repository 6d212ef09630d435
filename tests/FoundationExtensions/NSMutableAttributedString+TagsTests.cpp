// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <any>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "Tessaly/Core/Text/detail/ForwardEdit.hpp"
#include "Tessaly/FoundationExtensions/NSMutableAttributedString+Tags.hpp"

namespace {

using namespace Tessaly;

const NSMutableAttributedString::Attributes bold{{"weight", 700}};

/// The text with brackets around the bold parts.
std::string marked(const NSMutableAttributedString& text) {
  std::string result;
  bool isBold = false;
  for (std::int64_t at = 0; at < text.length(); ++at) {
    const bool isBoldHere = text.attributes(at).contains("weight");
    if (isBoldHere != isBold) result += isBoldHere ? '[' : ']';
    isBold = isBoldHere;
    result += static_cast<char>(text.utf16()[static_cast<std::size_t>(at)]);
  }
  return isBold ? result + ']' : result;
}

std::string replaced(std::string_view text, std::string_view tag) {
  NSMutableAttributedString string(text);
  replace(string, tag, bold);
  return marked(string);
}

TEST(AddAttributes, CoversTheWholeText) {
  NSMutableAttributedString text("abc");
  addAttributes(text, bold);
  EXPECT_EQ(marked(text), "[abc]");
  EXPECT_EQ(text.effectiveRange(1), (NSRange{0, 3}));
  NSMutableAttributedString empty;
  addAttributes(empty, bold);
  EXPECT_EQ(empty.length(), 0);
}

TEST(ReplaceTags, MarksTheTextBetweenTags) {
  EXPECT_EQ(replaced("A <b>bold</b> word", "b"), "A [bold] word");
  EXPECT_EQ(replaced("<b></b>x", "b"), "x");
  EXPECT_EQ(replaced("<em>all</em>", "em"), "[all]");
}

TEST(ReplaceTags, WithoutAPairOrValidPatternNothingChanges) {
  for (const std::string_view text :
       {"", "plain", "<b>open", "close</b>", "</b>wrong<b>", "<i>other</i>", "<b>\n</b>"}) {
    EXPECT_EQ(replaced(text, "b"), text);
  }
  EXPECT_EQ(replaced("<(>x</(>", "("), "<(>x</(>");
}

TEST(ReplaceTags, KeepsTheOtherAttributes) {
  NSMutableAttributedString text("A <b>bold</b> word");
  addAttributes(text, {{"color", std::string("red")}});
  replace(text, "b", bold);
  EXPECT_EQ(std::any_cast<std::string>(text.attributes(3).at("color")), "red");
  EXPECT_EQ(std::any_cast<int>(text.attributes(3).at("weight")), 700);
}

TEST(ReplaceTags, CountsUTF16Units) {
  NSMutableAttributedString text("😀 <b>😀</b>!");
  replace(text, "b", bold);
  EXPECT_EQ(text.string(), "😀 😀!");
  EXPECT_EQ(text.effectiveRange(3), (NSRange{3, 2}));
}

TEST(ReplaceTags, RemovesAllTagsButCountsOnePair) {
  // The match has 19 units. Without one pair of tags (7 units), 12 units from its start are marked.
  EXPECT_EQ(replaced("<b>a</b> - <b>c</b> and more", "b"), "[a - c and mo]re");
}

TEST(ReplaceTags, ThrowsOutsideTheTextAndKeepsEarlierChanges) {
  NSMutableAttributedString text("<b>a</b> - <b>c</b>");
  EXPECT_THROW(replace(text, "b", bold), std::out_of_range);
  EXPECT_EQ(marked(text), "a - c");
}

TEST(ReplaceTags, DoesNotCorrectThePlacesOfLaterPairs) {
  // The first pair shortens the text by 7. The second was found at 11 with a length of 10.
  const std::string text = "<b>one</b>\n<b>two</b> after the second";
  NSMutableAttributedString string(text);
  replace(string, "b", bold);
  // In "one\n<b>two</b> after the second", those are "/b> after ". They become "two", and three units are marked.
  EXPECT_EQ(string.string(), "one\n<b>two<twothe second");
  EXPECT_EQ(marked(string), "[one]\n<b>two<[two]the second");
}

TEST(ReplaceTags, ThrowsIfALaterPassageExceedsTheText) {
  NSMutableAttributedString text("<b>one</b>\n<b>two</b>");
  EXPECT_THROW(replace(text, "b", bold), std::out_of_range);
  EXPECT_EQ(text.string(), "one\n<b>two</b>");
}

TEST(ReplaceTags, TagIsPartOfARegularExpression) {
  EXPECT_EQ(replaced("<b1>x</b2> y", "b\\d"), "[x] y");
  // The bar splits the whole pattern. So "<b" matches, and so does "i>.*</b", which has an end tag.
  EXPECT_EQ(replaced("no bar", "b|i"), "no bar");
  // "\\2" can refer to two groups in the whole pattern. In each part there is only one, so it matches nothing.
  EXPECT_EQ(replaced("<aa>x</aa>", "(a)\\1"), "[x]");
  EXPECT_NO_THROW(replaced("<a>x</aa>", "(a)\\2?"));
}

/// The same tag, written so that it is searched as a regular expression.
constexpr std::string_view tagAsExpression = "(?:b)";

struct Outcome {
  std::string text;
  bool hasThrown = false;
  bool operator==(const Outcome&) const = default;
};

Outcome outcomeOf(std::string_view text, std::string_view tag) {
  NSMutableAttributedString string(text);
  Outcome outcome;
  try {
    replace(string, tag, bold);
  } catch (const std::out_of_range&) {
    outcome.hasThrown = true;
  }
  outcome.text = marked(string);
  return outcome;
}

TEST(ReplaceTags, FindsPlainTagsAsTheExpressionDoes) {
  const std::vector<std::string> parts = {"<b>",  "</b>", "<b",     "b>",     "x",  "\n",
                                          "\r\n", "\v",   "\u0085", "\u2028", "</b"};
  std::mt19937 random(11);
  int marks = 0;
  for (int round = 0; round < 3'000; ++round) {
    std::string text;
    for (auto length = random() % 14; length > 0; --length) text += parts[random() % parts.size()];
    const Outcome outcome = outcomeOf(text, "b");
    ASSERT_EQ(outcome, outcomeOf(text, tagAsExpression)) << text;
    marks += outcome.text.contains('[') ? 1 : 0;
  }
  EXPECT_GT(marks, 30);
}

TEST(ReplaceTags, ReadsALineOfUnclosedTagsOnce) {
  // A search that reads the rest of the line for each tag takes 60 thousand million steps, beyond any time limit.
  std::string text;
  for (int i = 0; i < 200'000; ++i) text += "<b>";
  NSMutableAttributedString string(text);
  replace(string, "b", bold);
  EXPECT_EQ(string.length(), 600'000);
}

TEST(ReplaceTags, TakesLinearStepsForManyLines) {
  // Every line of the original text is a passage. A text that moves its rest for each takes four times the steps.
  const auto stepsFor = [](std::int64_t lines) {
    constexpr std::int64_t length = 18;
    std::string text;
    for (std::int64_t i = 0; i < 2 * lines; ++i) text += "<b>some words</b>\n";
    NSMutableAttributedString string(text);
    detail::ForwardEdit edit(string);
    for (std::int64_t i = 0; i < lines; ++i) {
      edit.replaceCharacters({.location = i * length, .length = length - 1}, u"some words");
      edit.addAttributes(bold, {.location = i * length, .length = 10});
    }
    return edit.steps();
  };
  EXPECT_GE(stepsFor(1'000), 10'000);
  EXPECT_LE(stepsFor(2'000), 2 * stepsFor(1'000) + 10);
}

TEST(ReplaceTags, SearchesTheOriginalTextForTags) {
  // The second match keeps its original position, whatever the first replacement left there.
  NSMutableAttributedString string("<b>1</b>\n<b>2</b>\nlong enough not to end");
  replace(string, "b", bold);
  EXPECT_EQ(string.string(), "1\n<b>2</b2nough not to end");
}

}  // namespace
