// SPDX-License-Identifier: MIT
// Component: Tessaly::GtkAdapter
#pragma once

#include <gtk/gtk.h>

#include <algorithm>
#include <any>
#include <concepts>
#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Adapters/Gtk/detail/EditableText.hpp"
#include "Tessaly/Adapters/Gtk/detail/FieldHistory.hpp"
#include "Tessaly/Adapters/Gtk/detail/FieldMark.hpp"
#include "Tessaly/Adapters/detail/FormattedField.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"

/// The adapters for GTK 4. The name is not Gtk, because gtkmm uses that name.
namespace Tessaly::inline v1::Gtk4 {

/// A hook that connects a `GtkEditable` (an entry, a `GtkText`, a spin button) to a `Formatter`. The field shows the
/// text of an object.
///
/// `FieldEditing` makes the decisions, and the comment of that class has the rules. By default the hook changes no
/// typed number before editing ends (Return, or the focus leaves). By default the cursor also stays before the suffix
/// of a number. While the text is not acceptable, the field has a style class: "warning" if further typing can complete
/// the text, else "error". The tooltip has the reason. After a correction, the class is "warning" and the tooltip has
/// the reason of the correction, until the next change. With `FieldChecking::atEveryChange` the formatter judges every
/// change: typing, pasting, dropping, cutting, committing composed input, and changes by the program. If the formatter
/// offers a replacement, the replacement takes the place of the whole text at once. In this mode the field gets no
/// style class and no tooltip. GTK has no counterpart of this class. The usual code is a handler of "insert-text",
/// which treats typing over a selection as two changes.
///
/// A refused change leaves the field unchanged, cursor and selection included. Text that is not UTF-8 is refused. The
/// field's own undo history cannot record replacements, so this history is off. The hook keeps a history for Control+Z,
/// Control+Shift+Z and Control+Y. A run of typed characters is one step. A correction at the end of editing is also one
/// step.
///
/// A text that an input method still composes is not judged or marked. If the composition replaces a selection, the
/// change is judged when the text is committed. Editing does not end during a composition.
///
/// A deletion by a key or by cutting takes place at once. Any other deletion waits for the next turn of the main loop,
/// because an insertion may belong to the deletion. The deletion then takes place before drawing. The text at the
/// construction of the hook is not checked. The hook may be destroyed before or after its field, also inside a handler
/// of the hook or of a signal of the field. If the text has not changed since the last end of editing, leaving the
/// field does not end editing a second time. So a handler may open a dialog.
///
/// These stop the process: a null formatter or field, and an exception from the formatter, the rule, the explanation or
/// a handler.
///
/// Thread contract: main-isolated.
///
///     auto level = Formatters::RangeNumber<int>::make(ClosedRange(0, 100));
///     Gtk4::FormatterHook hook(level, GTK_EDITABLE(entry));
///     hook.setObjectValue(50);
///     hook.onEditingEnd([](const std::any& object) { show(std::any_cast<NSNumber>(object)); });
class FormatterHook {
 public:
  using EndHandler = detail::FormattedField::EndHandler;
  using RefusalHandler = detail::FormattedField::RefusalHandler;

  template <std::derived_from<Formatter> Kind>
  FormatterHook(std::shared_ptr<Kind> formatter, GtkEditable* field, FieldChecking checking = FieldChecking::atTheEnd)
      : text_(detail::EditableText::innermost(field, file)),
        mark_(GTK_WIDGET(field)),
        formatted_(std::move(formatter), checking),
        hadUndo_(gtk_editable_get_enable_undo(text_.editable())) {
    gtk_editable_set_enable_undo(text_.editable(), FALSE);  // The hook has a history of its own.
    connectChanges();
    connectDeletionsByKeys();
    connectCompositions();
    connectEnds();
    connectKeysOfHistory();
    if (formatted_.isMarked()) connectMarks();
  }
  FormatterHook(const FormatterHook&) = delete;
  FormatterHook& operator=(const FormatterHook&) = delete;
  ~FormatterHook() {
    if (settling_ != 0) g_source_remove(settling_);
    if (restoring_ != 0) g_source_remove(restoring_);
    if (!text_.isThere()) return;
    g_signal_handlers_disconnect_by_data(text_.editable(), this);
    gtk_widget_remove_controller(text_.widget(), keys_);
    gtk_editable_set_enable_undo(text_.editable(), hadUndo_);
  }

