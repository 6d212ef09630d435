// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <any>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/Formatters+NoEmojis.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"
#include "tests/Adapters/RecordingFormatter.hpp"

namespace Tessaly {

using Tests::RecordingFormatter;
using Strings = std::vector<std::string>;

/// The behaviour of a text field whose formatter judges every change, for any toolkit. `Field` is a fixture with such a
/// field, which receives its input from outside. `endAtNextChange()` makes a handler of the text's signal end the
/// policy and, if the toolkit permits it, the field.
template <typename Field>
class PolicedField : public Field {};

TYPED_TEST_SUITE_P(PolicedField);

TYPED_TEST_P(PolicedField, StaysBelowItsLimitOfCharacters) {
  this->police(Formatters::CharactersLimit::make(4));
  this->type("abcde");
  EXPECT_EQ(this->text(), "abc");
  EXPECT_EQ(this->refused_, (Strings{"abcd", "abce"}));
  this->press({"BackSpace"});
  this->type("é");
  EXPECT_EQ(this->text(), "abé");
}

TYPED_TEST_P(PolicedField, ReachesTheLimitOfOneWithoutEmoji) {
  this->police(Formatters::NoEmojis::make(3));
  this->type("abcd");
  EXPECT_EQ(this->textAndCursor(), "abc|");
  this->press({"Home"});
  this->type("x");
  EXPECT_EQ(this->textAndCursor(), "|abc");
}

TYPED_TEST_P(PolicedField, LosesItsEmojiWhenEditingEnds) {
  this->police(Formatters::NoEmojis::make(std::nullopt));
  this->type("a😀b💃#1");
  EXPECT_EQ(this->text(), "a😀b💃#1");
  this->leave();
  EXPECT_EQ(this->text(), "ab#1");
  EXPECT_EQ(std::any_cast<std::string>(this->policy().objectValue()), "ab#1");
  EXPECT_EQ(this->ends_, 1);
}

TYPED_TEST_P(PolicedField, TakesTheBoundThatANumberCrossed) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("150");
  EXPECT_EQ(this->textAndCursor(), "100|");
  this->type("7");
  EXPECT_EQ(this->textAndCursor(), "100|");
  EXPECT_EQ(this->refused_, (Strings{"150", "1007"}));
}

TYPED_TEST_P(PolicedField, TakesTheLowerBoundInsteadOfANegativeNumber) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("-");
  EXPECT_EQ(this->text(), "-");
  this->type("5");
  EXPECT_EQ(this->textAndCursor(), "0|");
}

TYPED_TEST_P(PolicedField, RefusesLettersInANumber) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("1x+2 .");
  EXPECT_EQ(this->text(), "12.");
  EXPECT_EQ(this->refused_, (Strings{"1x", "1+", "12 "}));
}

TYPED_TEST_P(PolicedField, IsClearedOnlyWhereTheEmptyTextIsAccepted) {
  const auto number = this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("5");
  this->press({"BackSpace"});
  EXPECT_EQ(this->textAndCursor(), "5|");
  this->press({"Control_L", "a"});
  this->press({"Delete"});
  EXPECT_EQ(this->text(), "5");
  EXPECT_EQ(this->selectedText(), "5");
  this->press({"Control_L", "x"});
  EXPECT_EQ(this->text(), "5");
  number->setAcceptsEmptyString(true);
  this->press({"BackSpace"});
  EXPECT_EQ(this->text(), "");
}

TYPED_TEST_P(PolicedField, TakesTheNearerBoundInsteadOfTheEmptyText) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(3, 9)))->setAcceptsEmptyString(true);
  this->type("4");
  this->press({"BackSpace"});
  EXPECT_EQ(this->textAndCursor(), "3|");
}

TYPED_TEST_P(PolicedField, TakesTypingOverASelectionAsOneChange) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("50");
  this->press({"Control_L", "a"});
  this->type("7");
  EXPECT_EQ(this->text(), "7");
  this->press({"Control_L", "a"});
  this->type("x");
  EXPECT_EQ(this->text(), "7");
  EXPECT_EQ(this->selectedText(), "7");
  EXPECT_EQ(this->refused_, (Strings{"x"}));
  this->type("8");
  EXPECT_EQ(this->textAndCursor(), "8|");
}

TYPED_TEST_P(PolicedField, JudgesADeletionInTheMiddle) {
  this->police(Formatters::RangeNumber<double>::make(ClosedRange(0.0, 50.0)))->setMaximumFractionDigits(2);
  this->type("5.25");
  this->press({"Home"});
  this->press({"Right"});
  this->press({"Delete"});
  EXPECT_EQ(this->text(), "50");
  this->policy().setObjectValue(1.25);
  this->press({"Home"});
  this->pressRepeatedly(3, "Right");
  this->press({"BackSpace"});
  EXPECT_EQ(this->textAndCursor(), "1.|5");
}

