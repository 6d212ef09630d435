// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QDoubleSpinBox>
#include <QDoubleValidator>
#include <QEventLoop>
#include <QHBoxLayout>
#include <QInputMethodEvent>
#include <QIntValidator>
#include <QKeyEvent>
#include <QLocale>
#include <QSignalSpy>
#include <QSpinBox>
#include <QToolTip>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <vector>

#include "Tessaly/Adapters/QtWidgets/FormatterValidator.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"
#include "tests/Adapters/ComposedField.hpp"
#include "tests/Adapters/EditingSituations.hpp"
#include "tests/Adapters/PolicedField.hpp"
#include "tests/Adapters/RecordingFormatter.hpp"
#include "tests/Adapters/TypedNumbers.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/PrivateDisplay.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly {
namespace {

/// Counts the released keys as they reach the windows.
class KeyCounter : public QObject {
 public:
  int releases = 0;

 protected:
  bool eventFilter(QObject* receiver, QEvent* event) override {
    if (receiver->isWindowType() && event->type() == QEvent::KeyRelease) ++releases;
    return false;
  }
};

/// Notifies of changes of a dynamic property.
class MarkObserver : public QObject {
 public:
  std::function<void()> whenMarked;

 protected:
  bool eventFilter(QObject* /*receiver*/, QEvent* event) override {
    if (event->type() == QEvent::DynamicPropertyChange) whenMarked();
    return false;
  }
};

class QtField : public testing::Test {
 protected:
  void SetUp() override {
    if (!display_.reason().empty()) GTEST_SKIP() << display_.reason();
    qputenv("QT_QPA_PLATFORM", "xcb");
    qputenv("QT_IM_MODULE", "compose");
    application_.emplace(count_, arguments_);
    application_->installEventFilter(&keys_);
    window_.emplace();
    window_->setWindowTitle("Field");
    auto* row = new QHBoxLayout(&*window_);
    field_ = new QLineEdit;
    other_ = new QLineEdit;
    row->addWidget(field_);
    row->addWidget(other_);
    window_->show();
    ASSERT_TRUE(comesTrue([&] { return display_.focus("Field"); }));
    ASSERT_TRUE(comesTrue([&] { return window_->isActiveWindow() && field_->hasFocus(); }));
  }

  // The window is destroyed before the destinations of its handlers.
  void TearDown() override { window_.reset(); }

  /// Whether the condition becomes true while the loop runs.
  template <typename Condition>
  static bool comesTrue(Condition condition) {
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(9);
    while (!condition()) {
      if (std::chrono::steady_clock::now() > limit) return false;
      QCoreApplication::processEvents(QEventLoop::AllEvents, 20);
    }
    return true;
  }
  void settle() {
    ASSERT_TRUE(comesTrue([&] { return keys_.releases == display_.releases(); }));
    QCoreApplication::processEvents();
  }
  void type(std::string_view letters) {
    display_.type(letters);
    settle();
  }
  void press(const std::vector<std::string>& names) {
    display_.press(names);
    settle();
  }
  /// Moves to the next field.
  void leave() { press({"Tab"}); }
  void pressRepeatedly(int times, const std::string& name) {
    for (int i = 0; i < times; ++i) display_.press({name});
    settle();
  }

  template <typename Kind>
  std::shared_ptr<Kind> police(std::shared_ptr<Kind> formatter) {
    validator_ = new Qt6::FormatterValidator(formatter, field_, checking_);
    validator_->onRefusal([this](std::string_view text, std::string_view reason) {
      refused_.emplace_back(text);
      reasons_.emplace_back(reason);
    });
    validator_->onEditingEnd([this](const std::any&) { ++ends_; });
    return formatter;
  }
  void dismiss() { delete std::exchange(validator_, nullptr); }
  void destroyField() { delete field_; }

  /// Qt permits the end of the validator, but not of the field, in a slot of the text's signal.
  void endAtNextChange() {
    QObject::connect(field_, &QLineEdit::textChanged, [this] { dismiss(); });
  }
  void endAtNextMark() {
    marks_.whenMarked = [this] { dismiss(); };
    field_->installEventFilter(&marks_);
  }
  [[nodiscard]] bool hasEnded() const { return validator_ == nullptr; }
  void takeFocus() { focus(other_); }