  /// The object from the last successful end of editing or from the last successful `setObjectValue`, whichever is
  /// later. Empty if neither has happened yet.
  [[nodiscard]] const std::any& objectValue() const noexcept TESSALY_LIFETIMEBOUND {
    return formatted_.editing().object();
  }
  /// Shows an object, and clears the undo history. Returns false and does nothing if the formatter does not support the
  /// object, a number is beyond the range, or the rule (see `setRule`) forbids the object. The same holds if the field
  /// is gone.
  bool setObjectValue(std::any object) {
    if (!text_.isThere()) return false;
    const std::optional<std::string> text = formatted_.show(std::move(object));
    if (!text) return false;
    held_.reset();
    lost_.reset();
    composedOver_.reset();
    history_.clear();
    if (setText(*text)) static_cast<void>(showMark({}));
    return true;
  }
  /// The state of the present text. The result is `invalid` if the field is gone.
  [[nodiscard]] FieldState state() const {
    return text_.isThere() ? formatted_.editing().state(text_.get()) : FieldState::invalid;
  }
  /// Whether the present text differs from the text of the object. True if there is no object yet. False if the field
  /// is gone.
  [[nodiscard]] bool isEdited() const { return text_.isThere() && formatted_.editing().isEdited(text_.get()); }
  /// The reason that the tooltip shows: why the text is not acceptable, or why the text was corrected when editing last
  /// ended.
  [[nodiscard]] const FieldNotice& notice() const noexcept TESSALY_LIFETIMEBOUND { return mark_.notice(); }
  /// Sets the rule for the objects of the field, and replaces an earlier rule of the host. The rule must return true
  /// for an allowed object. If the field is bound to a setting, the rule of the setting's key holds too. See
  /// `FieldEditing::setRule`.
  void setRule(std::function<bool(const std::any& object)> rule) { formatted_.setRule(std::move(rule)); }
  /// Sets a function whose result replaces the reason in each notice, for example a translation. An empty result keeps
  /// the reason.
  void explainWith(FieldEditing::Explanation explanation) { formatted_.editing().explainWith(std::move(explanation)); }

  /// Sets the handler that is called after each successful end of editing, when the field already shows the object.
  /// If the field is bound to a setting, the setting already has the object.
  void onEditingEnd(EndHandler handler) { formatted_.onEnd(std::move(handler)); }
  /// Sets the handler that is called with each text that the formatter or the rule refuses, and with the reason if
  /// there is one. The refused texts include texts that the end of editing corrects. They do not include texts that the
  /// end of editing only rewrites, for example "007" as "7". If the text was replaced, the field already shows the
  /// replacement.
  void onRefusal(RefusalHandler handler) { formatted_.onRefusal(std::move(handler)); }

  /// Undoes the last change or the last run of typed characters. Returns false if there is nothing to undo, or if the
  /// field is gone or not editable.
  bool undo() { return go(&detail::FieldHistory::undo); }
  /// Repeats the last undone change. Returns false if there is no undone change, if another change followed the undo,
  /// or if the field is gone or not editable.
  bool redo() { return go(&detail::FieldHistory::redo); }

 private:
  friend detail::FormattedFieldOf;

  using Selection = detail::EditableText::Selection;
  using State = detail::FieldHistory::State;
  struct Deletion {
    int start;
    int end;
  };
  /// The text in front of the range of a deletion, the text in the range, and the text after the range.
  struct Parts {
    std::string before;
    std::string removed;
    std::string behind;
  };
  using Answer = FieldEditing::Answer;

  static constexpr std::string_view file = "Tessaly/FormatterHook";

  // GtkText reports its changes with these signatures.
  static void inserting(GtkEditable*, const char* text, int length, int* position, gpointer hook) {
    static_cast<FormatterHook*>(hook)->insert(
        length < 0 ? std::string_view(text) : std::string_view(text, static_cast<std::size_t>(length)), position);
  }
  static void deleting(GtkEditable*, int start, int end, gpointer hook) {
    static_cast<FormatterHook*>(hook)->remove(start, end);
  }

  void connectChanges() {
    g_signal_connect(text_.editable(), "insert-text", G_CALLBACK(inserting), this);
    g_signal_connect(text_.editable(), "delete-text", G_CALLBACK(deleting), this);
  }

