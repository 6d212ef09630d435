// SPDX-License-Identifier: MIT
// Component: Tessaly::GtkAdapter
#pragma once

#include <gtk/gtk.h>

#include <algorithm>
#include <any>
#include <concepts>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Tessaly/Adapters/Gtk/detail/EditableText.hpp"
#include "Tessaly/Adapters/detail/FormattedField.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"

/// The adapters for GTK 4. The name is not Gtk, because gtkmm uses that.
namespace Tessaly::inline v1::Gtk4 {

/// Connects a `GtkEditable` (an entry, a text, a spin button) to a `Formatter`, which checks the input, and shows the
/// text of an object.
///
/// The hook asks `isPartialStringValid` at every change: typing, pasting, dropping, cutting, committing composed input,
/// and changes by the program. A refused change leaves the field unchanged, cursor and selection included. A
/// replacement takes the place of the whole text. When editing ends (Return, or the focus leaves), the hook asks
/// `getObjectValue`, and the field shows `string` of that object. Some formatters, such as `Formatters::RangeNumber`,
/// also have `numberFromAnyString`. If `getObjectValue` fails, the hook asks that function, so the user need not type
/// affixes. GTK has no counterpart. Its idiom is a handler of "insert-text", which treats typing over a selection as
/// two changes. Text that is not UTF-8 is refused.
///
/// The field's own undo history cannot record replacements, so it is off. The hook keeps a history for Control+Z,
/// Control+Shift+Z and Control+Y. A run of typed letters is one step. A replacement belongs to the change that caused
/// it.
///
/// A deletion by the keyboard takes place at once. Any other deletion waits for the next turn of the main loop, before
/// drawing, because an insertion may belong to it. The text at the construction of the hook is not checked. The hook
/// may end before or after its field.
///
/// These stop the process: a null formatter or field, and an exception from a formatter or handler.
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
  FormatterHook(std::shared_ptr<Kind> formatter, GtkEditable* field)
      : text_(detail::EditableText::innermost(field, file)), formatted_(std::move(formatter), file) {
    gtk_editable_set_enable_undo(text_.editable(), FALSE);
    connectChanges();
    connectDeletionsByKeys();
    connectEnds();
    connectKeysOfHistory();
  }
  FormatterHook(const FormatterHook&) = delete;
  FormatterHook& operator=(const FormatterHook&) = delete;
  ~FormatterHook() {
    if (settling_ != 0) g_source_remove(settling_);
    if (restoring_ != 0) g_source_remove(restoring_);
    if (!text_.isThere()) return;
    g_signal_handlers_disconnect_by_data(text_.editable(), this);
    gtk_widget_remove_controller(text_.widget(), keys_);
    gtk_editable_set_enable_undo(text_.editable(), TRUE);
  }

  /// The last result of editing, or the object that was set since. Empty before both.
  [[nodiscard]] const std::any& objectValue() const noexcept { return formatted_.object(); }
  /// Shows an object, and clears the undo history. Returns false and does nothing if the formatter does not support the
  /// object, or the field is gone.
  bool setObjectValue(std::any object) {
    const std::optional<std::string> text = formatted_.write(object);
    if (!text || !text_.isThere()) return false;
    formatted_.setObject(std::move(object));
    held_.reset();
    lost_.reset();
    undone_.clear();
    done_.clear();
    run_ = -1;
    change([&] { text_.set(*text); });
    return true;
  }

  /// Called whenever editing ends with a valid text, after the field shows the object.
  void onEditingEnd(EndHandler handler) { formatted_.onEnd(std::move(handler)); }
  /// Called with every refused text and the description of the formatter, if any. This includes the end of editing. A
  /// replacement is in the field by then.
  void onRefusal(RefusalHandler handler) { formatted_.onRefusal(std::move(handler)); }

  /// Undoes the last change or the last run of typed letters. Returns false if there is none.
  bool undo() { return goBack(done_, undone_); }
  /// Repeats the last undone change. Returns false if there is none, or after another change.
  bool redo() { return goBack(undone_, done_); }

 private:
  using Selection = detail::EditableText::Selection;
  struct State {
    std::string text;
    Selection selection;
  };
  struct Deletion {
    int start;
    int end;
  };

  static constexpr std::string_view file = "Tessaly/FormatterHook";
  static constexpr std::size_t mostStates = 200;

  // GtkText reports its changes in these forms.
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

