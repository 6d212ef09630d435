// SPDX-License-Identifier: MIT
// Component: Tessaly::GtkAdapter
#pragma once

#include <gtk/gtk.h>

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
#include "Tessaly/Adapters/Gtk/detail/FieldConnections.hpp"
#include "Tessaly/Adapters/Gtk/detail/FieldMark.hpp"
#include "Tessaly/Adapters/Gtk/detail/JudgedChanges.hpp"
#include "Tessaly/Adapters/Gtk/detail/TextPositions.hpp"
#include "Tessaly/Adapters/detail/FormattedField.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Formatters/FieldEditing.hpp"
#include "Tessaly/Core/Formatters/Formatter.hpp"

/// The adapters for GTK 4. The name is not Gtk, because gtkmm uses that name.
namespace Tessaly::inline v1::Gtk4 {

/// A hook that connects a `GtkEditable` (an entry, a `GtkText`) to a `Formatter`. The field shows the text of an
/// object. A `GtkSpinButton` writes its own text, so it cannot have a hook. Bind its value with `bind(GtkSpinButton*,
/// ...)` of Tessaly/Adapters/Gtk/SettingBinding.hpp, or use a `GtkEntry`.
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
/// change is judged when the text is committed. Editing does not end during a composition. Some input methods commit
/// only after the focus has left, and after editing has ended. The committed text then replaces the selection of the
/// composition, and editing ends a second time.
///
/// A deletion by a key or by cutting takes place at once. Any other deletion waits for the next turn of the main loop,
/// because an insertion may belong to the deletion. The deletion then takes place before drawing. The text at the
/// construction of the hook is not checked. The hook may be destroyed before or after its field, also inside a handler
/// of the hook or of a signal of the field. If the text has not changed since the last end of editing, leaving the
/// field does not end editing a second time. So a handler may open a dialog.
///
/// These stop the process: a null formatter or field, a spin button as the field, and an exception from the formatter,
/// the rule, the explanation or a handler.
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
        formatted_(std::move(formatter), checking) {
    connections_.connect<&FormatterHook::compose>("preedit-changed");
    connections_.connect<&FormatterHook::leave>("notify::has-focus");
    connections_.connect<&FormatterHook::finish>("activate");
    if (!formatted_.isMarked()) return;
    connections_.connect<&FormatterHook::markText>("changed");
    connections_.connect<&FormatterHook::stayBeforeSuffix>("notify::cursor-position");
    connections_.connect<&FormatterHook::stayBeforeSuffix>("notify::selection-bound");
  }
  FormatterHook(const FormatterHook&) = delete;
  FormatterHook& operator=(const FormatterHook&) = delete;

  /// The object from the last successful end of editing or from the last successful `setObjectValue`, whichever is
  /// later. Empty if neither has happened yet. With a `NumberFormatter`, the object is always an `NSNumber`.
  [[nodiscard]] const std::any& objectValue() const noexcept TESSALY_LIFETIMEBOUND {
    return formatted_.editing().object();
  }
  /// Shows an object, and clears the undo history. Returns false and does nothing if the formatter does not support the
  /// object, a number is beyond the range, or the rule (see `setRule`) forbids the object. The same holds if the field
  /// is gone. With a `NumberFormatter`, a number of any standard type becomes an `NSNumber`.
  bool setObjectValue(std::any object) {
    if (!text_.isThere()) return false;
    const std::optional<std::string> text = formatted_.show(std::move(object));
    if (!text) return false;
    if (changes_.restart(*text)) static_cast<void>(showMark({}));
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

  /// Ends editing from the program, as Return does. Call this before the program uses the value of the field without a
  /// change of the focus: in an action with an accelerator, a default button, or a handler that saves. Returns true if
  /// the field accepts the text, and `objectValue()` is then its object. Returns true for an unchanged or corrected
  /// text too.
  ///
  /// Returns false if the field keeps a malformed or forbidden text, if an input method still composes, if the field is
  /// gone, or if a handler has destroyed this hook. In a handler of this hook, the call only returns whether the field
  /// has accepted its text. The field does not emit "activate".
  bool endEditing() {
    if (!text_.isThere() || text_.isChanging()) return false;
    return formatted_.isTelling() ? !isEdited() : finish();
  }

  /// Undoes the last change or the last run of typed characters. Returns false if there is nothing to undo, or if the
  /// field is gone or not editable.
  bool undo() { return changes_.undo(); }
  /// Repeats the last undone change. Returns false if there is no undone change, if another change followed the undo,
  /// or if the field is gone or not editable.
  bool redo() { return changes_.redo(); }

 private:
  friend detail::FormattedFieldOf;

  static constexpr std::string_view file = "Tessaly/FormatterHook";

  void markText() {
    if (changes_.isComposing()) return;
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
    const detail::TextSelection selection = text_.selection();
    if (text_.isChanging() || !selection.isEmpty()) return;
    const int last = detail::charactersIn(text, formatted_.editing().lastPosition(text));
    if (selection.cursor > last) static_cast<void>(text_.select({last, last}));
  }

  void compose(const char* composed) {
    if (changes_.compose(*composed != '\0') && formatted_.isMarked()) markText();
  }

  /// Ends editing if the focus has left the field, unless editing has already ended with this text. Does nothing during
  /// a change by the hook itself, because the text may then be one that the user has not typed.
  void leave() {
    if (text_.isChanging() || !text_.isThere()) return;
    if (gtk_widget_has_focus(text_.widget())) return changes_.stay();
    if (changes_.leaveComposition()) return;
    if (changes_.settle() && !formatted_.hasEndedWith(text_.get())) finish();
  }

  /// Returns whether the field has accepted the text, and this hook still exists.
  bool finish() {
    if (!changes_.complete()) return false;
    const std::string text = text_.get();
    const std::size_t cursor = detail::partOf(text, 0, text_.selection().cursor).size();
    const FieldEditing::End end = formatted_.end(text, cursor);
    const detail::SelectedText shown = detail::withCursor(end.text, end.cursor);
    if (shown.text != text && !changes_.replace(shown)) return false;
    if (end.hasEnded && !end.notice.isNone() && !showMark(end.notice)) return false;
    return formatted_.tell(text, end) && end.hasEnded;
  }

  detail::EditableText text_;
  detail::FieldMark mark_;
  detail::FormattedField formatted_;
  detail::JudgedChanges changes_{text_, formatted_, [this] { leave(); }};
  detail::FieldConnections<FormatterHook> connections_{text_, *this};
};

}  // namespace Tessaly::inline v1::Gtk4