  /// Makes the hook immediately judge each deletion that a key or the cut command makes. No insertion follows such a
  /// deletion.
  void connectDeletionsByKeys() {
    const auto end = +[](FormatterHook* hook) { static_cast<void>(hook->settle()); };
    for (const char* signal : {"backspace", "delete-from-cursor", "cut-clipboard"}) {
      if (g_signal_lookup(signal, G_OBJECT_TYPE(text_.editable())) == 0) continue;
      g_signal_connect_data(text_.editable(), signal, G_CALLBACK(end), this, nullptr,
                            static_cast<GConnectFlags>(G_CONNECT_AFTER | G_CONNECT_SWAPPED));
    }
  }

  void connectCompositions() {
    if (g_signal_lookup("preedit-changed", G_OBJECT_TYPE(text_.editable())) == 0) return;
    const auto compose = +[](FormatterHook* hook, const char* composed) { hook->compose(*composed != '\0'); };
    g_signal_connect_swapped(text_.editable(), "preedit-changed", G_CALLBACK(compose), this);
  }

  void connectEnds() {
    const auto end = +[](FormatterHook* hook) { hook->finish(); };
    const auto leave = +[](FormatterHook* hook) { hook->leave(); };
    g_signal_connect_swapped(text_.editable(), "notify::has-focus", G_CALLBACK(leave), this);
    if (g_signal_lookup("activate", G_OBJECT_TYPE(text_.editable())) == 0) return;
    g_signal_connect_swapped(text_.editable(), "activate", G_CALLBACK(end), this);
  }

  void connectKeysOfHistory() {
    constexpr GtkShortcutFunc back = [](GtkWidget*, GVariant*, gpointer hook) -> gboolean {
      static_cast<FormatterHook*>(hook)->undo();
      return TRUE;
    };
    constexpr GtkShortcutFunc forth = [](GtkWidget*, GVariant*, gpointer hook) -> gboolean {
      static_cast<FormatterHook*>(hook)->redo();
      return TRUE;
    };
    keys_ = gtk_shortcut_controller_new();
    gtk_event_controller_set_propagation_phase(keys_, GTK_PHASE_CAPTURE);
    const auto add = [this](const char* trigger, GtkShortcutFunc action) {
      gtk_shortcut_controller_add_shortcut(
          GTK_SHORTCUT_CONTROLLER(keys_),
          gtk_shortcut_new(gtk_shortcut_trigger_parse_string(trigger), gtk_callback_action_new(action, this, nullptr)));
    };
    add("<Control>z", back);
    add("<Control><Shift>z|<Control>y", forth);
    gtk_widget_add_controller(text_.widget(), keys_);
  }

  void connectMarks() {
    const auto mark = +[](FormatterHook* hook) { hook->markText(); };
    const auto stay = +[](FormatterHook* hook) { hook->stayBeforeSuffix(); };
    g_signal_connect_swapped(text_.editable(), "changed", G_CALLBACK(mark), this);
    g_signal_connect_swapped(text_.editable(), "notify::cursor-position", G_CALLBACK(stay), this);
    g_signal_connect_swapped(text_.editable(), "notify::selection-bound", G_CALLBACK(stay), this);
  }

  void markText() {
    if (isComposing_) return;
    FieldNotice notice;
    const FieldState state = formatted_.editing().state(text_.get(), &notice);
    mark_.show(state, std::move(notice));
  }
  /// Shows the state of the text, and a notice. Returns false if the host's code destroyed this hook meanwhile.
  [[nodiscard]] bool showMark(FieldNotice notice) {
    return !formatted_.isMarked() || formatted_.outlives([&] { mark_.show(state(), std::move(notice)); });
  }

  void stayBeforeSuffix() {
    const std::string text = text_.get();
    const Selection selection = text_.selection();
    if (isChanging_ || selection.bound != selection.cursor) return;
    const int last = charactersIn(text, formatted_.editing().lastPosition(text));
    if (selection.cursor > last) static_cast<void>(select({last, last}));
  }