TYPED_TEST_P(PolicedField, NeedsNeitherSignNorUnitToBeTyped) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(-10, 10)))->setSuffix(" dB");
  this->type("5");
  EXPECT_EQ(this->text(), "5");
  this->press({"Return"});
  EXPECT_EQ(this->textAndCursor(), "+5| dB");
  EXPECT_EQ(std::any_cast<NSNumber>(this->policy().objectValue()), NSNumber(5));
  this->press({"Control_L", "a"});
  this->type("+");
  EXPECT_EQ(this->text(), "+");
  this->leave();
  EXPECT_EQ(this->text(), "0 dB");
  EXPECT_EQ(std::any_cast<NSNumber>(this->policy().objectValue()), NSNumber(0));
}

TYPED_TEST_P(PolicedField, KeepsTheCursorBeforeTheUnitOfAReplacement) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(-10, 10)))->setSuffix(" dB");
  this->type("99");
  EXPECT_EQ(this->textAndCursor(), "+10| dB");
  this->press({"BackSpace"});
  EXPECT_EQ(this->textAndCursor(), "+1| dB");
  this->type("5");
  EXPECT_EQ(this->textAndCursor(), "+10| dB");
}

TYPED_TEST_P(PolicedField, ReadsGermanNumbers) {
  const Locale german("de");
  const Locale::Replacement replacement(german);
  this->police(Formatters::RangeNumber<double>::make(ClosedRange(-99.5, 99.5)))->setMaximumFractionDigits(1);
  this->type("3.5");
  EXPECT_EQ(this->text(), "35");
  this->press({"BackSpace"});
  this->type(",5");
  EXPECT_EQ(this->text(), "3,5");
  this->leave();
  EXPECT_EQ(this->text(), "+3,5");
}

TYPED_TEST_P(PolicedField, ReadsAndWritesArabicDigits) {
  const Locale arabic("ar_EG");
  const Locale::Replacement replacement(arabic);
  this->police(Formatters::RangeNumber<double>::make(ClosedRange(0.0, 99.5)))->setMaximumFractionDigits(1);
  this->type("٤٢٫٥");
  EXPECT_EQ(this->text(), "٤٢٫٥");
  this->leave();
  EXPECT_EQ(this->text(), "٤٢٫٥");
  EXPECT_EQ(std::any_cast<NSNumber>(this->policy().objectValue()), NSNumber(42.5));
  this->press({"Shift_L", "Tab"});
  this->type("150");
  EXPECT_EQ(this->text(), "٩٩٫٥");
}

TYPED_TEST_P(PolicedField, WantsTheSwedishMinusSign) {
  const Locale swedish("sv");
  const Locale::Replacement replacement(swedish);
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(-10, 10)));
  this->type("-3");
  EXPECT_EQ(this->text(), "3");
  this->press({"Home"});
  this->type("−");
  EXPECT_EQ(this->textAndCursor(), "−|3");
}

TYPED_TEST_P(PolicedField, UndoesAReplacementTogetherWithWhatCalledForIt) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->policy().setObjectValue(15);
  this->press({"End"});
  this->type("0");
  EXPECT_EQ(this->text(), "100");
  this->press({"Control_L", "z"});
  EXPECT_EQ(this->text(), "15");
  this->press({"Control_L", "Shift_L", "z"});
  EXPECT_EQ(this->text(), "100");
}

TYPED_TEST_P(PolicedField, IsStillPolicedAfterUndoingToATextThatItRefuses) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("42");
  this->press({"Control_L", "z"});
  EXPECT_EQ(this->text(), "");
  this->type("x9y");
  EXPECT_EQ(this->text(), "9");
  EXPECT_EQ(this->refused_, (Strings{"x", "9y"}));
}

TYPED_TEST_P(PolicedField, UndoesOnlyWhatWasAccepted) {
  this->police(Formatters::NoEmojis::make(3));
  this->type("abcdef");
  this->press({"Control_L", "a"});
  this->type("x");
  this->press({"Control_L", "z"});
  EXPECT_EQ(this->text(), "abc");
  EXPECT_EQ(this->selectedText(), "abc");
}

TYPED_TEST_P(PolicedField, TellsTheDescriptionThatTheFormatterGave) {
  this->police(RecordingFormatter::make());
  this->type("a!?");
  EXPECT_EQ(this->text(), "a?");
  this->press({"Return"});
  EXPECT_EQ(this->refused_, (Strings{"a!", "a?"}));
  EXPECT_EQ(this->reasons_, (Strings{"no exclamations", "no questions"}));
  EXPECT_EQ(this->ends_, 0);
}

