// SPDX-License-Identifier: MIT
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/Gtk/FormatterHook.hpp"
#include "Tessaly/Formatting/Formatters+CharactersLimit.hpp"
#include "Tessaly/Formatting/Formatters+NoEmojis.hpp"
#include "Tessaly/Formatting/Formatters+RangeNumber.hpp"
#include "tests/Adapters/ComposedField.hpp"
#include "tests/Adapters/EditingSituations.hpp"
#include "tests/Adapters/Gtk/InputMethod.hpp"
#include "tests/Adapters/PolicedField.hpp"
#include "tests/Adapters/RecordingFormatter.hpp"
#include "tests/Adapters/TypedNumbers.hpp"
#include "tests/Support/ContentsOf.hpp"
#include "tests/Support/PrivateDisplay.hpp"
#include "tests/Support/TemporaryFolder.hpp"
#include "tests/Support/WaitUntil.hpp"

namespace Tessaly {
namespace {

void setEnvironment() {
  ::setenv("GDK_BACKEND", "x11", 1);
  ::setenv("GSK_RENDERER", "cairo", 1);
  ::setenv("GTK_IM_MODULE", Tests::InputMethod::name, 1);
  ::setenv("GTK_A11Y", "none", 1);
  ::setenv("GSETTINGS_BACKEND", "memory", 1);
}

/// Whether the condition becomes true while the loop runs.
template <typename Condition>
bool comesTrue(Condition condition) {
  const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(9);
  const guint ticks = g_timeout_add(20, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr);
  bool isTrue = condition();
  while (!isTrue && std::chrono::steady_clock::now() < limit) {
    g_main_context_iteration(nullptr, TRUE);
    isTrue = condition();
  }
  g_source_remove(ticks);
  return isTrue;
}

class GtkField : public testing::Test {
 protected:
  void SetUp() override {
    if (!display_.reason().empty()) GTEST_SKIP() << display_.reason();
    setEnvironment();
    gtk_init();
    Tests::InputMethod::install();
    window_ = gtk_window_new();
    gtk_window_set_title(GTK_WINDOW(window_), "Field");
    GtkWidget* row = gtk_box_new(GTK_ORIENTATION_HORIZONTAL, 10);
    field_ = GTK_EDITABLE(gtk_entry_new());
    gtk_box_append(GTK_BOX(row), GTK_WIDGET(field_));
    gtk_box_append(GTK_BOX(row), gtk_entry_new());
    gtk_window_set_child(GTK_WINDOW(window_), row);
    GtkEventController* keys = gtk_event_controller_key_new();
    gtk_event_controller_set_propagation_phase(keys, GTK_PHASE_CAPTURE);
    g_signal_connect_swapped(keys, "key-released", G_CALLBACK(+[](int* releases) { ++*releases; }), &releases_);
    gtk_widget_add_controller(window_, keys);
    gtk_widget_grab_focus(GTK_WIDGET(field_));
    gtk_window_present(GTK_WINDOW(window_));
    ASSERT_TRUE(comesTrue([&] { return display_.focus("Field"); }));
    ASSERT_TRUE(comesTrue([&] {
      return gtk_window_is_active(GTK_WINDOW(window_)) &&
             gtk_widget_has_focus(GTK_WIDGET(gtk_editable_get_delegate(field_)));
    }));
  }
  // The hook is destroyed before its field.
  void TearDown() override {
    if (window_ != nullptr) gtk_window_destroy(GTK_WINDOW(window_));
    hook_.reset();
  }

  void settle() {
    ASSERT_TRUE(comesTrue([&] { return releases_ == display_.releases(); }));
    while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
  }
  void type(std::string_view letters) {
    display_.type(letters);
    settle();
  }
  void press(const std::vector<std::string>& names) {
    display_.press(names);
    settle();
  }
  /// Moves to the next field. GTK reports it in the next turn of its loop.
  void leave() {
    press({"Tab"});
    ASSERT_TRUE(comesTrue([&] { return !gtk_widget_has_focus(GTK_WIDGET(gtk_editable_get_delegate(field_))); }));
  }
  void pressRepeatedly(int times, const std::string& name) {
    for (int i = 0; i < times; ++i) display_.press({name});
    settle();
  }
  /// Reading the clipboard takes several turns of the loop.
  template <typename Condition>
  bool pastes(const std::string& text, Condition condition) {
    gdk_clipboard_set_text(gtk_widget_get_clipboard(window_), text.c_str());
    press({"Control_L", "v"});
    return comesTrue(condition);
  }

