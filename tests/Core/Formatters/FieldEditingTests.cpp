// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <any>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <vector>

#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Formatters/NumberFormatStyle.hpp"
#include "Tessaly/Core/Formatters/ValueFormatter.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/Formatters+NoEmojis.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {
namespace {

using Kind = FieldNotice::Kind;

std::shared_ptr<Formatters::RangeNumber<int>> integers(int lowest, int highest, const char* suffix = "") {
  auto formatter = Formatters::RangeNumber<int>::make(ClosedRange(lowest, highest));
  formatter->setSuffix(suffix);
  return formatter;
}
std::shared_ptr<Formatters::RangeNumber<double>> reals(double lowest, double highest, int digits = 1) {
  auto formatter = Formatters::RangeNumber<double>::make(ClosedRange(lowest, highest));
  formatter->setMaximumFractionDigits(digits);
  return formatter;
}

/// Makes the change, and returns the text with a bar at the cursor. `selection` has brackets around the removed part.
std::string changed(const FieldEditing& editing, const std::string& selection, const std::string& inserted) {
  const std::size_t open = selection.find('[');
  const std::size_t close = selection.find(']');
  const std::string before = selection.substr(0, open);
  const std::string behind = selection.substr(close + 1);
  const auto answer =
      editing.change({before, std::string_view(selection).substr(open + 1, close - open - 1), inserted, behind});
  switch (answer.kind) {
    case FieldEditing::Answer::Kind::accepted:
      return before + inserted + "|" + behind;
    case FieldEditing::Answer::Kind::refused:
      return "refused";
    case FieldEditing::Answer::Kind::replaced:
      return std::string(answer.text).insert(answer.cursor, "|");
  }
  return {};
}

/// The kind of the notice, the text at the end, and the number.
auto ended(FieldEditing& editing, std::string_view text) {
  const FieldEditing::End end = editing.end(text);
  const auto* number = std::any_cast<NSNumber>(&editing.object());
  return std::tuple(end.notice.kind, end.text, number != nullptr ? number->doubleValue() : -1000);
}

TEST(FieldEditing, NoNumberIsRefusedDuringTyping) {
  const FieldEditing editing(integers(10, 60));
  for (const char* text : {"3", "0", "-", "+", "1x", "500", "5.5", " ", "words"}) {
    EXPECT_EQ(changed(editing, "[30]", text), text + std::string("|"));
  }
  EXPECT_EQ(changed(editing, "[30]", ""), "|");
}

TEST(FieldEditing, SuffixStaysBehindEveryChange) {
  const FieldEditing editing(integers(0, 100, " %"));
  EXPECT_EQ(changed(editing, "[50 %]", "3"), "3| %");
  EXPECT_EQ(changed(editing, "[50 %]", ""), "| %");
  EXPECT_EQ(changed(editing, "5[0] %", ""), "5| %");
  EXPECT_EQ(changed(editing, "5[0 ]%", "1"), "51| %");
  EXPECT_EQ(changed(editing, "50[ ]%", ""), "refused");
  EXPECT_EQ(changed(editing, "50 [%]", ""), "refused");
  EXPECT_EQ(changed(editing, "50 %[]", "1"), "501| %");
  EXPECT_EQ(changed(editing, "[]50 %", "1"), "1|50 %");
}

TEST(FieldEditing, TypedSuffixDoesNotDoubleThePresentOne) {
  const FieldEditing editing(integers(0, 100, " %"));
  EXPECT_EQ(changed(editing, "[50 %]", "42%"), "42| %");
  EXPECT_EQ(changed(editing, "[50] %", "42 %"), "42| %");
  EXPECT_EQ(changed(editing, "50[] %", "%"), "refused");
  EXPECT_EQ(changed(editing, "50 [] %", "%"), "50| %");
  EXPECT_EQ(changed(editing, "[]", "42 %"), "42 %|");
}

TEST(FieldEditing, CursorStaysBeforeTheSuffix) {
  EXPECT_EQ(FieldEditing(integers(0, 100, " %")).lastPosition("50 %"), 2U);
  EXPECT_EQ(FieldEditing(integers(0, 100, " %")).lastPosition("50"), 2U);
  EXPECT_EQ(FieldEditing(integers(0, 100)).lastPosition("50"), 2U);
  EXPECT_EQ(FieldEditing(integers(0, 100, " %"), FieldChecking::atEveryChange).lastPosition("50 %"), 4U);
}

TEST(FieldEditing, StateSaysWhetherTypingCanGoOn) {
  const FieldEditing twenties(integers(20, 300, " bpm"));
  for (const char* text : {"", " bpm", "+", "1", "2", "3", "12", "19", "0", "00"}) {
    EXPECT_EQ(twenties.state(text), FieldState::incomplete) << text;
  }
  for (const char* text : {"20", "300", " 42 ", "+42", "120 bpm", "120bpm", "120 bpm bpm", "20."}) {
    EXPECT_EQ(twenties.state(text), FieldState::acceptable) << text;
  }
  for (const char* text : {"-", "-5", "301", "20.5", "x", "1x", "1.2"}) {
    EXPECT_EQ(twenties.state(text), FieldState::invalid) << text;
  }
  const FieldEditing negative(reals(-2.5, -1.5));
  for (const char* text : {"-", "-0", "-1", "-1."}) {
    EXPECT_EQ(negative.state(text), FieldState::incomplete) << text;
  }
  for (const char* text : {"+", "5", "-1.4", "-2.6", "-3", "-30"}) {
    EXPECT_EQ(negative.state(text), FieldState::invalid) << text;
  }
  EXPECT_EQ(negative.state("-2"), FieldState::acceptable);
}

TEST(FieldEditing, PrefixMayStayOrBeMissing) {
  auto formatter = std::make_shared<NumberFormatter>();
  formatter->setPositivePrefix("about ");
  formatter->setNegativePrefix("about minus ");
  FieldEditing editing(formatter);
  for (const char* text : {"about 57", "57", " 57 "}) {
    EXPECT_EQ(ended(editing, text), std::tuple(FieldNotice::Kind::none, "about 57", 57)) << text;
  }
  for (const char* text : {"about minus 5", "-5", "\u22125"}) {
    EXPECT_EQ(ended(editing, text), std::tuple(FieldNotice::Kind::none, "about minus 5", -5)) << text;
  }
  EXPECT_EQ(editing.state("about "), FieldState::incomplete);
  EXPECT_EQ(editing.state("about minus "), FieldState::incomplete);
  EXPECT_EQ(editing.state("minus 5"), FieldState::invalid);
}

TEST(FieldEditing, EndTakesAnyCursor) {
  FieldEditing editing(integers(10, 60, " s"));
  EXPECT_EQ(editing.end("500", 1'000).text, "60 s");
  EXPECT_EQ(editing.end("3", std::string::npos).text, "10 s");
}

TEST(FieldEditing, NumberBeyondRangeBecomesBoundAtTheEnd) {
  FieldEditing editing(integers(10, 60, " s"));
  EXPECT_EQ(ended(editing, "3"), std::tuple(Kind::belowRange, "10 s", 10));
  EXPECT_EQ(ended(editing, "500 s"), std::tuple(Kind::aboveRange, "60 s", 60));
  EXPECT_EQ(ended(editing, "-5"), std::tuple(Kind::belowRange, "10 s", 10));
  EXPECT_EQ(ended(editing, "99999999999999999999999"), std::tuple(Kind::aboveRange, "60 s", 60));
  EXPECT_EQ(editing.end("500").notice.reason, "“500” is more than “60 s”.");
}

TEST(FieldEditing, SuperfluousDigitsAreRoundedWithAReason) {
  FieldEditing percent(integers(0, 100, " %"));
  EXPECT_EQ(ended(percent, "100.9"), std::tuple(Kind::aboveRange, "100 %", 100));
  EXPECT_EQ(ended(percent, "99.7"), std::tuple(Kind::rounded, "100 %", 100));
  EXPECT_EQ(percent.end("5.2").notice.reason, "“5.2” is rounded to “5 %”.");
  FieldEditing decibels(reals(-12, 12));
  EXPECT_EQ(ended(decibels, "5.25"), std::tuple(Kind::rounded, "+5.2", 5.2));
  const auto wholeWithFraction = integers(0, 100);
  wholeWithFraction->setMaximumFractionDigits(2);
  FieldEditing whole(wholeWithFraction);
  EXPECT_EQ(ended(whole, "5.75"), std::tuple(Kind::rounded, "6", 6));
}

TEST(FieldEditing, BoundWithHiddenDigitsStaysInRange) {
  FieldEditing editing(reals(0.25, 9.75));
  EXPECT_EQ(ended(editing, "0"), std::tuple(Kind::belowRange, "0.2", 0.25));
  EXPECT_EQ(ended(editing, "0.25"), std::tuple(Kind::none, "0.2", 0.25));
  EXPECT_EQ(ended(editing, "20"), std::tuple(Kind::aboveRange, "9.8", 9.75));
}

TEST(FieldEditing, PassedThroughTextKeepsItsObject) {
  FieldEditing editing(reals(-12, 12));
  EXPECT_EQ(editing.show(5.25), "+5.2");
  const FieldEditing::End end = editing.end("+5.2");
  EXPECT_TRUE(end.hasEnded);
  EXPECT_TRUE(end.notice.isNone());
  EXPECT_EQ(end.text, "+5.2");
  EXPECT_EQ(std::any_cast<NSNumber>(editing.object()), NSNumber(5.25));
  EXPECT_EQ(editing.state("+5.2"), FieldState::acceptable);
}

TEST(FieldEditing, NumberFieldKeepsEveryNumberAsNSNumber) {
  for (const std::any& shown : {std::any(50), std::any(std::size_t{50}), std::any(50.0), std::any(50.0F),
                                std::any(std::int8_t{50}), std::any(NSNumber(50))}) {
    SCOPED_TRACE(shown.type().name());
    FieldEditing editing(integers(0, 100));
    std::vector<bool> judged;
    editing.setRule([&](const std::any& object) {
      judged.push_back(std::any_cast<NSNumber>(&object) != nullptr);
      return true;
    });
    EXPECT_EQ(editing.show(shown), "50");
    EXPECT_EQ(judged, std::vector<bool>{true});
    EXPECT_EQ(ended(editing, "50"), std::tuple(Kind::none, "50", 50));
    EXPECT_EQ(ended(editing, "51"), std::tuple(Kind::none, "51", 51));
  }
}

TEST(FieldEditing, NumberFormatterWithoutRangeKeepsNSNumber) {
  FieldEditing editing(std::make_shared<NumberFormatter>());
  EXPECT_EQ(editing.show(7), "7");
  EXPECT_EQ(ended(editing, "7"), std::tuple(Kind::none, "7", 7));
}

TEST(FieldEditing, OtherFormatterKeepsTheTypeOfItsObject) {
  FieldEditing price(fieldFormatter(NumberFormatStyle().locale(Locale("en"))));
  EXPECT_EQ(price.show(5.0), "5");
  EXPECT_EQ(std::any_cast<double>(price.object()), 5);
  EXPECT_TRUE(price.end("5").hasEnded);
  EXPECT_EQ(std::any_cast<double>(price.object()), 5);
}

TEST(FieldEditing, EmptyTextBecomesTheFormerOne) {
  FieldEditing editing(integers(0, 100, " %"));
  FieldEditing::End end = editing.end("");
  EXPECT_FALSE(end.hasEnded);
  EXPECT_EQ(end.text, "");
  EXPECT_EQ(end.notice.reason, "A number is needed.");
  EXPECT_TRUE(editing.show(50).has_value());
  end = editing.end(" %");
  EXPECT_TRUE(end.hasEnded);
  EXPECT_EQ(end.text, "50 %");
  EXPECT_EQ(end.notice.kind, Kind::empty);
  EXPECT_EQ(std::any_cast<NSNumber>(editing.object()), NSNumber(50));
}

TEST(FieldEditing, EmptyTextIsZeroIfTheFormatterAcceptsIt) {
  const auto formatter = integers(0, 100, " %");
  formatter->setAcceptsEmptyString(true);
  FieldEditing editing(formatter);
  EXPECT_EQ(ended(editing, ""), std::tuple(Kind::none, "0 %", 0));
}

TEST(FieldEditing, UnreadableTextStays) {
  FieldEditing editing(integers(0, 100, " %"));
  EXPECT_TRUE(editing.show(50).has_value());
  const FieldEditing::End end = editing.end("1x %");
  EXPECT_FALSE(end.hasEnded);
  EXPECT_EQ(end.text, "1x %");
  EXPECT_EQ(end.notice.reason, "“1x %” is not a number.");
  EXPECT_EQ(std::any_cast<NSNumber>(editing.object()), NSNumber(50));
}

TEST(FieldEditing, SignAloneIsZeroAtTheEnd) {
  FieldEditing editing(integers(-10, 10, " dB"));
  EXPECT_EQ(ended(editing, "+"), std::tuple(Kind::none, "0 dB", 0));
  EXPECT_EQ(ended(editing, "-"), std::tuple(Kind::none, "0 dB", 0));
}

TEST(FieldEditing, HyphenIsMinusInEveryLanguage) {
  for (const char* language : {"en", "sv", "ar", "he", "fa", "nb", "fi", "de", "hi", "ur"}) {
    const Locale locale(language);
    const Locale::Replacement replacement(locale);
    for (const auto& [lowest, highest] : {std::pair(-10, 10), std::pair(-10, -1)}) {
      FieldEditing editing(integers(lowest, highest, " dB"));
      EXPECT_EQ(editing.state("-5"), FieldState::acceptable) << language;
      EXPECT_EQ(std::get<2>(ended(editing, "-5")), -5) << language;
      EXPECT_EQ(std::get<2>(ended(editing, "−5 dB")), -5) << language;
    }
  }
}

TEST(FieldEditing, EitherDecimalSeparatorIsUnderstood) {
  for (const auto& [language, typed] : {std::pair("de", "2.5"), std::pair("de", "2,5"), std::pair("en", "2,5"),
                                        std::pair("ar", "2.5"), std::pair("ar", "٢٫٥"), std::pair("fr", "2.5")}) {
    const Locale locale(language);
    const Locale::Replacement replacement(locale);
    FieldEditing editing(reals(-12, 12));
    EXPECT_EQ(std::get<2>(ended(editing, typed)), 2.5) << language;
    EXPECT_EQ(editing.state(typed), FieldState::acceptable) << language;
  }
}

TEST(FieldEditing, ReadingInRangeIsPreferred) {
  const Locale german("de");
  const Locale::Replacement replacement(german);
  FieldEditing few(reals(0, 12, 3));
  EXPECT_EQ(ended(few, "1.234"), std::tuple(Kind::none, "1,234", 1.234));
  FieldEditing many(reals(0, 5000, 3));
  EXPECT_EQ(ended(many, "1.234"), std::tuple(Kind::none, "1234", 1234));
  EXPECT_EQ(ended(many, "9.999"), std::tuple(Kind::none, "9,999", 9.999));
}

TEST(FieldEditing, ObjectBeyondRangeIsNotShown) {
  FieldEditing editing(integers(0, 100));
  EXPECT_EQ(editing.show(500), std::nullopt);
  EXPECT_EQ(editing.show(-1), std::nullopt);
  EXPECT_EQ(editing.show(std::string("50")), std::nullopt);
  EXPECT_FALSE(editing.object().has_value());
  EXPECT_EQ(editing.show(NSNumber(100)), "100");
}

TEST(FieldEditing, LimitOfCharactersRefusesOnlyGrowth) {
  FieldEditing editing(Formatters::CharactersLimit::make(4));
  EXPECT_EQ(changed(editing, "ab[]", "c"), "abc|");
  EXPECT_EQ(changed(editing, "abc[]", "d"), "refused");
  EXPECT_EQ(changed(editing, "abcde[f]", ""), "abcde|");
  EXPECT_EQ(changed(editing, "abc[def]", "x"), "abcx|");
  EXPECT_EQ(changed(editing, "abc[def]", "wxyz"), "refused");
  EXPECT_EQ(editing.state("abcde"), FieldState::invalid);
  EXPECT_FALSE(editing.end("abcde").hasEnded);
  EXPECT_EQ(editing.change({"abc", "", "d", ""}).reason, "The field does not take “abcd”.");
}

TEST(FieldEditing, RewrittenTextHasAReason) {
  FieldEditing editing(Formatters::NoEmojis::make(std::nullopt));
  const FieldEditing::End end = editing.end("a😀b");
  EXPECT_EQ(end.text, "ab");
  EXPECT_EQ(end.notice.reason, "The field takes “ab” instead of “a😀b”.");
  EXPECT_EQ(std::any_cast<std::string>(editing.object()), "ab");
}

TEST(FieldEditing, PlainNumberFormatterHasNoBounds) {
  const auto formatter = NumberFormatter::make();
  formatter->setLocale(Locale("de"));
  formatter->setMaximumFractionDigits(2);
  FieldEditing editing(formatter);
  EXPECT_EQ(ended(editing, "-1234.5"), std::tuple(Kind::none, "-1234,5", -1234.5));
  EXPECT_EQ(editing.state("x"), FieldState::invalid);
  EXPECT_EQ(editing.state(""), FieldState::incomplete);
}

TEST(FieldEditing, PercentStyleIsRead) {
  const auto formatter = NumberFormatter::make();
  formatter->setNumberStyle(NumberFormatter::Style::percent);
  FieldEditing editing(formatter);
  EXPECT_EQ(ended(editing, "7"), std::tuple(Kind::none, "7%", 0.07));
  EXPECT_EQ(ended(editing, "7 %"), std::tuple(Kind::none, "7%", 0.07));
  EXPECT_EQ(changed(editing, "[7%]", "8"), "8|%");
}

TEST(FieldEditing, WordsOfTheHostReplaceTheReason) {
  FieldEditing editing(integers(0, 100));
  editing.explainWith([](const FieldNotice& notice) {
    return notice.kind == Kind::aboveRange ? "höchstens " + notice.shown : std::string();
  });
  EXPECT_EQ(editing.end("500").notice.reason, "höchstens 100");
  EXPECT_EQ(editing.end("-5").notice.reason, "“-5” is less than “0”.");
}

TEST(FieldEditing, WordsOfTheHostReplaceTheReasonOfAChange) {
  FieldEditing editing(integers(10, 60), FieldChecking::atEveryChange);
  EXPECT_EQ(editing.change({"3", "0", "x", ""}).reason, "The field does not take “3x”.");
  EXPECT_EQ(editing.change({"30", "", "0", ""}).reason, "The field takes “60” instead of “300”.");
  editing.explainWith([](const FieldNotice& notice) {
    return notice.kind == Kind::rewritten ? notice.shown + " statt " + notice.typed : "nicht " + notice.typed;
  });
  EXPECT_EQ(editing.change({"3", "0", "x", ""}).reason, "nicht 3x");
  EXPECT_EQ(editing.change({"30", "", "0", ""}).reason, "60 statt 300");
}

TEST(FieldEditing, RuleForbidsObjectsThatTheFormatterReads) {
  FieldEditing editing(integers(0, 100));
  editing.setRule([](const std::any& object) {
    const auto* number = std::any_cast<NSNumber>(&object);
    return number == nullptr || number->integerValue() % 2 == 0;
  });
  EXPECT_EQ(editing.show(NSNumber(3)), std::nullopt);
  EXPECT_EQ(editing.show(NSNumber(4)), "4");
  EXPECT_FALSE(editing.isEdited("4"));
  EXPECT_TRUE(editing.isEdited("7"));
  EXPECT_EQ(editing.state("7"), FieldState::invalid);
  const FieldEditing::End end = editing.end("7");
  EXPECT_FALSE(end.hasEnded);
  EXPECT_EQ(end.text, "7");
  EXPECT_EQ(end.notice.reason, "The field does not take “7”.");
  EXPECT_EQ(ended(editing, "8"), std::tuple(Kind::none, "8", 8));
}

TEST(FieldEditing, EveryChangeFollowsTheFormatterOnRequest) {
  const FieldEditing editing(integers(10, 60, " s"), FieldChecking::atEveryChange);
  EXPECT_EQ(changed(editing, "[30 s]", "3"), "10| s");
  EXPECT_EQ(changed(editing, "[30 s]", ""), "refused");
  EXPECT_EQ(changed(editing, "3[0] s", "x"), "refused");
}

TEST(FieldEditingDeathTest, NullFormatterStopsTheProcess) {
  EXPECT_DEATH(FieldEditing(std::shared_ptr<Formatter>()),
               "Tessaly/FieldEditing:[0-9]+: Fatal error: A field needs a formatter");
}

}  // namespace
}  // namespace Tessaly
