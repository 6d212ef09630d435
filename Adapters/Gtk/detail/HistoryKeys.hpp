// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include "Tessaly/Adapters/Gtk/detail/EditableText.hpp"
#include "Tessaly/Adapters/Gtk/detail/SuspendedUndo.hpp"

namespace Tessaly::inline v1::detail {

/// The keys that call `undo` and `redo` of `Owner`: Control+Z, Control+Shift+Z and Control+Y. While this object exists,
/// the field's own undo history is off.
template <typename Owner>
class HistoryKeys {
 public:
  HistoryKeys(const EditableText& text, Owner& owner)
      : text_(text), suspendedUndo_(text.editable()), keys_(gtk_shortcut_controller_new()) {
    gtk_event_controller_set_propagation_phase(keys_, GTK_PHASE_CAPTURE);
    add<&Owner::undo>("<Control>z", owner);
    add<&Owner::redo>("<Control><Shift>z|<Control>y", owner);
    gtk_widget_add_controller(text_.widget(), keys_);
  }
  HistoryKeys(const HistoryKeys&) = delete;
  HistoryKeys& operator=(const HistoryKeys&) = delete;
  ~HistoryKeys() {
    if (text_.isThere()) gtk_widget_remove_controller(text_.widget(), keys_);
  }

 private:
  template <auto action>
  void add(const char* trigger, Owner& owner) {
    constexpr GtkShortcutFunc call = [](GtkWidget*, GVariant*, gpointer data) -> gboolean {
      static_cast<void>((static_cast<Owner*>(data)->*action)());
      return TRUE;
    };
    gtk_shortcut_controller_add_shortcut(
        GTK_SHORTCUT_CONTROLLER(keys_),
        gtk_shortcut_new(gtk_shortcut_trigger_parse_string(trigger), gtk_callback_action_new(call, &owner, nullptr)));
  }

  const EditableText& text_;
  SuspendedUndo suspendedUndo_;
  GtkEventController* const keys_;
};

}  // namespace Tessaly::inline v1::detail