  template <typename Kind>
  std::shared_ptr<Kind> police(std::shared_ptr<Kind> formatter) {
    hook_.reset();
    hook_ = std::make_unique<Gtk4::FormatterHook>(formatter, field_, checking_);
    hook_->onRefusal([this](std::string_view text, std::string_view reason) {
      refused_.emplace_back(text);
      reasons_.emplace_back(reason);
    });
    hook_->onEditingEnd([this](const std::any&) { ++ends_; });
    return formatter;
  }
  void dismiss() { hook_.reset(); }
  void destroyField() {
    dismiss();
    removeField();
  }
  /// The neighbour takes the focus, so that the window still receives keys.
  void removeField() {
    GtkWidget* row = gtk_window_get_child(GTK_WINDOW(window_));
    gtk_widget_grab_focus(gtk_widget_get_last_child(row));
    gtk_box_remove(GTK_BOX(row), GTK_WIDGET(field_));
  }

  void endAtNextChange() { endAtNext("changed"); }
  void endAtNextMark() { endAtNext("notify::tooltip-text"); }
  void endAtNext(const char* signal) {
    const auto end = +[](GtkField* self) {
      if (self->hook_) self->destroyField();
    };
    g_signal_connect_swapped(field_, signal, G_CALLBACK(end), this);
  }
  void removeFieldAtNextChange() {
    g_signal_connect_swapped(field_, "changed", G_CALLBACK(+[](GtkField* self) { self->removeField(); }), this);
  }
  [[nodiscard]] bool hasEnded() const { return hook_ == nullptr; }
  void takeFocus() { focus(gtk_widget_get_last_child(gtk_window_get_child(GTK_WINDOW(window_)))); }

  void focus() { focus(GTK_WIDGET(field_)); }
  void focus(GtkWidget* widget) {
    gtk_widget_grab_focus(widget);
    ASSERT_TRUE(
        comesTrue([&] { return gtk_widget_has_focus(GTK_WIDGET(gtk_editable_get_delegate(GTK_EDITABLE(widget)))); }));
  }
  /// Pastes into the focused field, which may refuse the text.
  void paste(const std::string& text) {
    gdk_clipboard_set_text(gtk_widget_get_clipboard(window_), text.c_str());
    press({"Control_L", "v"});
    bool isRead = false;
    gdk_clipboard_read_text_async(
        gtk_widget_get_clipboard(window_), nullptr,
        [](GObject* clipboard, GAsyncResult* result, gpointer done) {
          g_free(gdk_clipboard_read_text_finish(GDK_CLIPBOARD(clipboard), result, nullptr));
          *static_cast<bool*>(done) = true;
        },
        &isRead);
    ASSERT_TRUE(comesTrue([&] { return isRead; }));
    settle();
  }
  void compose(const std::string& text) {
    ASSERT_TRUE(Tests::InputMethod::isActive());
    Tests::InputMethod::compose(text);
    settle();
  }
  /// Ends the composition with a text.
  void commit(const std::string& text) {
    ASSERT_TRUE(Tests::InputMethod::isActive());
    Tests::InputMethod::compose({});
    Tests::InputMethod::commit(text);
    settle();
  }
  void deleteBefore(int count) {
    ASSERT_TRUE(Tests::InputMethod::isActive());
    EXPECT_TRUE(Tests::InputMethod::deleteBefore(count));
    settle();
  }
  std::vector<DrivenField> neighbours(const EditingSituation& situation) {
    GtkWidget* spin = gtk_spin_button_new_with_range(situation.lowest, situation.highest, 1);
    gtk_spin_button_set_digits(GTK_SPIN_BUTTON(spin), static_cast<guint>(situation.fractionDigits));
    gtk_spin_button_set_value(GTK_SPIN_BUTTON(spin), situation.initial);
    gtk_box_append(GTK_BOX(gtk_window_get_child(GTK_WINDOW(window_))), spin);
    neighbour_ = spin;
    return {{"GtkSpinButton", [this, spin] { focus(spin); },
             [spin] { return std::string(gtk_editable_get_text(GTK_EDITABLE(spin))); }}};
  }
  void dismissNeighbours() {
    focus();
    gtk_box_remove(GTK_BOX(gtk_window_get_child(GTK_WINDOW(window_))), neighbour_);
  }
  Gtk4::FormatterHook& policy() { return *hook_; }