  void focus() { focus(field_); }
  static void focus(QWidget* widget) {
    widget->setFocus();
    ASSERT_TRUE(comesTrue([&] { return widget->hasFocus(); }));
  }
  void paste(const std::string& text) {
    QGuiApplication::clipboard()->setText(QString::fromStdString(text));
    press({"Control_L", "v"});
  }
  void compose(const std::string& text) {
    QInputMethodEvent event(QString::fromStdString(text), {});
    send(event);
  }
  /// Ends the composition with a text.
  void commit(const std::string& text) {
    QInputMethodEvent event;
    event.setCommitString(QString::fromStdString(text));
    send(event);
  }
  void deleteBefore(int count) {
    QInputMethodEvent event;
    event.setCommitString({}, -count, count);
    send(event);
  }
  void send(QInputMethodEvent& event) {
    QCoreApplication::sendEvent(QApplication::focusWidget(), &event);
    settle();
  }
  std::vector<DrivenField> neighbours(const EditingSituation& situation) {
    const QLocale locale(QString::fromUtf8(situation.language));
    QAbstractSpinBox* box = nullptr;
    QValidator* validator = nullptr;
    const auto set = [&](auto* spin, auto lowest, auto highest, auto initial) {
      spin->setRange(lowest, highest);
      spin->setSuffix(QString::fromUtf8(situation.suffix));
      spin->setLocale(locale);
      spin->setValue(initial);
      box = spin;
    };
    auto* line = new QLineEdit;
    if (situation.fractionDigits == 0) {
      const int lowest = static_cast<int>(situation.lowest);
      const int highest = static_cast<int>(situation.highest);
      set(new QSpinBox, lowest, highest, static_cast<int>(situation.initial));
      validator = new QIntValidator(lowest, highest, line);
    } else {
      auto* spin = new QDoubleSpinBox;
      spin->setDecimals(situation.fractionDigits);
      set(spin, situation.lowest, situation.highest, situation.initial);
      validator = new QDoubleValidator(situation.lowest, situation.highest, situation.fractionDigits, line);
    }
    validator->setLocale(locale);
    line->setText(locale.toString(situation.initial, 'f', situation.fractionDigits));
    line->setValidator(validator);
    neighbours_ = {box, line};
    for (QWidget* widget : neighbours_) window_->layout()->addWidget(widget);
    for (QWidget* widget : neighbours_) widget->show();
    return {{"QSpinBox", [box] { focus(box); }, [box] { return box->text().toStdString(); }},
            {"QIntValidator", [line] { focus(line); }, [line] { return line->text().toStdString(); }}};
  }
  void dismissNeighbours() {
    focus();
    for (QWidget* widget : std::exchange(neighbours_, {})) delete widget;
  }
  Qt6::FormatterValidator& policy() { return *validator_; }

  [[nodiscard]] std::string text() const { return field_->text().toStdString(); }
  /// The text with a bar at the cursor.
  [[nodiscard]] std::string textAndCursor() const {
    QString text = field_->text();
    text.insert(field_->cursorPosition(), '|');
    return text.toStdString();
  }
  [[nodiscard]] std::string selectedText() const { return field_->selectedText().toStdString(); }