  void connectDeletionsByKeys() {
    const auto begin = +[](FormatterHook* hook) { ++hook->deletionsByKeys_; };
    const auto end = +[](FormatterHook* hook) {
      --hook->deletionsByKeys_;
      hook->settle();
    };
    for (const char* signal : {"backspace", "delete-from-cursor", "cut-clipboard"}) {
      if (g_signal_lookup(signal, G_OBJECT_TYPE(text_.editable())) == 0) continue;
      g_signal_connect_swapped(text_.editable(), signal, G_CALLBACK(begin), this);
      g_signal_connect_data(text_.editable(), signal, G_CALLBACK(end), this, nullptr,
                            static_cast<GConnectFlags>(G_CONNECT_AFTER | G_CONNECT_SWAPPED));
    }
  }

  void connectEnds() {
    const auto end = +[](FormatterHook* hook) { hook->finish(); };
    const auto leave = +[](FormatterHook* hook) {
      if (hook->text_.isThere() && !gtk_widget_has_focus(hook->text_.widget())) hook->finish();
    };
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

  /// Changes the field without a check.
  template <typename Change>
  void change(Change change) {
    const bool wasChanging = std::exchange(isChanging_, true);
    change();
    isChanging_ = wasChanging;
  }

  void remember() {
    undone_.clear();
    lost_.reset();
    if (done_.size() == mostStates) done_.erase(done_.begin());
    done_.push_back({text_.get(), text_.selection()});
  }

  bool goBack(std::vector<State>& from, std::vector<State>& to) {
    settle();
    if (from.empty() || !text_.isThere() || !gtk_editable_get_editable(text_.editable())) return false;
    State state = std::move(from.back());
    from.pop_back();
    to.push_back({text_.get(), text_.selection()});
    run_ = -1;
    change([&] {
      text_.set(state.text);
      text_.select(state.selection);
    });
    return true;
  }

  /// Puts the replacement of a refused text into the field, and returns the position of the cursor.
  int replace(std::string_view before, std::string_view behind, const std::string& replacement) {
    const std::size_t offset = formatted_.cursorIn(replacement, before, behind);
    const int cursor = static_cast<int>(g_utf8_strlen(replacement.data(), static_cast<gssize>(offset)));
    if (replacement != text_.get()) {
      remember();
      run_ = -1;
      change([&] { text_.set(replacement); });
    }
    change([&] { text_.select({cursor, cursor}); });
    return cursor;
  }

  void insert(std::string_view inserted, int* position) {
    if (isChanging_) return;
    const std::optional<Selection> lost = takeLostSelection();
    if (lost && !held_) held_ = Deletion{std::min(lost->bound, lost->cursor), std::max(lost->bound, lost->cursor)};
    const std::string text = text_.get();
    const int start = held_ ? held_->start : *position;
    const std::string before = text_.part(text, 0, start);
    const std::string behind = text_.part(text, held_ ? held_->end : *position, -1);
    const bool isReplacing = held_.has_value();
    const std::string whole = before + std::string(inserted) + behind;
    detail::FormattedField::Judgement judgement;
    if (g_utf8_validate_len(inserted.data(), inserted.size(), nullptr)) judgement = formatted_.judge(whole);

    if (judgement.isAccepted) {
      const auto length = static_cast<int>(g_utf8_strlen(inserted.data(), static_cast<gssize>(inserted.size())));
      const bool continuesRun =
          !isReplacing && length == 1 && run_ == start && !g_unichar_isspace(g_utf8_get_char(inserted.data()));
      if (!continuesRun) remember();
      run_ = length == 1 ? start + 1 : -1;
      if (!isReplacing) return;  // The field does the rest.
      stop("insert-text");
      const Deletion deletion = *std::exchange(held_, std::nullopt);
      change([&] {
        gtk_editable_delete_text(text_.editable(), deletion.start, deletion.end);
        *position = start;
        gtk_editable_insert_text(text_.editable(), inserted.data(), static_cast<int>(inserted.size()), position);
      });
      return;
    }
    stop("insert-text");
    held_.reset();
    const Selection selection = lost.value_or(text_.selection());
    if (judgement.replacement) {
      *position = replace(before + std::string(inserted), behind, valid(*judgement.replacement));
    } else {
      // The caller of the insertion sets the cursor afterwards, which clears the selection.
      *position = selection.cursor;
      if (selection.bound != selection.cursor) lost_ = selection;
      settleSoon();
    }
    formatted_.tellRefusal(g_utf8_validate_len(whole.data(), whole.size(), nullptr) ? whole : valid(whole),
                           judgement.reason);
  }

  void remove(int start, int end) {
    if (isChanging_) return;
    settle();
    if (end < 0) end = text_.length();
    if (start >= end) return;
    stop("delete-text");
    held_ = Deletion{start, end};
    if (const std::optional<Selection> lost = takeLostSelection()) {
      held_ = Deletion{std::min(lost->bound, lost->cursor), std::max(lost->bound, lost->cursor)};
    }
    if (deletionsByKeys_ == 0) settleSoon();
  }

  void settleSoon() {
    if (settling_ != 0) return;
    constexpr GSourceFunc turn = [](gpointer data) -> gboolean {
      auto* hook = static_cast<FormatterHook*>(data);
      hook->settling_ = 0;
      hook->settle();
      hook->restoreSoon();
      return G_SOURCE_REMOVE;
    };
    settling_ = g_idle_add_full(G_PRIORITY_HIGH, turn, this, nullptr);
  }

  /// Restores the selection that a refused insertion would have replaced. The display first reports that the selected
  /// text has no owner. On that report the field would clear a newer selection.
  void restoreSoon() {
    if (!lost_ || !text_.isThere() || restoring_ != 0) return;
    gdk_display_sync(gtk_widget_get_display(text_.widget()));
    constexpr GSourceFunc turn = [](gpointer data) -> gboolean {
      auto* hook = static_cast<FormatterHook*>(data);
      hook->restoring_ = 0;
      if (const std::optional<Selection> lost = hook->takeLostSelection()) {
        hook->change([&] { hook->text_.select(*lost); });
      }
      return G_SOURCE_REMOVE;
    };
    restoring_ = g_idle_add_full(G_PRIORITY_LOW, turn, this, nullptr);
  }

  /// The selection as the user sees it, if nothing happened since an insertion was refused.
  std::optional<Selection> takeLostSelection() {
    const std::optional<Selection> lost = std::exchange(lost_, std::nullopt);
    if (!lost || !text_.isThere() || text_.selection() != Selection{lost->cursor, lost->cursor}) return std::nullopt;
    return lost;
  }

  /// Judges a deletion that waited for an insertion.
  void settle() {
    if (!text_.isThere()) return;
    const auto deletion = std::exchange(held_, std::nullopt);
    if (!deletion) return;
    const std::string text = text_.get();
    const std::string before = text_.part(text, 0, deletion->start);
    const std::string behind = text_.part(text, deletion->end, -1);
    const detail::FormattedField::Judgement judgement = formatted_.judge(before + behind);
    if (judgement.isAccepted) {
      remember();
      run_ = -1;
      change([&] { gtk_editable_delete_text(text_.editable(), deletion->start, deletion->end); });
      return;
    }
    if (judgement.replacement) replace(before, behind, valid(*judgement.replacement));
    formatted_.tellRefusal(before + behind, judgement.reason);
  }

  void finish() {
    settle();
    run_ = -1;
    if (!text_.isThere()) return;
    const std::string text = text_.get();
    const Selection selection = text_.selection();
    const std::string before = text_.part(text, 0, selection.cursor);
    const std::string behind = text_.part(text, selection.cursor, -1);
    detail::FormattedField::Judgement judgement = formatted_.judge(text);
    if (!judgement.isAccepted && judgement.replacement) {
      replace(before, behind, valid(*judgement.replacement));
      formatted_.tellRefusal(text, judgement.reason);
    } else if (!judgement.isAccepted) {
      return formatted_.tellRefusal(text, judgement.reason);
    }
    std::any object = formatted_.read(text_.get(), &judgement.reason);
    if (!object.has_value()) return formatted_.tellRefusal(text_.get(), judgement.reason);
    if (const std::optional<std::string> shown = formatted_.write(object)) {
      if (valid(*shown) != text_.get()) replace(before, behind, valid(*shown));
    }
    formatted_.setObject(std::move(object));
    formatted_.tellEnd();
  }

  void stop(const char* signal) { g_signal_stop_emission_by_name(text_.editable(), signal); }

  static std::string valid(const std::string& text) { return detail::EditableText::valid(text); }

  detail::EditableText text_;
  detail::FormattedField formatted_;
  GtkEventController* keys_ = nullptr;
  std::vector<State> done_;
  std::vector<State> undone_;
  /// The pending deletion, unless an insertion that belongs to it comes first.
  std::optional<Deletion> held_;
  /// The selection that a refused insertion would have replaced.
  std::optional<Selection> lost_;
  /// The position where the next letter continues a run of typed letters. Negative without a run.
  int run_ = -1;
  int deletionsByKeys_ = 0;
  guint settling_ = 0;
  guint restoring_ = 0;
  bool isChanging_ = false;
};

}  // namespace Tessaly::inline v1::Gtk4