  [[nodiscard]] std::string text() const { return gtk_editable_get_text(field_); }
  /// The text with a bar at the cursor.
  [[nodiscard]] std::string textAndCursor() const {
    std::string whole = text();
    const char* cursor = g_utf8_offset_to_pointer(whole.c_str(), gtk_editable_get_position(field_));
    return whole.insert(static_cast<std::size_t>(cursor - whole.c_str()), "|");
  }
  [[nodiscard]] std::string selectedText() const {
    int start = 0;
    int end = 0;
    if (!gtk_editable_get_selection_bounds(field_, &start, &end)) return {};
    char* selected = gtk_editable_get_chars(field_, start, end);
    std::string result(selected);
    g_free(selected);
    return result;
  }

  Tests::PrivateDisplay display_{"éäß−😀💃٠١٢٣٤٥٦٧٨٩٫क", 640, 160};
  GtkWidget* window_ = nullptr;
  GtkEditable* field_ = nullptr;
  GtkWidget* neighbour_ = nullptr;
  int releases_ = 0;
  /// On the heap, so that a sanitizer finds each use after the end.
  std::unique_ptr<Gtk4::FormatterHook> hook_;
  FieldChecking checking_ = FieldChecking::atEveryChange;
  Strings refused_;
  Strings reasons_;
  int ends_ = 0;
};

INSTANTIATE_TYPED_TEST_SUITE_P(Gtk, PolicedField, GtkField);
INSTANTIATE_TYPED_TEST_SUITE_P(Gtk, ComposedField, GtkField);
INSTANTIATE_TYPED_TEST_SUITE_P(Gtk, TypedNumbers, GtkField);
INSTANTIATE_TYPED_TEST_SUITE_P(Gtk, EditedNumber, GtkField);

TEST_F(GtkField, IsNotClearedByAnActionEither) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("5");
  press({"Control_L", "a"});
  gtk_widget_activate_action(GTK_WIDGET(gtk_editable_get_delegate(field_)), "selection.delete", nullptr);
  settle();
  EXPECT_EQ(text(), "5");
  EXPECT_EQ(selectedText(), "5");
  EXPECT_EQ(refused_, (Strings{""}));
}

TEST_F(GtkField, RedoesByEitherKey) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  hook_->setObjectValue(15);
  EXPECT_FALSE(hook_->undo());
  press({"End"});
  type("0");
  for (const Strings& redo : {Strings{"Control_L", "Shift_L", "z"}, Strings{"Control_L", "y"}}) {
    press({"Control_L", "z"});
    EXPECT_EQ(textAndCursor(), "15|");
    press(redo);
    EXPECT_EQ(text(), "100");
  }
}

TEST_F(GtkField, ChecksTheDeletionOfAWord) {
  police(RecordingFormatter::make());
  type("one two");
  press({"Control_L", "BackSpace"});
  EXPECT_EQ(textAndCursor(), "one |");
  press({"Control_L", "z"});
  EXPECT_EQ(textAndCursor(), "one two|");
}

TEST_F(GtkField, ChecksPastedText) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("12");
  EXPECT_TRUE(pastes("words", [&] { return refused_.size() == 1; }));
  EXPECT_EQ(textAndCursor(), "12|");
  EXPECT_TRUE(pastes("345", [&] { return refused_.size() == 2; }));
  EXPECT_EQ(textAndCursor(), "100|");
  EXPECT_TRUE(pastes("7", [&] { return refused_.size() == 3; }));
  EXPECT_EQ(textAndCursor(), "100|");
  press({"Control_L", "a"});
  EXPECT_EQ(selectedText(), "100");
  EXPECT_TRUE(pastes("no", [&] { return refused_.size() == 4; }));
  settle();
  EXPECT_EQ(selectedText(), "100");
  EXPECT_TRUE(pastes("7", [&] { return text() == "7"; }));
  EXPECT_EQ(textAndCursor(), "7|");
}

TEST_F(GtkField, RefusesAMegabyteBeyondItsLimit) {
  police(Formatters::CharactersLimit::make(5));
  type("ab");
  EXPECT_TRUE(pastes(std::string(1'000'000, 'x'), [&] { return refused_.size() == 1; }));
  EXPECT_EQ(text(), "ab");
  EXPECT_EQ(refused_[0].size(), 1'000'002U);
}

TEST_F(GtkField, UndoesByWords) {
  police(Formatters::NoEmojis::make(std::nullopt));
  type("one two");
  press({"Control_L", "z"});
  EXPECT_EQ(text(), "one");
  press({"Control_L", "z"});
  EXPECT_EQ(text(), "");
  EXPECT_TRUE(hook_->redo());
  EXPECT_EQ(text(), "one");
  type("!");
  EXPECT_FALSE(hook_->redo());
  EXPECT_EQ(text(), "one!");
}