  Tests::PrivateDisplay display_{"éäß−😀💃٠١٢٣٤٥٦٧٨٩٫क", 640, 160};
  static inline int count_ = 1;
  static inline char name_[] = "test";
  static inline char* arguments_[] = {name_, nullptr};
  KeyCounter keys_;
  MarkObserver marks_;
  std::optional<QApplication> application_;
  std::optional<QWidget> window_;
  QLineEdit* field_ = nullptr;
  QLineEdit* other_ = nullptr;
  std::vector<QWidget*> neighbours_;
  Qt6::FormatterValidator* validator_ = nullptr;
  FieldChecking checking_ = FieldChecking::atEveryChange;
  Strings refused_;
  Strings reasons_;
  int ends_ = 0;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Qt, PolicedField, QtField);
INSTANTIATE_TYPED_TEST_SUITE_P(Qt, ComposedField, QtField);
INSTANTIATE_TYPED_TEST_SUITE_P(Qt, TypedNumbers, QtField);
INSTANTIATE_TYPED_TEST_SUITE_P(Qt, EditedNumber, QtField);

TEST_F(QtField, EmitsOneEditingEndAndNoneForRefusedTexts) {
  police(RecordingFormatter::make());
  QSignalSpy ends(field_, &QLineEdit::editingFinished);
  type("a?");
  EXPECT_FALSE(field_->hasAcceptableInput());
  press({"Return"});
  EXPECT_EQ(ends.count(), 0);
  press({"BackSpace"});
  press({"Return"});
  EXPECT_EQ(ends.count(), 1);
}

TEST_F(QtField, ChecksPastedText) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("12");
  for (const auto& [pasted, before, after] : std::vector<std::tuple<const char*, std::string, std::string>>{
           {"words", "12|", "12|"}, {"345", "12|", "100|"}, {"7", "100|", "100|"}}) {
    EXPECT_EQ(textAndCursor(), before);
    QGuiApplication::clipboard()->setText(pasted);
    press({"Control_L", "v"});
    EXPECT_EQ(textAndCursor(), after);
  }
  press({"Control_L", "a"});
  press({"Control_L", "v"});
  EXPECT_EQ(text(), "7");
}

TEST_F(QtField, RefusesAMegabyteBeyondItsLimit) {
  police(Formatters::CharactersLimit::make(5));
  field_->setMaxLength(2'000'000);
  type("ab");
  QGuiApplication::clipboard()->setText(QString(1'000'000, 'x'));
  press({"Control_L", "v"});
  EXPECT_EQ(text(), "ab");
  ASSERT_EQ(refused_.size(), 1U);
  EXPECT_EQ(refused_[0].size(), 1'000'002U);
}

TEST_F(QtField, UndoneChangesCanBeRedone) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("42");
  press({"Control_L", "z"});
  press({"Control_L", "Shift_L", "z"});
  EXPECT_EQ(text(), "42");
}

TEST_F(QtField, ChecksCommittedButNotComposedInput) {
  police(Formatters::CharactersLimit::make(4));
  type("ab");
  QInputMethodEvent composing("composing", {});
  QCoreApplication::sendEvent(field_, &composing);
  EXPECT_EQ(text(), "ab");
  EXPECT_TRUE(refused_.empty());
  QInputMethodEvent tooLong("next", {});
  tooLong.setCommitString("cd");
  QCoreApplication::sendEvent(field_, &tooLong);
  QCoreApplication::processEvents();
  EXPECT_EQ(text(), "ab");
  EXPECT_EQ(refused_, (Strings{"abcd"}));
  QInputMethodEvent fitting;
  fitting.setCommitString("c");
  QCoreApplication::sendEvent(field_, &fitting);
  EXPECT_EQ(textAndCursor(), "abc|");
}

TEST_F(QtField, ValidatorMayEndWhileACompositionBegins) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::CharactersLimit::make(5));
  type("ab");
  press({"Control_L", "a"});
  endAtNextChange();
  compose("x");
  EXPECT_TRUE(hasEnded());
  commit("xyz12345");
  EXPECT_EQ(text(), "xyz12345");
}

// The input method of the test does nothing when it is asked to commit.
TEST_F(QtField, ProgramEndsEditingDuringAComposition) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)))->setSuffix(" bpm");
  validator_->setObjectValue(NSNumber(50));
  press({"End"});
  compose("1");
  EXPECT_TRUE(validator_->endEditing());
  EXPECT_EQ(text(), "300 bpm");
  EXPECT_EQ(refused_, (Strings{"501 bpm"}));
  press({"Control_L", "a"});
  compose("60");
  EXPECT_TRUE(validator_->endEditing());
  EXPECT_EQ(text(), "60 bpm");
  EXPECT_EQ(std::any_cast<NSNumber>(validator_->objectValue()), NSNumber(60));
  compose("x");
  EXPECT_FALSE(validator_->endEditing());
  EXPECT_EQ(text(), "60x bpm");
  EXPECT_EQ(ends_, 2);
}