  /// Makes one change of the field, which the hook's handlers of insertions and deletions ignore. Returns whether this
  /// hook and its field still exist. The host's handlers of the field's signals may destroy both.
  template <typename Change>
  [[nodiscard]] bool change(Change change) {
    const bool wasChanging = std::exchange(isChanging_, true);
    const bool exists = formatted_.outlives([&] {
      GtkEditable* const field = text_.editable();
      g_object_ref(field);
      change(field);
      g_object_unref(field);
    });
    if (!exists) return false;
    isChanging_ = wasChanging;
    return text_.isThere();
  }
  [[nodiscard]] bool select(const Selection& selection) {
    return change([&](GtkEditable* field) { gtk_editable_select_region(field, selection.bound, selection.cursor); });
  }
  [[nodiscard]] bool erase(const Deletion& deletion) {
    return change([&](GtkEditable* field) { gtk_editable_delete_text(field, deletion.start, deletion.end); });
  }
  /// Inserts a text at `*position`, and sets `*position` to the end of the inserted text.
  [[nodiscard]] bool put(std::string_view inserted, int* position) {
    return change([&](GtkEditable* field) {
      gtk_editable_insert_text(field, inserted.data(), static_cast<int>(inserted.size()), position);
    });
  }
  /// Changes only the part in which the new text differs from the present text.
  [[nodiscard]] bool setText(const std::string& text) {
    detail::EditableText::Difference difference = text_.differenceTo(text);
    if (difference.start < difference.end && !erase({difference.start, difference.end})) return false;
    return difference.inserted.empty() || put(difference.inserted, &difference.start);
  }

  [[nodiscard]] State present() const { return {text_.get(), text_.selection()}; }
  void remember() {
    lost_.reset();
    history_.begin(std::exchange(composedOver_, std::nullopt).value_or(present()));
  }

  bool go(std::optional<State> (detail::FieldHistory::*way)(State present)) {
    if (!settle() || !gtk_editable_get_editable(text_.editable())) return false;
    if (composedOver_) remember();
    const std::optional<State> state = (history_.*way)(present());
    if (!state) return false;
    static_cast<void>(setText(state->text) && select(state->selection));
    return true;
  }

  /// Replaces the whole text as a change that can be undone. If the user tried to delete a range, `deletion` must be
  /// that range. This function then erases the range first, so that no selection remains. Otherwise `deletion` must be
  /// empty. Returns whether this hook and its field still exist.
  [[nodiscard]] bool replace(const std::string& replacement, int cursor, const Deletion& deletion) {
    if (replacement != text_.get()) {
      remember();
      if (!erase(deletion) || !setText(replacement)) return false;
    }
    // An equal selection is not set again, because that would end the composition of a letter.
    return text_.selection() == Selection{cursor, cursor} || select({cursor, cursor});
  }

  void insert(std::string_view inserted, int* position) {
    if (isChanging_) return;
    const std::optional<Selection> lost = takeLostSelection();
    if (lost && !held_) held_ = Deletion{std::min(lost->bound, lost->cursor), std::max(lost->bound, lost->cursor)};
    const Parts parts =
        held_ || !composedOver_ ? partsAround(held_.value_or(Deletion{*position, *position})) : partsOf(*composedOver_);
    const std::string whole = parts.before + std::string(inserted) + parts.behind;
    Answer answer;
    answer.kind = Answer::Kind::refused;
    answer.isRefusal = true;
    if (g_utf8_validate_len(inserted.data(), inserted.size(), nullptr)) {
      answer = formatted_.editing().change({parts.before, parts.removed, inserted, parts.behind});
    }
    if (answer.kind == Answer::Kind::accepted) return take(inserted, position);
    stop("insert-text");
    held_.reset();
    const Selection selection = lost.value_or(composedOver_ ? composedOver_->selection : text_.selection());
    if (answer.kind == Answer::Kind::replaced) {
      const std::string replacement = valid(answer.text);
      *position = charactersIn(replacement, answer.cursor);
      if (!replace(replacement, *position, {0, 0})) return;
    } else {
      if (!restoreComposedOver()) return;
      // The caller of the insertion sets the cursor afterwards, which clears the selection.
      *position = selection.cursor;
      if (selection.bound != selection.cursor) lost_ = selection;
      settleSoon();
    }
    if (answer.isRefusal) static_cast<void>(formatted_.tellRefusal(valid(whole), answer.reason));
  }

  /// Performs a pending deletion and inserts the text there. Without a pending deletion, leaves the insertion to the
  /// field.
  void take(std::string_view inserted, int* position) {
    const std::optional<Deletion> deletion = held_;
    const int start = deletion ? deletion->start : *position;
    if (deletion || composedOver_ || !history_.continuesRun(start, inserted)) remember();
    history_.insert(start, inserted);
    held_.reset();
    if (!deletion) return;
    stop("insert-text");
    *position = start;
    static_cast<void>(erase(*deletion) && put(inserted, position));
  }

