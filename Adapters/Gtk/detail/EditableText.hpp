// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <string>
#include <string_view>
#include <utility>

#include "Tessaly/Adapters/Gtk/detail/TextPositions.hpp"
#include "Tessaly/Adapters/detail/Existence.hpp"
#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {

/// The text of a `GtkEditable`. The widget may be destroyed before this object.
///
/// The functions that change the text or the selection return whether this object and the widget still exist. The
/// host's handlers of the widget's signals may destroy both.
class EditableText {
 public:
  explicit EditableText(GtkEditable* editable) : editable_(editable) {
    g_object_add_weak_pointer(G_OBJECT(editable_), reinterpret_cast<gpointer*>(&editable_));
  }
  EditableText(const EditableText&) = delete;
  EditableText& operator=(const EditableText&) = delete;
  ~EditableText() {
    if (isThere()) g_object_remove_weak_pointer(G_OBJECT(editable_), reinterpret_cast<gpointer*>(&editable_));
  }

  /// The widget that emits the signals of the text: the innermost part of a compound widget, or else `field` itself. A
  /// null `field` and a spin button stop the process, with a report that names `file`.
  static GtkEditable* innermost(GtkEditable* field, std::string_view file) {
    if (field == nullptr) fatalError("A hook of a field needs a field", file, __LINE__);
    if (gtk_widget_get_ancestor(GTK_WIDGET(field), GTK_TYPE_SPIN_BUTTON) != nullptr) {
      fatalError("A GtkSpinButton writes its own text; bind its value by bind(GtkSpinButton*, ...), or use a GtkEntry",
                 file, __LINE__);
    }
    while (GtkEditable* delegate = gtk_editable_get_delegate(field)) field = delegate;
    return field;
  }

  [[nodiscard]] bool isThere() const noexcept { return editable_ != nullptr; }
  [[nodiscard]] GtkEditable* editable() const noexcept { return editable_; }
  [[nodiscard]] GtkWidget* widget() const noexcept { return GTK_WIDGET(editable_); }

  [[nodiscard]] std::string get() const { return gtk_editable_get_text(editable_); }
  [[nodiscard]] int length() const { return static_cast<int>(g_utf8_strlen(gtk_editable_get_text(editable_), -1)); }
  [[nodiscard]] TextSelection selection() const {
    int start = 0;
    int end = 0;
    const int cursor = gtk_editable_get_position(editable_);
    if (!gtk_editable_get_selection_bounds(editable_, &start, &end)) return {cursor, cursor};
    return {cursor == start ? end : start, cursor};
  }
  [[nodiscard]] SelectedText present() const { return {get(), selection()}; }

  /// Whether a change by one of the functions below takes place. If true, a signal of the widget does not report a
  /// change by the user.
  [[nodiscard]] bool isChanging() const noexcept { return isChanging_; }
  [[nodiscard]] bool select(const TextSelection& selection) {
    return change([&](GtkEditable* field) { gtk_editable_select_region(field, selection.bound, selection.cursor); });
  }
  [[nodiscard]] bool erase(const TextRange& range) {
    return change([&](GtkEditable* field) { gtk_editable_delete_text(field, range.start, range.end); });
  }
  /// Inserts a text at `*position`, and sets `*position` to the end of the inserted text.
  [[nodiscard]] bool insert(std::string_view inserted, int* position) {
    return change([&](GtkEditable* field) {
      gtk_editable_insert_text(field, inserted.data(), static_cast<int>(inserted.size()), position);
    });
  }
  /// Changes only the part in which the new text differs from the present text.
  [[nodiscard]] bool set(const std::string& text) {
    TextDifference difference = differenceBetween(get(), text);
    if (difference.range.start < difference.range.end && !erase(difference.range)) return false;
    return difference.inserted.empty() || insert(difference.inserted, &difference.range.start);
  }

 private:
  template <typename Change>
  [[nodiscard]] bool change(Change change) {
    const bool wasChanging = std::exchange(isChanging_, true);
    const bool exists = existence_.outlives([&] {
      GtkEditable* const field = editable_;
      g_object_ref(field);
      change(field);
      g_object_unref(field);
    });
    if (!exists) return false;
    isChanging_ = wasChanging;
    return isThere();
  }

  GtkEditable* editable_;
  bool isChanging_ = false;
  Existence existence_;
};

}  // namespace Tessaly::inline v1::detail