TEST_F(QtField, ChecksATextThatTheInputMethodCommitsAfterTheFocusLeft) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)))->setSuffix(" bpm");
  validator_->setObjectValue(NSNumber(50));
  QInputMethodEvent late;
  late.setCommitString("60");
  press({"End"});
  compose("60");
  other_->setFocus();
  QCoreApplication::sendEvent(field_, &late);
  settle();
  EXPECT_EQ(text(), "300 bpm");
  EXPECT_EQ(refused_, (Strings{"5060 bpm"}));
  EXPECT_EQ(ends_, 1);
  focus();
  press({"Control_L", "a"});
  compose("60");
  other_->setFocus();
  QCoreApplication::sendEvent(field_, &late);
  settle();
  EXPECT_EQ(text(), "60 bpm");
  EXPECT_EQ(std::any_cast<NSNumber>(validator_->objectValue()), NSNumber(60));
  EXPECT_EQ(ends_, 2);
}

TEST_F(QtField, ProgramEndsEditingAfterARefusedComposition) {
  police(Formatters::CharactersLimit::make(4));
  type("abc");
  press({"Control_L", "a"});
  compose("wxyz");
  EXPECT_TRUE(validator_->endEditing());
  EXPECT_EQ(text(), "abc");
  EXPECT_EQ(refused_, (Strings{"wxyz"}));
}

TEST_F(QtField, HandlerMayEndTheValidatorWhenTheProgramEndsAComposition) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::CharactersLimit::make(5));
  type("ab");
  compose("c");
  endAtNextChange();
  EXPECT_FALSE(validator_->endEditing());
  EXPECT_TRUE(hasEnded());
  EXPECT_EQ(text(), "abc");
}

TEST_F(QtField, CursorStaysBeforeTheSuffixAfterSelectingAll) {
  checking_ = FieldChecking::atTheEnd;
  const auto formatter = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
  formatter->setSuffix(" %");
  police(formatter);
  validator_->setObjectValue(NSNumber(50));
  press({"Control_L", "a"});
  press({"End"});
  EXPECT_EQ(textAndCursor(), "50| %");
}

TEST_F(QtField, ReplacesCommittedInputByTheBound) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("1");
  QInputMethodEvent composing("2", {});
  QCoreApplication::sendEvent(field_, &composing);
  QInputMethodEvent commit;
  commit.setCommitString("23");
  QCoreApplication::sendEvent(field_, &commit);
  QCoreApplication::processEvents();
  EXPECT_EQ(textAndCursor(), "100|");
}

TEST_F(QtField, DoesNotCheckTextOfTheProgram) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  for (const auto echo : {QLineEdit::Normal, QLineEdit::Password}) {
    field_->setEchoMode(echo);
    SCOPED_TRACE(echo);
    field_->setText("words");
    EXPECT_EQ(text(), "words");
    EXPECT_FALSE(field_->hasAcceptableInput());
    type("x");
    EXPECT_EQ(text(), "words");
    press({"Control_L", "a"});
    type("8");
    EXPECT_EQ(text(), "8");
    EXPECT_TRUE(field_->hasAcceptableInput());
  }
}

TEST_F(QtField, HiddenCharactersAreChecked) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  field_->setEchoMode(QLineEdit::Password);
  type("7x");
  EXPECT_EQ(text(), "7");
  press({"BackSpace"});
  EXPECT_EQ(text(), "7");
  type("55");
  EXPECT_EQ(text(), "100");
}

TEST_F(QtField, HiddenTextThatTheProgramShortensIsNotChecked) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  field_->setEchoMode(QLineEdit::Password);
  type("7");
  field_->setText("");
  EXPECT_EQ(text(), "");
  field_->setText("words");
  field_->setText("word");
  EXPECT_EQ(text(), "word");
  EXPECT_TRUE(refused_.empty());
  press({"BackSpace"});
  EXPECT_EQ(text(), "word");
  EXPECT_EQ(refused_, (Strings{"wor"}));
}

TEST_F(QtField, UndoOfHiddenTextIsCheckedAsADeletion) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  field_->setEchoMode(QLineEdit::Password);
  type("7");
  press({"Control_L", "z"});
  EXPECT_EQ(text(), "7");
  EXPECT_EQ(refused_, (Strings{""}));
}