TYPED_TEST_P(PolicedField, TakesAReplacementThatTheFormatterWouldRefuse) {
  this->police(RecordingFormatter::make());
  this->type("a*");
  EXPECT_EQ(this->text(), "!replaced!");
  this->type("b");
  EXPECT_EQ(this->text(), "!replaced!");
}

TYPED_TEST_P(PolicedField, TellsOfEveryEndOfEditing) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("42");
  EXPECT_FALSE(this->policy().objectValue().has_value());
  this->press({"Return"});
  EXPECT_EQ(this->ends_, 1);
  EXPECT_EQ(std::any_cast<NSNumber>(this->policy().objectValue()), NSNumber(42));
}

TYPED_TEST_P(PolicedField, ShowsOnlyObjectsThatItsFormatterIsFor) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  EXPECT_TRUE(this->policy().setObjectValue(NSNumber(5)));
  EXPECT_FALSE(this->policy().setObjectValue(std::string("words")));
  EXPECT_EQ(this->text(), "5");
  EXPECT_EQ(std::any_cast<NSNumber>(this->policy().objectValue()), NSNumber(5));
}

TYPED_TEST_P(PolicedField, AHandlerMayReplaceItself) {
  this->police(Formatters::CharactersLimit::make(2));
  int calls = 0;
  this->policy().onRefusal([&](std::string_view, std::string_view) {
    this->policy().onRefusal(nullptr);
    ++calls;
  });
  this->type("abc");
  EXPECT_EQ(calls, 1);
}

TYPED_TEST_P(PolicedField, AHandlerMaySetAnotherObject) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->policy().onRefusal([&](std::string_view, std::string_view) { this->policy().setObjectValue(1); });
  this->type("5x");
  EXPECT_EQ(this->text(), "1");
  this->type("x");
  EXPECT_EQ(this->text(), "1");
}

TYPED_TEST_P(PolicedField, AHandlerMayDestroyItsField) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  std::string object;
  this->policy().onEditingEnd([this, &object](const std::any& ended) {
    this->destroyField();
    object = std::any_cast<NSNumber>(ended).description();
  });
  this->type("5");
  this->press({"Return"});
  EXPECT_EQ(object, "5");
}

TYPED_TEST_P(PolicedField, NoHandlerIsCalledAfterAnotherOneDestroyedTheField) {
  this->checking_ = FieldChecking::atTheEnd;
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  int refusals = 0;
  this->policy().onRefusal([this, &refusals](std::string_view, std::string_view) {
    this->destroyField();
    ++refusals;
  });
  this->type("1");
  this->press({"Return"});
  EXPECT_EQ(refusals, 1);
  EXPECT_EQ(this->ends_, 0);
}

TYPED_TEST_P(PolicedField, AHandlerMayEndThePolicyDuringADeletion) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  int refusals = 0;
  this->policy().onRefusal([this, &refusals](std::string_view, std::string_view) {
    this->dismiss();
    ++refusals;
  });
  this->type("20");
  this->press({"Control_L", "a"});
  this->press({"BackSpace"});
  this->type("7");
  EXPECT_EQ(refusals, 1);
}

TYPED_TEST_P(PolicedField, AHandlerOfTheTextMayEndThePolicyAtADeletion) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)))->setAcceptsEmptyString(true);
  this->type("5");
  this->endAtNextChange();
  this->press({"BackSpace"});
  EXPECT_TRUE(this->hasEnded());
}

TYPED_TEST_P(PolicedField, AHandlerOfTheTextMayEndThePolicyAtATypedReplacement) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  // The text's signal of GTK 4.18 comes after the report of the refusal, the signals of other toolkits come before.
  this->policy().onRefusal([this](std::string_view, std::string_view) { EXPECT_FALSE(this->hasEnded()); });
  this->type("15");
  this->endAtNextChange();
  this->type("0");
  EXPECT_TRUE(this->hasEnded());
}

TYPED_TEST_P(PolicedField, AHandlerOfTheTextMayEndThePolicyAtTypingOverASelection) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("50");
  this->press({"Control_L", "a"});
  this->endAtNextChange();
  this->type("7");
  EXPECT_TRUE(this->hasEnded());
}

TYPED_TEST_P(PolicedField, AHandlerOfTheTextMayEndThePolicyAtANewObject) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("50");
  this->endAtNextChange();
  EXPECT_TRUE(this->policy().setObjectValue(7));
  EXPECT_TRUE(this->hasEnded());
}

TYPED_TEST_P(PolicedField, AHandlerOfTheTextMayEndThePolicyAtAnUndo) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("50");
  this->endAtNextChange();
  this->press({"Control_L", "z"});
  EXPECT_TRUE(this->hasEnded());
}