TEST_F(GtkField, ReadOnlyFieldUndoesNothing) {
  police(Formatters::NoEmojis::make(3));
  type("abc");
  gtk_editable_set_editable(field_, FALSE);
  press({"Control_L", "z"});
  EXPECT_EQ(text(), "abc");
  EXPECT_FALSE(hook_->undo());
}

TEST_F(GtkField, ChecksCommittedButNotComposedInput) {
  police(Formatters::CharactersLimit::make(2));
  press({"dead_acute"});
  EXPECT_EQ(text(), "");
  press({"e"});
  EXPECT_EQ(text(), "é");
  press({"dead_acute"});
  EXPECT_TRUE(refused_.empty());
  press({"e"});
  EXPECT_EQ(text(), "é");
  EXPECT_EQ(refused_, (Strings{"éé"}));
}

TEST_F(GtkField, CommitMayPrecedeTheEndOfTheComposition) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  type("60");
  press({"Control_L", "a"});
  compose("7");
  Tests::InputMethod::commit("7");
  EXPECT_EQ(text(), "7");
  EXPECT_TRUE(hook_->notice().isNone());
  compose("");
  EXPECT_EQ(text(), "7");
  EXPECT_EQ(hook_->state(), FieldState::incomplete);
  EXPECT_FALSE(hook_->notice().isNone());
  EXPECT_TRUE(hook_->undo());
  EXPECT_EQ(text(), "60");
}

// GTK itself permits the end of the hook, but not of the field, while a composition begins.
TEST_F(GtkField, HookMayEndWhileACompositionBegins) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::CharactersLimit::make(5));
  type("ab");
  press({"Control_L", "a"});
  g_signal_connect_swapped(field_, "changed",
                           G_CALLBACK(+[](std::unique_ptr<Gtk4::FormatterHook>* hook) { hook->reset(); }), &hook_);
  compose("x");
  EXPECT_TRUE(hasEnded());
  commit("xyz12345");
  EXPECT_EQ(text(), "xyz12345");
}

TEST_F(GtkField, ChecksATextThatTheInputMethodCommitsWhenTheFocusLeaves) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  type("50");
  Tests::InputMethod::commitsWhenLeft = true;
  compose("0");
  leave();
  settle();
  EXPECT_EQ(text(), "300");
  EXPECT_EQ(refused_, (Strings{"500"}));
  EXPECT_EQ(ends_, 1);
}

TEST_F(GtkField, CommitAfterTheFocusLeftEndsEditingAgain) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)))->setSuffix(" bpm");
  hook_->setObjectValue(50);
  press({"End"});
  compose("0");
  leave();
  settle();
  EXPECT_EQ(text(), "50 bpm");
  EXPECT_EQ(ends_, 1);
  Tests::InputMethod::commitLate("0");
  settle();
  EXPECT_EQ(text(), "300 bpm");
  EXPECT_EQ(refused_, (Strings{"500 bpm"}));
  EXPECT_EQ(ends_, 2);
}

TEST_F(GtkField, CommitAfterTheFocusLeftReplacesTheSelection) {
  for (const FieldChecking checking : {FieldChecking::atEveryChange, FieldChecking::atTheEnd}) {
    checking_ = checking;
    police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)))->setSuffix(" bpm");
    hook_->setObjectValue(50);
    focus();
    press({"Control_L", "a"});
    compose("60");
    takeFocus();
    settle();
    EXPECT_EQ(text(), "50 bpm");
    Tests::InputMethod::commitLate("60");
    settle();
    EXPECT_EQ(text(), "60 bpm");
    EXPECT_EQ(std::any_cast<NSNumber>(hook_->objectValue()), NSNumber(60));
  }
  EXPECT_TRUE(hook_->undo());
  EXPECT_EQ(text(), "50 bpm");
}

TEST_F(GtkField, CompositionThatEndsAsTheFocusLeavesMayBeCommittedLater) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)))->setSuffix(" bpm");
  hook_->setObjectValue(50);
  press({"Control_L", "a"});
  compose("60");
  Tests::InputMethod::compose({});
  takeFocus();
  settle();
  EXPECT_EQ(text(), "50 bpm");
  Tests::InputMethod::commitLate("60");
  settle();
  EXPECT_EQ(text(), "60 bpm");
  EXPECT_EQ(std::any_cast<NSNumber>(hook_->objectValue()), NSNumber(60));
}

TEST_F(GtkField, RefusedCommitAfterTheFocusLeftChangesNothing) {
  police(Formatters::CharactersLimit::make(4));
  type("ab");
  compose("cd");
  leave();
  settle();
  Tests::InputMethod::commitLate("cd");
  settle();
  EXPECT_EQ(text(), "ab");
  EXPECT_EQ(refused_, (Strings{"abcd"}));
  EXPECT_EQ(ends_, 1);
}