TEST_F(QtField, HiddenDeletionIsCheckedAfterTheProgramResetTheModification) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  field_->setEchoMode(QLineEdit::Password);
  type("7");
  field_->setModified(false);
  press({"BackSpace"});
  EXPECT_EQ(text(), "7");
  EXPECT_EQ(refused_, (Strings{""}));
}

TEST_F(QtField, CorrectsTextOfTheProgramAtTheEndOfEditing) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  field_->setText("150");
  press({"Return"});
  EXPECT_EQ(text(), "100");
  EXPECT_EQ(std::any_cast<NSNumber>(validator_->objectValue()), NSNumber(100));
  EXPECT_EQ(refused_, (Strings{"150"}));
  field_->setText("words");
  leave();
  EXPECT_EQ(text(), "words");
  EXPECT_EQ(refused_, (Strings{"150", "words"}));
  EXPECT_EQ(ends_, 1);
}

TEST_F(QtField, RefusesLoneSurrogates) {
  const auto formatter = police(RecordingFormatter::make());
  type("a");
  formatter->calls.clear();
  field_->insert(QString(QChar(0xD83D)));
  QCoreApplication::processEvents();
  EXPECT_EQ(field_->text(), "a");
  EXPECT_TRUE(formatter->calls.empty());
  EXPECT_EQ(refused_.size(), 1U);
}

TEST_F(QtField, AsksInTheOrderOfAFieldOfText) {
  const auto formatter = police(RecordingFormatter::make());
  EXPECT_TRUE(formatter->calls.empty());
  validator_->setObjectValue(std::string("a"));
  EXPECT_EQ(formatter->calls.front(), "string a");
  press({"End"});
  formatter->calls.clear();
  type("b");
  EXPECT_EQ(formatter->calls, (Strings{"partial ab", "partial ab", "read ab", "string ab"}));
  formatter->calls.clear();
  type("!");
  EXPECT_EQ(formatter->calls, (Strings{"partial ab!"}));
  EXPECT_EQ(text(), "ab");
  formatter->calls.clear();
  leave();
  ASSERT_GE(formatter->calls.size(), 3U);
  formatter->calls.resize(3);
  EXPECT_EQ(formatter->calls, (Strings{"partial ab", "read ab", "string ab"}));
}

TEST_F(QtField, EmitsOneSignalForAReplacementAndNoneForRefusal) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("5");
  QSignalSpy changes(field_, &QLineEdit::textChanged);
  type("x");
  EXPECT_EQ(changes.count(), 0);
  type("55");
  ASSERT_EQ(changes.count(), 2);
  EXPECT_EQ(changes[0][0].toString(), "55");
  EXPECT_EQ(changes[1][0].toString(), "100");
}

TEST_F(QtField, FieldEnforcesItsOwnMaximumLength) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  field_->setMaxLength(2);
  type("42");
  type("5");
  EXPECT_EQ(text(), "42");
  EXPECT_TRUE(refused_.empty());
}

TEST_F(QtField, PropertyColourAndTooltipShowTheWorth) {
  checking_ = FieldChecking::atTheEnd;
  field_->setToolTip("own");
  const QColor colour = field_->palette().color(QPalette::Text);
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  const auto marks = [&] {
    return std::tuple(field_->property("fieldState").toString().toStdString(),
                      field_->palette().color(QPalette::Text) == colour, field_->toolTip().toStdString());
  };
  type("1");
  EXPECT_EQ(marks(), std::tuple("incomplete", true, "“1” is less than “20”."));
  type("x");
  EXPECT_EQ(marks(), std::tuple("invalid", false, "“1x” is not a number."));
  press({"BackSpace"});
  press({"Return"});
  EXPECT_EQ(text(), "20");
  EXPECT_EQ(marks(), std::tuple("acceptable", true, "“1” is less than “20”."));
  EXPECT_EQ(QToolTip::text().toStdString(), "“1” is less than “20”.");
  type("0");
  EXPECT_EQ(marks(), std::tuple("acceptable", true, "own"));
}