  void remove(int start, int end) {
    if (isChanging_ || !settle()) return;
    if (composedOver_) remember();  // A change during the composition is judged alone.
    if (end < 0) end = text_.length();
    if (start >= end) return;
    stop("delete-text");
    held_ = Deletion{start, end};
    if (const std::optional<Selection> lost = takeLostSelection()) {
      held_ = Deletion{std::min(lost->bound, lost->cursor), std::max(lost->bound, lost->cursor)};
    }
    settleSoon();
  }

  /// Notes that an input method shows a text that is still composed, or no longer shows one.
  void compose(bool isComposing) {
    const bool wasComposing = std::exchange(isComposing_, isComposing);
    if (wasComposing == isComposing) return;
    if (isComposing) {
      static_cast<void>(composeOver());
    } else {
      settleSoon();  // The composed text may still be inserted before that.
      if (formatted_.isMarked()) markText();
    }
  }

  /// Erases the selection that a beginning composition replaces. The deletion is judged with the insertion that ends
  /// the composition. The suffix is inserted again instead of spared, because that leaves the cursor before the suffix.
  [[nodiscard]] bool composeOver() {
    State state = present();
    const auto [start, end] = std::minmax(state.selection.bound, state.selection.cursor);
    if (!held_ || held_->start != start || held_->end != end) return true;
    const std::optional<Deletion> deletion = std::exchange(held_, std::nullopt);
    const std::string removed = partsAround(*deletion).removed;
    const int last = charactersIn(state.text, formatted_.editing().lastPosition(state.text));
    const std::string suffix = text_.part(state.text, std::clamp(last, deletion->start, deletion->end), deletion->end);
    composedOver_ = std::move(state);
    int position = deletion->start;
    return erase(*deletion) && (suffix.empty() || put(suffix, &position));
  }

  /// Restores the text that a refused composition would have replaced. Returns whether this hook and its field still
  /// exist.
  [[nodiscard]] bool restoreComposedOver() {
    const std::optional<State> state = std::exchange(composedOver_, std::nullopt);
    return !state || setText(state->text);
  }

  /// Judges the deletion of the selection that a composition without a result has replaced. Returns whether this hook
  /// and its field still exist.
  [[nodiscard]] bool settleComposition() {
    if (!composedOver_ || isComposing_) return true;
    const State state = *composedOver_;
    const Parts parts = partsOf(state);
    const Answer answer = formatted_.editing().change({parts.before, parts.removed, {}, parts.behind});
    if (answer.kind == Answer::Kind::refused) {
      const int cursor = state.selection.cursor;
      if (!restoreComposedOver() || !select({cursor, cursor})) return false;
      if (state.selection.bound != cursor) lost_ = state.selection;
      restoreSoon();
    } else if (answer.kind == Answer::Kind::replaced && valid(answer.text) != text_.get()) {
      const std::string replacement = valid(answer.text);
      if (!replace(replacement, charactersIn(replacement, answer.cursor), {0, 0})) return false;
    } else {
      remember();
    }
    return !answer.isRefusal || formatted_.tellRefusal(parts.before + parts.behind, answer.reason);
  }

  void settleSoon() {
    if (settling_ != 0) return;
    constexpr GSourceFunc turn = [](gpointer data) -> gboolean {
      auto* hook = static_cast<FormatterHook*>(data);
      hook->settling_ = 0;
      if (!hook->settle()) return G_SOURCE_REMOVE;
      hook->restoreSoon();
      if (std::exchange(hook->isLeft_, false)) hook->leave();
      return G_SOURCE_REMOVE;
    };
    settling_ = g_idle_add_full(G_PRIORITY_HIGH, turn, this, nullptr);
  }

  /// Restores the selection that a refused insertion would have replaced. The restoration waits until the loop is idle.
  /// By then the display has reported that the primary selection has no owner, and on that report the field has cleared
  /// its selection.
  void restoreSoon() {
    if (!lost_ || !text_.isThere() || restoring_ != 0) return;
    gdk_display_sync(gtk_widget_get_display(text_.widget()));
    constexpr GSourceFunc turn = [](gpointer data) -> gboolean {
      auto* hook = static_cast<FormatterHook*>(data);
      hook->restoring_ = 0;
      if (const std::optional<Selection> lost = hook->takeLostSelection()) static_cast<void>(hook->select(*lost));
      return G_SOURCE_REMOVE;
    };
    restoring_ = g_idle_add_full(G_PRIORITY_LOW, turn, this, nullptr);
  }