TEST_F(GtkField, TextOfTheProgramAfterALeftCompositionEndsNothing) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  hook_->setObjectValue(50);
  press({"End"});
  compose("0");
  leave();
  settle();
  gtk_editable_set_text(field_, "999");
  settle();
  EXPECT_EQ(text(), "999");
  EXPECT_EQ(hook_->state(), FieldState::invalid);
  EXPECT_EQ(ends_, 1);
}

TEST_F(GtkField, TextOfTheProgramInAnEmptyFieldEndsNothing) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  compose("5");
  leave();
  settle();
  gtk_editable_set_text(field_, "999");
  settle();
  EXPECT_EQ(text(), "999");
  EXPECT_EQ(ends_, 0);
}

TEST_F(GtkField, TextOfTheProgramOverALeftSelectionEndsNothing) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  hook_->setObjectValue(50);
  focus();
  press({"Control_L", "a"});
  compose("60");
  takeFocus();
  settle();
  const int ends = ends_;
  gtk_editable_select_region(field_, 0, -1);
  gtk_editable_set_text(field_, "999");
  settle();
  EXPECT_EQ(text(), "999");
  EXPECT_EQ(ends_, ends);
}

TEST_F(GtkField, ProgramInsertsAtItsPlaceAfterALeftComposition) {
  police(Formatters::CharactersLimit::make(9));
  type("ab");
  compose("c");
  leave();
  settle();
  int position = 0;
  gtk_editable_insert_text(field_, "xy", -1, &position);
  settle();
  EXPECT_EQ(text(), "xyab");
  EXPECT_EQ(position, 2);
}

TEST_F(GtkField, EachCommitAfterTheFocusLeftEndsEditing) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)))->setSuffix(" bpm");
  hook_->setObjectValue(20);
  press({"End"});
  compose("5");
  leave();
  settle();
  Tests::InputMethod::commitLate("5");
  settle();
  EXPECT_EQ(text(), "205 bpm");
  Tests::InputMethod::commitLate("6");
  settle();
  EXPECT_EQ(text(), "300 bpm");
  EXPECT_EQ(refused_, (Strings{"2056 bpm"}));
}

TEST_F(GtkField, LateCommitKeepsTheUndoneText) {
  police(Formatters::CharactersLimit::make(9));
  type("ab");
  compose("c");
  leave();
  settle();
  EXPECT_TRUE(hook_->undo());
  EXPECT_EQ(text(), "");
  Tests::InputMethod::commitLate("c");
  settle();
  EXPECT_EQ(text(), "c");
}

TEST_F(GtkField, RefusedCommitAfterTheFocusLeftRestoresTheSelection) {
  for (const bool isSettled : {false, true}) {
    SCOPED_TRACE(isSettled);
    refused_.clear();
    police(Formatters::CharactersLimit::make(4));
    hook_->setObjectValue(std::string("ab"));
    focus();
    press({"Control_L", "a"});
    compose("cdefg");
    takeFocus();
    if (isSettled) settle();
    Tests::InputMethod::commitLate("cdefg");
    EXPECT_TRUE(comesTrue([&] { return gtk_editable_get_selection_bounds(field_, nullptr, nullptr) != FALSE; }));
    EXPECT_EQ(text(), "ab");
    EXPECT_EQ(refused_, (Strings{"cdefg"}));
  }
}

TEST_F(GtkField, HandlerMayDestroyTheFieldAtALateCommit) {
  police(Formatters::CharactersLimit::make(4));
  type("ab");
  compose("c");
  takeFocus();
  settle();
  endAtNextChange();
  Tests::InputMethod::commitLate("c");
  settle();
  EXPECT_TRUE(hasEnded());
}

TEST_F(GtkField, ReplacesACodePointInputByTheBound) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("55");
  press({"Control_L", "Shift_L", "u"});
  type("665 ");  // ARABIC-INDIC DIGIT FIVE
  EXPECT_EQ(textAndCursor(), "100|");
  EXPECT_EQ(refused_, (Strings{"55٥"}));
}

TEST_F(GtkField, ChecksTextOfTheProgram) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  gtk_editable_set_text(field_, "42");
  EXPECT_EQ(text(), "42");
  gtk_editable_set_text(field_, "words");
  EXPECT_EQ(text(), "42");
  gtk_editable_set_text(field_, "420");
  EXPECT_EQ(text(), "100");
  int position = 0;
  gtk_editable_insert_text(field_, "-", -1, &position);
  EXPECT_EQ(textAndCursor(), "0|");
  EXPECT_EQ(position, 1);
}

