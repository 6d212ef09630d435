// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <any>
#include <string>
#include <utility>
#include <vector>

#include "Tessaly/Core/Text/Locale.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"

namespace Tessaly {

/// The numbers that a person means in a field of any toolkit that is checked at the end of editing. `Field` is a
/// fixture as that of `PolicedField`.
template <typename Field>
class TypedNumbers : public Field {
 protected:
  TypedNumbers() { this->checking_ = FieldChecking::atTheEnd; }

  /// The object of the field. 0 in a field without one.
  NSNumber value() {
    const auto* number = std::any_cast<NSNumber>(&this->policy().objectValue());
    return number != nullptr ? *number : NSNumber(0);
  }
  auto integers(int lowest, int highest, const char* suffix = nullptr) {
    const auto formatter = Formatters::RangeNumber<int>::make(ClosedRange(lowest, highest));
    if (suffix != nullptr) formatter->setSuffix(suffix);
    return this->police(formatter);
  }
  auto decibels() {
    const auto formatter = Formatters::RangeNumber<double>::make(ClosedRange(-12.0, 12.0));
    formatter->setMaximumFractionDigits(1);
    return this->police(formatter);
  }
};

TYPED_TEST_SUITE_P(TypedNumbers);

TYPED_TEST_P(TypedNumbers, FractionInIntegerFieldBecomesWholeNumberInRange) {
  this->integers(0, 100, " %");
  this->policy().setObjectValue(10);
  this->press({"Home"});
  this->pressRepeatedly(2, "Right");
  this->type("0.9");
  EXPECT_EQ(this->text(), "100.9 %");
  this->leave();
  EXPECT_EQ(this->text(), "100 %");
  EXPECT_EQ(this->value(), NSNumber(100));
}

TYPED_TEST_P(TypedNumbers, PassingThroughKeepsHiddenDigits) {
  this->decibels();
  this->policy().setObjectValue(5.25);
  EXPECT_EQ(this->text(), "+5.2");
  this->leave();
  EXPECT_EQ(this->value(), NSNumber(5.25));
}

TYPED_TEST_P(TypedNumbers, PassingThroughKeepsFractionOfIntegerField) {
  this->police(Formatters::RangeNumber<double>::make(ClosedRange(0.0, 10.0)));
  this->policy().setObjectValue(1.7);
  EXPECT_EQ(this->text(), "2");
  this->leave();
  EXPECT_EQ(this->value(), NSNumber(1.7));
}

TYPED_TEST_P(TypedNumbers, HyphenIsMinusInEveryLanguage) {
  for (const char* language : {"sv", "ar", "he", "fa"}) {
    SCOPED_TRACE(language);
    const Locale locale(language);
    const Locale::Replacement replacement(locale);
    this->integers(-10, 10);
    this->press({"Control_L", "a"});
    this->type("-5");
    this->press({"Return"});
    EXPECT_EQ(this->value(), NSNumber(-5)) << this->text();
    this->dismiss();
  }
}

TYPED_TEST_P(TypedNumbers, PointInGermanFieldIsDecimal) {
  const Locale german("de");
  const Locale::Replacement replacement(german);
  this->decibels();
  this->type("2.5");
  this->leave();
  EXPECT_EQ(this->text(), "+2,5");
  EXPECT_EQ(this->value(), NSNumber(2.5));
}

TYPED_TEST_P(TypedNumbers, CommaInEnglishFieldIsDecimal) {
  this->decibels();
  this->type("5,5");
  this->leave();
  EXPECT_EQ(this->text(), "+5.5");
  EXPECT_EQ(this->value(), NSNumber(5.5));
}

TYPED_TEST_P(TypedNumbers, ObjectBeyondRangeIsNotShown) {
  this->integers(0, 100);
  EXPECT_TRUE(this->policy().setObjectValue(50));
  EXPECT_FALSE(this->policy().setObjectValue(500));
  EXPECT_EQ(this->text(), "50");
  EXPECT_EQ(this->value(), NSNumber(50));
}

TYPED_TEST_P(TypedNumbers, UnchangedTextKeepsItsNumberAsNSNumber) {
  this->integers(0, 100, " %");
  std::vector<NSNumber> shown;
  this->policy().onEditingEnd([&](const std::any& object) { shown.push_back(std::any_cast<NSNumber>(object)); });
  this->policy().setObjectValue(50);
  EXPECT_EQ(std::any_cast<NSNumber>(this->policy().objectValue()), NSNumber(50));
  this->press({"Return"});
  this->press({"Control_L", "a"});
  this->type("7");
  this->press({"Return"});
  EXPECT_EQ(shown, (std::vector{NSNumber(50), NSNumber(7)}));
}

TYPED_TEST_P(TypedNumbers, ProgramEndsEditingAsReturnDoes) {
  this->integers(0, 100, " %");
  EXPECT_FALSE(this->policy().endEditing());
  this->policy().setObjectValue(50);
  EXPECT_TRUE(this->policy().endEditing());
  EXPECT_EQ(this->ends_, 1);
  this->press({"Control_L", "a"});
  this->type("007");
  EXPECT_EQ(this->value(), NSNumber(50));
  EXPECT_TRUE(this->policy().endEditing());
  EXPECT_EQ(this->value(), NSNumber(7));
  EXPECT_EQ(this->text(), "7 %");
  EXPECT_EQ(this->ends_, 2);
  this->leave();
  EXPECT_EQ(this->ends_, 2);
}

TYPED_TEST_P(TypedNumbers, ProgramDoesNotEndEditingOfMalformedText) {
  this->integers(0, 100);
  this->policy().setObjectValue(50);
  this->press({"Control_L", "a"});
  this->type("4x2");
  EXPECT_FALSE(this->policy().endEditing());
  EXPECT_EQ(this->text(), "4x2");
  EXPECT_EQ(this->ends_, 0);
  this->press({"Control_L", "a"});
  this->type("500");
  EXPECT_TRUE(this->policy().endEditing());
  EXPECT_EQ(this->text(), "100");
  EXPECT_EQ(this->value(), NSNumber(100));
}

TYPED_TEST_P(TypedNumbers, HandlerMayEndEditingToo) {
  this->integers(0, 100);
  std::vector<bool> accepted;
  this->policy().onEditingEnd([&](const std::any&) { accepted.push_back(this->policy().endEditing()); });
  this->policy().onRefusal([&](auto...) { accepted.push_back(this->policy().endEditing()); });
  this->type("7");
  EXPECT_TRUE(this->policy().endEditing());
  EXPECT_EQ(accepted, std::vector<bool>{true});
  this->type("x");
  EXPECT_FALSE(this->policy().endEditing());
  EXPECT_EQ(accepted, (std::vector<bool>{true, false}));
  this->press({"BackSpace"});
  this->policy().onEditingEnd([this](const std::any&) { this->dismiss(); });
  EXPECT_FALSE(this->policy().endEditing());
  EXPECT_TRUE(this->hasEnded());
}

TYPED_TEST_P(TypedNumbers, TextIsMarkedDuringTyping) {
  this->integers(20, 300);
  this->policy().setObjectValue(NSNumber(60));
  EXPECT_EQ(this->policy().state(), FieldState::acceptable);
  this->press({"Control_L", "a"});
  this->type("1");
  EXPECT_EQ(this->policy().state(), FieldState::incomplete);
  EXPECT_EQ(this->policy().notice().reason, "“1” is less than “20”.");
  this->type("2");
  EXPECT_EQ(this->policy().state(), FieldState::incomplete);
  this->type("0");
  EXPECT_EQ(this->policy().state(), FieldState::acceptable);
  EXPECT_TRUE(this->policy().notice().isNone());
  this->type("0");
  EXPECT_EQ(this->policy().state(), FieldState::invalid);
  EXPECT_EQ(this->policy().notice().reason, "“1200” is more than “300”.");
  EXPECT_EQ(this->value(), NSNumber(60));
  EXPECT_TRUE(this->refused_.empty());
}

TYPED_TEST_P(TypedNumbers, ReasonOfCorrectionStaysUntilTheNextChange) {
  this->integers(0, 100);
  this->policy().explainWith([](const FieldNotice& notice) { return "höchstens " + notice.shown; });
  this->type("500");
  this->press({"Return"});
  EXPECT_EQ(this->text(), "100");
  EXPECT_EQ(this->policy().notice().kind, FieldNotice::Kind::aboveRange);
  EXPECT_EQ(this->policy().notice().reason, "höchstens 100");
  EXPECT_EQ(this->refused_, (std::vector<std::string>{"500"}));
  EXPECT_EQ(this->reasons_, (std::vector<std::string>{"höchstens 100"}));
  this->leave();
  EXPECT_EQ(this->policy().notice().reason, "höchstens 100");
  this->press({"Shift_L", "Tab"});
  this->type("5");
  EXPECT_TRUE(this->policy().notice().isNone());
}

TYPED_TEST_P(TypedNumbers, UnreadableTextStaysWithoutAnEnd) {
  this->integers(0, 100);
  this->policy().setObjectValue(50);
  this->type("x");
  this->press({"Return"});
  EXPECT_EQ(this->policy().state(), FieldState::invalid);
  EXPECT_EQ(this->ends_, 0);
  this->policy().setObjectValue(50);
  EXPECT_EQ(this->text(), "50");
  EXPECT_TRUE(this->policy().notice().isNone());
}

TYPED_TEST_P(TypedNumbers, OverlongTextIsShortenedByBackSpace) {
  this->police(Formatters::CharactersLimit::make(4));
  this->policy().setObjectValue(std::string("abcdef"));
  this->press({"End"});
  this->press({"BackSpace"});
  EXPECT_EQ(this->text(), "abcde");
  this->type("x");
  EXPECT_EQ(this->text(), "abcde");
  EXPECT_EQ(this->refused_, (std::vector<std::string>{"abcdex"}));
  this->pressRepeatedly(2, "BackSpace");
  EXPECT_EQ(this->policy().state(), FieldState::acceptable);
}

TYPED_TEST_P(TypedNumbers, CursorStaysBeforeTheSuffix) {
  this->integers(0, 100, " %");
  this->policy().setObjectValue(50);
  this->press({"End"});
  EXPECT_EQ(this->textAndCursor(), "50| %");
  this->press({"Right"});
  EXPECT_EQ(this->textAndCursor(), "50| %");
  this->press({"Shift_L", "Home"});
  EXPECT_EQ(this->selectedText(), "50");
  this->type("7");
  EXPECT_EQ(this->textAndCursor(), "7| %");
}

REGISTER_TYPED_TEST_SUITE_P(TypedNumbers, TextIsMarkedDuringTyping, ReasonOfCorrectionStaysUntilTheNextChange,
                            UnreadableTextStaysWithoutAnEnd, OverlongTextIsShortenedByBackSpace,
                            CursorStaysBeforeTheSuffix, FractionInIntegerFieldBecomesWholeNumberInRange,
                            PassingThroughKeepsHiddenDigits, PassingThroughKeepsFractionOfIntegerField,
                            HyphenIsMinusInEveryLanguage, PointInGermanFieldIsDecimal, CommaInEnglishFieldIsDecimal,
                            ObjectBeyondRangeIsNotShown, UnchangedTextKeepsItsNumberAsNSNumber,
                            ProgramEndsEditingAsReturnDoes, ProgramDoesNotEndEditingOfMalformedText,
                            HandlerMayEndEditingToo);

}  // namespace Tessaly