  /// Returns and forgets the selection that a refused insertion would have replaced. Absent if no insertion was
  /// refused, if the cursor has moved since the refusal, or if text is selected now.
  std::optional<Selection> takeLostSelection() {
    const std::optional<Selection> lost = std::exchange(lost_, std::nullopt);
    if (!lost || !text_.isThere() || text_.selection() != Selection{lost->cursor, lost->cursor}) return std::nullopt;
    return lost;
  }

  /// Asks `FieldEditing` whether the pending deletion is allowed. Then performs the deletion, replaces the text, or
  /// changes nothing. Returns whether this hook and its field still exist.
  [[nodiscard]] bool settle() {
    const auto deletion = std::exchange(held_, std::nullopt);
    if (!text_.isThere() || !settleComposition()) return false;
    if (!deletion) return text_.isThere();
    const Parts parts = partsAround(*deletion);
    const Answer answer = formatted_.editing().change({parts.before, parts.removed, {}, parts.behind});
    if (answer.kind == Answer::Kind::accepted) {
      remember();
      return erase(*deletion);
    }
    if (answer.kind == Answer::Kind::replaced) {
      const std::string replacement = valid(answer.text);
      if (!replace(replacement, charactersIn(replacement, answer.cursor), *deletion)) return false;
    }
    if (answer.isRefusal && !formatted_.tellRefusal(parts.before + parts.behind, answer.reason)) return false;
    return text_.isThere();
  }

  /// Ends editing if the focus has left the field, unless editing has already ended with this text. Does nothing during
  /// a change by the hook itself, because the text may then be one that the user has not typed.
  void leave() {
    if (isChanging_ || !text_.isThere() || gtk_widget_has_focus(text_.widget())) return;
    isLeft_ = isComposing_;
    if (isComposing_) return;
    if (settle() && !formatted_.hasEndedWith(text_.get())) finish();
  }

  void finish() {
    if (isComposing_ || !settle()) return;
    history_.endRun();
    const std::string text = text_.get();
    const std::size_t cursor = text_.part(text, 0, text_.selection().cursor).size();
    const FieldEditing::End end = formatted_.end(text, cursor);
    const std::string shown = valid(end.text);
    if (shown != text && !replace(shown, charactersIn(shown, end.cursor), {0, 0})) return;
    if (end.hasEnded && !end.notice.isNone() && !showMark(end.notice)) return;
    formatted_.tell(text, end);
  }

  [[nodiscard]] Parts partsAround(const Deletion& deletion) const { return partsAround(text_.get(), deletion); }
  [[nodiscard]] Parts partsOf(const State& state) const {
    const auto [start, end] = std::minmax(state.selection.bound, state.selection.cursor);
    return partsAround(state.text, {start, end});
  }
  [[nodiscard]] Parts partsAround(const std::string& text, const Deletion& deletion) const {
    return {text_.part(text, 0, deletion.start), text_.part(text, deletion.start, deletion.end),
            text_.part(text, deletion.end, -1)};
  }
  static int charactersIn(std::string_view text, std::size_t bytes) {
    return static_cast<int>(g_utf8_strlen(text.data(), static_cast<gssize>(bytes)));
  }

  void stop(const char* signal) { g_signal_stop_emission_by_name(text_.editable(), signal); }

  static std::string valid(const std::string& text) { return detail::EditableText::valid(text); }

  detail::EditableText text_;
  detail::FieldMark mark_;
  detail::FormattedField formatted_;
  const gboolean hadUndo_;
  GtkEventController* keys_ = nullptr;
  detail::FieldHistory history_;
  /// The deletion that waits, because an insertion that replaces the deleted text may follow.
  std::optional<Deletion> held_;
  /// The selection that a refused insertion would have replaced.
  std::optional<Selection> lost_;
  /// The state before an input method began to compose over the selection, until the change is judged.
  std::optional<State> composedOver_;
  bool isComposing_ = false;
  /// Whether the focus has left the field during a composition, which must end first.
  bool isLeft_ = false;
  guint settling_ = 0;
  guint restoring_ = 0;
  bool isChanging_ = false;
};

}  // namespace Tessaly::inline v1::Gtk4