TYPED_TEST_P(PolicedField, AHandlerOfTheTextMayEndThePolicyAtACorrection) {
  this->checking_ = FieldChecking::atTheEnd;
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  this->type("1");
  this->endAtNextChange();
  this->press({"Return"});
  EXPECT_TRUE(this->hasEnded());
  EXPECT_EQ(this->refused_, Strings());
  EXPECT_EQ(this->ends_, 0);
}

TYPED_TEST_P(PolicedField, AHandlerOfTheMarkMayEndThePolicy) {
  this->checking_ = FieldChecking::atTheEnd;
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  this->type("2");
  this->endAtNextMark();
  this->type("x");
  EXPECT_TRUE(this->hasEnded());
}

TYPED_TEST_P(PolicedField, AHandlerThatTakesTheFocusIsCalledOnce) {
  this->checking_ = FieldChecking::atTheEnd;
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  int refusals = 0;
  this->policy().onRefusal([this, &refusals](std::string_view, std::string_view) {
    if (++refusals < 9) this->takeFocus();
  });
  this->type("5x");
  this->press({"Return"});
  EXPECT_EQ(refusals, 1);
  this->focus();
  this->press({"Control_L", "a"});
  this->type("6");
  this->press({"Return"});
  EXPECT_EQ(refusals, 2);
  EXPECT_EQ(this->ends_, 1);
}

TYPED_TEST_P(PolicedField, LeavingAfterReturnIsNoSecondEnd) {
  this->police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  this->type("5");
  this->press({"Return"});
  EXPECT_EQ(this->ends_, 1);
  this->takeFocus();
  EXPECT_EQ(this->ends_, 1);
  this->focus();
  this->press({"Control_L", "a"});
  this->policy().setObjectValue(9);
  this->press({"End"});  // GTK forgets a selection that is made within a millisecond of the loss of another one.
  this->type("5");
  this->takeFocus();
  EXPECT_EQ(this->ends_, 2);
  EXPECT_EQ(std::any_cast<NSNumber>(this->policy().objectValue()), NSNumber(95));
}

TYPED_TEST_P(PolicedField, TakesALetterOfTwoKeys) {
  this->police(Formatters::CharactersLimit::make(2));
  this->press({"dead_acute"});
  this->press({"e"});
  EXPECT_EQ(this->text(), "é");
  this->press({"dead_acute"});
  this->press({"e"});
  EXPECT_EQ(this->text(), "é");
  EXPECT_EQ(this->refused_, (Strings{"éé"}));
}

REGISTER_TYPED_TEST_SUITE_P(
    PolicedField, StaysBelowItsLimitOfCharacters, ReachesTheLimitOfOneWithoutEmoji, LosesItsEmojiWhenEditingEnds,
    TakesTheBoundThatANumberCrossed, TakesTheLowerBoundInsteadOfANegativeNumber, RefusesLettersInANumber,
    IsClearedOnlyWhereTheEmptyTextIsAccepted, TakesTheNearerBoundInsteadOfTheEmptyText,
    TakesTypingOverASelectionAsOneChange, JudgesADeletionInTheMiddle, NeedsNeitherSignNorUnitToBeTyped,
    KeepsTheCursorBeforeTheUnitOfAReplacement, ReadsGermanNumbers, ReadsAndWritesArabicDigits, WantsTheSwedishMinusSign,
    UndoesAReplacementTogetherWithWhatCalledForIt, IsStillPolicedAfterUndoingToATextThatItRefuses,
    UndoesOnlyWhatWasAccepted, TellsTheDescriptionThatTheFormatterGave, TakesAReplacementThatTheFormatterWouldRefuse,
    TellsOfEveryEndOfEditing, ShowsOnlyObjectsThatItsFormatterIsFor, AHandlerMayReplaceItself,
    AHandlerMaySetAnotherObject, AHandlerMayDestroyItsField, NoHandlerIsCalledAfterAnotherOneDestroyedTheField,
    AHandlerMayEndThePolicyDuringADeletion, AHandlerOfTheTextMayEndThePolicyAtADeletion,
    AHandlerOfTheTextMayEndThePolicyAtATypedReplacement, AHandlerOfTheTextMayEndThePolicyAtTypingOverASelection,
    AHandlerOfTheTextMayEndThePolicyAtANewObject, AHandlerOfTheTextMayEndThePolicyAtAnUndo,
    AHandlerOfTheTextMayEndThePolicyAtACorrection, AHandlerOfTheMarkMayEndThePolicy,
    AHandlerThatTakesTheFocusIsCalledOnce, LeavingAfterReturnIsNoSecondEnd, TakesALetterOfTwoKeys);

}  // namespace Tessaly