TEST_F(QtField, ReasonOfACorrectionVanishesWithANewObject) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  type("1");
  press({"Return"});
  ASSERT_TRUE(QToolTip::isVisible());
  policy().setObjectValue(50);
  EXPECT_TRUE(Tests::waitUntil([] {
    QApplication::processEvents();
    return !QToolTip::isVisible();
  }));
}

TEST_F(QtField, ReasonThatLooksLikeHTMLIsShownAsItIs) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  type("<b>");
  EXPECT_EQ(field_->toolTip().toStdString(), "<qt>“&lt;b&gt;” is not a number.</qt>");
}

TEST_F(QtField, MayLoseItsValidator) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("42");
  delete validator_;
  type("x");
  EXPECT_EQ(text(), "42x");
}

TEST_F(QtField, FieldMayBeDestroyedDuringEditing) {
  const auto formatter = police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("42");
  delete field_;
  EXPECT_EQ(formatter.use_count(), 1);
  settle();
}

/// A program of its own, which receives its input from outside.
TEST(QtForm, SavesTypedText) {
  Tests::PrivateDisplay display("😀٠", 700, 480);
  if (!display.reason().empty()) GTEST_SKIP() << display.reason();
  const Tests::TemporaryFolder folder;
  const std::string output = folder.path() + "/output";
  ::setenv("LANG", "de_DE.UTF-8", 1);
  ::unsetenv("LC_ALL");
  ::setenv("QT_QPA_PLATFORM", "xcb", 1);
  Tests::Process form({std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly_qt_form"}, output);
  ASSERT_TRUE(Tests::waitUntil([&] { return display.focus("Track (Qt)"); })) << Tests::contentsOf(output);
  display.type("An incredibly long title of a track\t");
  display.type("The 😀 Smilers\t");
  display.type("150\t");
  display.type("-3.5\t");
  display.press({"BackSpace"});
  display.type("\t");
  display.type("1.2.2023\t");
  display.type("12,5\t");
  display.type("1 kg\t ");
  EXPECT_EQ(form.wait(), 0);
  EXPECT_THAT(Tests::contentsOf(output),
              testing::EndsWith("Title: An incredibly long title\nArtist: The  Smilers\nVolume: 100 %\nGain: -3,5 dB\n"
                                "Fade: 0 s\nReleased: 1. Februar 2023\nPrice: 12,50\u00A0€\nWeight: 1 kg\n"));
}

TEST(QtFieldDeathTest, StopsTheProcessWithoutAFormatter) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        int count = 0;
        QApplication application(count, nullptr);
        QLineEdit field;
        Qt6::FormatterValidator validator(std::shared_ptr<Formatter>(), &field);
      },
      "Tessaly/FieldEditing:[0-9]+: Fatal error: A field needs a formatter");
}

TEST(QtFieldDeathTest, StopsTheProcessWithoutAField) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(Qt6::FormatterValidator validator(Formatters::CharactersLimit::make(1), nullptr),
               "Tessaly/FormatterValidator:[0-9]+: Fatal error: A validator of a field needs a field");
}

TEST(QtFieldDeathTest, StopsTheProcessWhenAFormatterOrAHandlerThrows) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto typing = [](const char* text, auto handler) {
    qputenv("QT_QPA_PLATFORM", "offscreen");
    int count = 0;
    QApplication application(count, nullptr);
    QLineEdit field;
    auto* validator = new Qt6::FormatterValidator(RecordingFormatter::make(), &field);
    handler(validator);
    field.insert(text);
    QCoreApplication::processEvents();
    QKeyEvent end(QEvent::KeyPress, Qt::Key_Return, Qt::NoModifier);
    QCoreApplication::sendEvent(&field, &end);
  };
  EXPECT_DEATH(typing("throw", [](auto*) {}), "Fatal error: A field's formatter has thrown");
  EXPECT_DEATH(typing("!", [](auto* validator) { validator->onRefusal([](auto, auto) { throw 1; }); }),
               "Fatal error: A handler of a field's refusals has thrown");
  EXPECT_DEATH(typing("a", [](auto* validator) { validator->onEditingEnd([](const auto&) { throw 1; }); }),
               "Fatal error: A handler of a field's end of editing has thrown");
}

}  // namespace
}  // namespace Tessaly