TEST_F(GtkField, ChecksADeletionByTheProgramInTheNextTurn) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  gtk_editable_set_text(field_, "42");
  gtk_editable_delete_text(field_, 0, 1);
  settle();
  EXPECT_EQ(text(), "2");
  gtk_editable_delete_text(field_, 0, -1);
  settle();
  EXPECT_EQ(text(), "2");
  gtk_editable_set_text(field_, "42");
  gtk_editable_delete_text(field_, 0, 1);
  gtk_editable_delete_text(field_, 0, 1);
  settle();
  EXPECT_EQ(text(), "2");
}

// A handler of the host that stops the key's signal prevents the deletion, and the report of its end.
TEST_F(GtkField, ChecksADeletionByTheProgramAfterAStoppedKey) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  gtk_editable_set_text(field_, "42");
  GtkEditable* inner = gtk_editable_get_delegate(field_);
  const gulong stopping = g_signal_connect(
      inner, "backspace",
      G_CALLBACK(+[](GtkWidget* widget, gpointer) { g_signal_stop_emission_by_name(widget, "backspace"); }), nullptr);
  press({"End"});
  press({"BackSpace"});
  g_signal_handler_disconnect(inner, stopping);
  EXPECT_EQ(text(), "42");
  gtk_editable_delete_text(field_, 0, 1);
  settle();
  EXPECT_EQ(text(), "2");
}

TEST_F(GtkField, AcceptsTheFirstTextAndCorrectsItAtTheEnd) {
  gtk_editable_set_text(field_, "150");
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  EXPECT_EQ(text(), "150");
  press({"Return"});
  EXPECT_EQ(text(), "100");
  EXPECT_EQ(std::any_cast<NSNumber>(hook_->objectValue()), NSNumber(100));
  EXPECT_EQ(refused_, (Strings{"150"}));
  EXPECT_EQ(ends_, 1);
}

TEST_F(GtkField, RefusesIllFormedUTF8) {
  const auto formatter = police(RecordingFormatter::make());
  type("a");
  formatter->calls.clear();
  int position = 1;
  gtk_editable_insert_text(field_, "\xF0\x9F", 2, &position);
  EXPECT_EQ(text(), "a");
  EXPECT_EQ(position, 1);
  EXPECT_TRUE(formatter->calls.empty());
  EXPECT_EQ(refused_, (Strings{"a\uFFFD\uFFFD"}));
}

TEST_F(GtkField, AsksInTheOrderOfAFieldOfText) {
  const auto formatter = police(RecordingFormatter::make());
  EXPECT_TRUE(formatter->calls.empty());
  hook_->setObjectValue(std::string("a"));
  EXPECT_EQ(formatter->calls, (Strings{"string a"}));
  press({"End"});
  type("b");
  EXPECT_EQ(formatter->calls, (Strings{"string a", "partial ab"}));
  formatter->calls.clear();
  type("!");
  EXPECT_EQ(formatter->calls, (Strings{"partial ab!"}));
  EXPECT_EQ(text(), "ab");
  formatter->calls.clear();
  leave();
  EXPECT_EQ(formatter->calls, (Strings{"partial ab", "read ab", "string ab"}));
}

TEST_F(GtkField, EmitsNothingForARefusedChange) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("5");
  int changes = 0;
  g_signal_connect_swapped(field_, "changed", G_CALLBACK(+[](int* count) { ++*count; }), &changes);
  type("x");
  press({"BackSpace"});
  press({"Control_L", "a"});
  type("x");
  EXPECT_EQ(changes, 0);
  EXPECT_EQ(text(), "5");
}

TEST_F(GtkField, FieldEnforcesItsOwnMaximumLength) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  gtk_entry_set_max_length(GTK_ENTRY(field_), 2);
  type("42");
  type("5");
  EXPECT_EQ(text().size(), 2U);
}

TEST_F(GtkField, MayLoseItsHook) {
  const auto formatter = police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("42");
  gtk_editable_delete_text(field_, 0, 1);  // Waits for the loop.
  hook_.reset();
  EXPECT_EQ(formatter.use_count(), 1);
  type("x");
  EXPECT_EQ(text(), "42x");
  press({"Control_L", "z"});
  EXPECT_NE(text(), "42x");
}

TEST_F(GtkField, FieldMayBeDestroyedDuringEditing) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("42");
  gtk_editable_delete_text(field_, 0, 1);
  gtk_window_destroy(GTK_WINDOW(std::exchange(window_, nullptr)));
  while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
  EXPECT_FALSE(hook_->setObjectValue(5));
  EXPECT_FALSE(hook_->undo());
}

