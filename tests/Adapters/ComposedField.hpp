// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <any>
#include <string>

#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Foundation/NSNumber.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"
#include "tests/Adapters/PolicedField.hpp"

namespace Tessaly {

/// A field into which a person writes by an input method, for any toolkit. `Field` is a fixture as that of
/// `PolicedField`, which also has `compose`, `commit` and `deleteBefore`.
template <typename Field>
class ComposedField : public Field {
 protected:
  static constexpr FieldChecking atTheEnd = FieldChecking::atTheEnd;
  static constexpr FieldChecking atEveryChange = FieldChecking::atEveryChange;

  /// Shows "60 bpm", with all of it selected.
  void policeNumbers(FieldChecking checking) {
    this->checking_ = checking;
    auto formatter = Formatters::RangeNumber<int>::make(ClosedRange(20, 300));
    formatter->setSuffix(" bpm");
    this->police(formatter);
    this->policy().setObjectValue(NSNumber(60));
    this->press({"Control_L", "a"});
  }
};

TYPED_TEST_SUITE_P(ComposedField);

TYPED_TEST_P(ComposedField, ComposedTextIsNeitherCheckedNorMarked) {
  for (const FieldChecking checking : {this->atTheEnd, this->atEveryChange}) {
    this->policeNumbers(checking);
    for (const char* const composed : {"1", "words", "999"}) {
      this->compose(composed);
      EXPECT_TRUE(this->policy().notice().isNone());
      EXPECT_EQ(this->text(), checking == this->atTheEnd ? " bpm" : "");
    }
    this->commit("120");
    EXPECT_EQ(this->textAndCursor(), checking == this->atTheEnd ? "120| bpm" : "120|");
    EXPECT_TRUE(this->refused_.empty());
    EXPECT_EQ(this->policy().state(), FieldState::acceptable);
    this->press({"Control_L", "z"});
    EXPECT_EQ(this->text(), "60 bpm");
    this->dismiss();
  }
}

TYPED_TEST_P(ComposedField, CommitIsCheckedLikeAPaste) {
  this->policeNumbers(this->atTheEnd);
  this->compose("9");
  this->commit("words");
  EXPECT_EQ(this->textAndCursor(), "words| bpm");
  EXPECT_EQ(this->policy().state(), FieldState::invalid);
  this->dismiss();
  this->policeNumbers(this->atEveryChange);
  this->compose("9");
  this->commit("words");
  EXPECT_EQ(this->refused_, (Strings{"words"}));
  EXPECT_EQ(this->text(), "60 bpm");
  EXPECT_EQ(this->selectedText(), "60 bpm");
  this->compose("9");
  this->commit("999");
  EXPECT_EQ(this->textAndCursor(), "300| bpm");
  EXPECT_EQ(this->refused_, (Strings{"words", "999"}));
}

TYPED_TEST_P(ComposedField, RefusedCommitRestoresTextAndSelection) {
  this->police(Formatters::CharactersLimit::make(5));
  this->type("abcd");
  this->press({"Shift_L", "Left"});
  this->compose("x");
  EXPECT_EQ(this->text(), "abc");
  this->commit("xyz");
  EXPECT_EQ(this->text(), "abcd");
  EXPECT_EQ(this->selectedText(), "d");
  EXPECT_EQ(this->refused_, (Strings{"abcxyz"}));
  this->compose("x");
  this->commit("y");
  EXPECT_EQ(this->textAndCursor(), "abcy|");
}

TYPED_TEST_P(ComposedField, CompositionThatIsGivenUpIsADeletion) {
  this->policeNumbers(this->atTheEnd);
  this->compose("7");
  this->compose("");
  EXPECT_EQ(this->textAndCursor(), "| bpm");
  EXPECT_FALSE(this->policy().notice().isNone());
  this->type("5");
  EXPECT_EQ(this->textAndCursor(), "5| bpm");
  this->dismiss();
  this->policeNumbers(this->atEveryChange);
  this->compose("7");
  this->compose("");
  EXPECT_EQ(this->text(), "60 bpm");
  EXPECT_EQ(this->selectedText(), "60 bpm");
  EXPECT_EQ(this->refused_, (Strings{""}));
}

TYPED_TEST_P(ComposedField, DeletionByTheInputMethodIsChecked) {
  this->policeNumbers(this->atTheEnd);
  this->press({"End"});
  this->deleteBefore(1);
  EXPECT_EQ(this->textAndCursor(), "6| bpm");
  EXPECT_EQ(this->policy().state(), FieldState::incomplete);
  this->dismiss();
  this->policeNumbers(this->atEveryChange);
  this->press({"End"});
  this->deleteBefore(1);
  EXPECT_EQ(this->textAndCursor(), "60 bpm|");
  EXPECT_EQ(this->selectedText(), "");
  EXPECT_EQ(this->refused_, (Strings{"60 bp"}));
}

TYPED_TEST_P(ComposedField, ReturnDuringACompositionEndsNothing) {
  this->policeNumbers(this->atTheEnd);
  this->compose("7");
  this->press({"Return"});
  EXPECT_EQ(this->ends_, 0);
  EXPECT_EQ(this->text(), " bpm");
  this->commit("70");
  this->press({"Return"});
  EXPECT_EQ(this->ends_, 1);
  EXPECT_EQ(std::any_cast<NSNumber>(this->policy().objectValue()), NSNumber(70));
}

TYPED_TEST_P(ComposedField, CompositionEndsWhenTheFocusLeaves) {
  this->policeNumbers(this->atTheEnd);
  this->compose("7");
  this->leave();
  EXPECT_EQ(this->text(), "60 bpm");
  EXPECT_EQ(this->ends_, 1);
  EXPECT_EQ(std::any_cast<NSNumber>(this->policy().objectValue()), NSNumber(60));
  this->focus();
  this->press({"Control_L", "a"});
  this->type("7");
  EXPECT_EQ(this->textAndCursor(), "7| bpm");
}

TYPED_TEST_P(ComposedField, ObjectThatIsSetDuringACompositionStays) {
  for (const FieldChecking checking : {this->atTheEnd, this->atEveryChange}) {
    this->policeNumbers(checking);
    this->compose("7");
    EXPECT_TRUE(this->policy().setObjectValue(NSNumber(100)));
    EXPECT_EQ(this->text(), "100 bpm");
    this->compose("");
    EXPECT_EQ(this->text(), "100 bpm");
    EXPECT_TRUE(this->refused_.empty());
    this->dismiss();
  }
}

REGISTER_TYPED_TEST_SUITE_P(ComposedField, ComposedTextIsNeitherCheckedNorMarked, CommitIsCheckedLikeAPaste,
                            RefusedCommitRestoresTextAndSelection, CompositionThatIsGivenUpIsADeletion,
                            DeletionByTheInputMethodIsChecked, ReturnDuringACompositionEndsNothing,
                            CompositionEndsWhenTheFocusLeaves, ObjectThatIsSetDuringACompositionStays);

}  // namespace Tessaly