TEST_F(GtkField, FieldMayBeDestroyedInAHandlerOfItsText) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  type("15");
  removeFieldAtNextChange();
  EXPECT_TRUE(hook_->setObjectValue(NSNumber(70)));
  EXPECT_EQ(std::any_cast<NSNumber>(hook_->objectValue()), NSNumber(70));
  EXPECT_FALSE(hook_->setObjectValue(NSNumber(8)));
  EXPECT_FALSE(hook_->undo());
}

TEST_F(GtkField, StyleClassAndTooltipShowTheWorth) {
  checking_ = FieldChecking::atTheEnd;
  gtk_widget_set_tooltip_text(GTK_WIDGET(field_), "own");
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  const auto marks = [this] {
    const auto has = [this](const char* name) { return gtk_widget_has_css_class(GTK_WIDGET(field_), name) != FALSE; };
    return std::tuple(has("warning"), has("error"), std::string(gtk_widget_get_tooltip_text(GTK_WIDGET(field_))));
  };
  type("1");
  EXPECT_EQ(marks(), std::tuple(true, false, "“1” is less than “20”."));
  type("x");
  EXPECT_EQ(marks(), std::tuple(false, true, "“1x” is not a number."));
  press({"BackSpace"});
  press({"Return"});
  EXPECT_EQ(text(), "20");
  EXPECT_EQ(marks(), std::tuple(true, false, "“1” is less than “20”."));
  type("0");
  EXPECT_EQ(marks(), std::tuple(false, false, "own"));
  type("x");
  hook_.reset();
  EXPECT_EQ(marks(), std::tuple(false, false, "own"));
}

TEST_F(GtkField, StyleClassOfTheHostStays) {
  checking_ = FieldChecking::atTheEnd;
  const auto hasError = [this] { return gtk_widget_has_css_class(GTK_WIDGET(field_), "error") != FALSE; };
  gtk_widget_add_css_class(GTK_WIDGET(field_), "error");
  police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
  type("x");
  EXPECT_TRUE(hasError());
  press({"BackSpace"});
  EXPECT_TRUE(hasError());
  hook_.reset();
  EXPECT_TRUE(hasError());
}

TEST_F(GtkField, EndOfTheHookRestoresTheUndoOfTheHost) {
  for (const bool isUndoEnabled : {false, true}) {
    gtk_editable_set_enable_undo(field_, isUndoEnabled);
    police(Formatters::RangeNumber<int>::make(ClosedRange(20, 300)));
    EXPECT_FALSE(gtk_editable_get_enable_undo(field_));
    hook_.reset();
    EXPECT_EQ(gtk_editable_get_enable_undo(field_) != FALSE, isUndoEnabled);
  }
}

TEST_F(GtkField, UndoStaysOffUntilTheLastHookEnds) {
  police(Formatters::NoEmojis::make(std::nullopt));
  std::optional<Gtk4::FormatterHook> second(std::in_place, Formatters::NoEmojis::make(std::nullopt), field_);
  hook_.reset();
  EXPECT_FALSE(gtk_editable_get_enable_undo(field_));
  second.reset();
  EXPECT_TRUE(gtk_editable_get_enable_undo(field_));
}

// A handler that destroys the hook may also open a dialog, whose loop runs inside the emission.
TEST_F(GtkField, UndoOfTheHostReturnsAfterTheHandler) {
  police(Formatters::NoEmojis::make(std::nullopt));
  bool isOnInside = false;
  std::function<void()> end = [&] {
    hook_.reset();
    while (g_main_context_pending(nullptr)) g_main_context_iteration(nullptr, FALSE);
    isOnInside = gtk_editable_get_enable_undo(field_) != FALSE;
  };
  const gulong handler = g_signal_connect_swapped(
      field_, "changed", G_CALLBACK(+[](std::function<void()>* function) { (*function)(); }), &end);
  type("a");
  g_signal_handler_disconnect(field_, handler);
  EXPECT_FALSE(isOnInside);
  settle();
  EXPECT_TRUE(gtk_editable_get_enable_undo(field_));
  type("b");
  press({"Control_L", "z"});
  EXPECT_EQ(text(), "a");
}

TEST_F(GtkField, HookMayBeginInAHandlerOfTheText) {
  std::function<void()> begin = [&] {
    if (!hook_) police(Formatters::NoEmojis::make(std::nullopt));
  };
  const gulong handler = g_signal_connect_swapped(
      field_, "changed", G_CALLBACK(+[](std::function<void()>* function) { (*function)(); }), &begin);
  type("a");
  g_signal_handler_disconnect(field_, handler);
  type(" b");
  press({"Control_L", "z"});
  EXPECT_EQ(text(), "a");
  hook_.reset();
  type(" c");
  press({"Control_L", "z"});
  EXPECT_NE(text(), "a c");
}

TEST_F(GtkField, SupportsOtherKindsOfFields) {
  GtkWidget* password = gtk_password_entry_new();
  gtk_box_append(GTK_BOX(gtk_window_get_child(GTK_WINDOW(window_))), password);
  field_ = GTK_EDITABLE(password);
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  gtk_widget_grab_focus(password);
  type("7x");
  press({"BackSpace"});
  EXPECT_EQ(text(), "7");
  type("55");
  EXPECT_EQ(text(), "100");
}

/// A program of its own, which receives its input from outside.
TEST(GtkForm, SavesTypedText) {
  Tests::PrivateDisplay display("😀٠", 700, 480);
  if (!display.reason().empty()) GTEST_SKIP() << display.reason();
  const Tests::TemporaryFolder folder;
  const std::string output = folder.path() + "/output";
  setEnvironment();
  ::setenv("LANG", "de_DE.UTF-8", 1);
  ::unsetenv("LC_ALL");
  Tests::Process form({std::string(std::getenv("TESSALY_TEST_PROGRAMS")) + "/tessaly_gtk_form"}, output);
  // Before its first frame, GTK 4.18 moves the focus in another order, past the button.
  ASSERT_TRUE(Tests::waitUntil([&] { return display.isDrawn("Track (GTK)") && display.focus("Track (GTK)"); }))
      << Tests::contentsOf(output);
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

TEST(GtkFieldDeathTest, StopsTheProcessWithoutAFormatterOrAField) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(Gtk4::FormatterHook(Formatters::CharactersLimit::make(1), nullptr),
               "Tessaly/FormatterHook:[0-9]+: Fatal error: A hook of a field needs a field");
}

TEST_F(GtkField, ProgramDoesNotEndEditingDuringAComposition) {
  checking_ = FieldChecking::atTheEnd;
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  hook_->setObjectValue(50);
  press({"Control_L", "a"});
  compose("7");
  EXPECT_FALSE(hook_->endEditing());
  EXPECT_EQ(ends_, 0);
  commit("7");
  EXPECT_TRUE(hook_->endEditing());
  EXPECT_EQ(ends_, 1);
  EXPECT_EQ(text(), "7");
}

TEST_F(GtkField, ProgramDoesNotEndEditingOfAFieldThatIsGone) {
  police(Formatters::RangeNumber<int>::make(ClosedRange(0, 100)));
  hook_->setObjectValue(50);
  removeField();
  EXPECT_FALSE(hook_->endEditing());
}

TEST_F(GtkField, SpinButtonStopsTheProcess) {
  auto* const spin = GTK_EDITABLE(gtk_spin_button_new_with_range(0, 10, 1));
  g_object_ref_sink(spin);
  const auto formatter = Formatters::RangeNumber<int>::make(ClosedRange(0, 10));
  for (GtkEditable* const field : {spin, gtk_editable_get_delegate(spin)}) {
    EXPECT_DEATH(Gtk4::FormatterHook(formatter, field),
                 "Tessaly/FormatterHook:[0-9]+: Fatal error: A GtkSpinButton writes its own text; bind its value");
  }
  g_object_unref(spin);
}

TEST_F(GtkField, ThrowingOrMissingFormatterStopsTheProcess) {
  EXPECT_DEATH(Gtk4::FormatterHook(std::shared_ptr<Formatter>(), field_),
               "Tessaly/FieldEditing:[0-9]+: Fatal error: A field needs a formatter");
  police(RecordingFormatter::make());
  EXPECT_DEATH(gtk_editable_set_text(field_, "throw"), "Fatal error: A field's formatter has thrown");
  hook_->onRefusal([](auto, auto) { throw 1; });
  EXPECT_DEATH(gtk_editable_set_text(field_, "!"), "Fatal error: A handler of a field's refusals has thrown");
  hook_->onEditingEnd([](const auto&) { throw 1; });
  EXPECT_DEATH(g_signal_emit_by_name(gtk_editable_get_delegate(field_), "activate"),
               "Fatal error: A handler of a field's end of editing has thrown");
  hook_->onRefusal(nullptr);
  hook_->onEditingEnd(nullptr);
}

}  // namespace
}  // namespace Tessaly
