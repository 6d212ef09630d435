// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <string>
#include <utility>

namespace Tessaly::Tests {

/// An input method of the test: the toolkit's own for dead keys, which also composes what the test says. It composes
/// for the field that has the focus. GTK finds it by its name in the variable GTK_IM_MODULE.
class InputMethod {
 public:
  static constexpr const char* name = "tessaly-test";

  /// Makes the input method known. Call it after `gtk_init`.
  static void install() {
    static const GType type =
        g_type_register_static_simple(GTK_TYPE_IM_CONTEXT_SIMPLE, "TessalyInputMethod", sizeof(GtkIMContextSimpleClass),
                                      fillClass, sizeof(GtkIMContextSimple), nullptr, GTypeFlags{});
    g_io_extension_point_implement("gtk-im-module", type, name, 0);
  }
  /// Whether it commits the composed text when the focus leaves. Otherwise it discards the text.
  static inline bool commitsWhenLeft = false;
  /// Whether a field with the focus uses it.
  static bool isActive() { return focused != nullptr; }

  /// Shows a text that is still composed. An empty text ends the composition.
  static void compose(const std::string& text) {
    const std::string former = std::exchange(composed, text);
    if (former.empty() && !text.empty()) g_signal_emit_by_name(focused, "preedit-start");
    g_signal_emit_by_name(focused, "preedit-changed");
    if (!former.empty() && text.empty()) g_signal_emit_by_name(focused, "preedit-end");
  }
  static void commit(const std::string& text) { g_signal_emit_by_name(focused, "commit", text.c_str()); }
  /// Commits a text in the field that the focus has left last, as the answer of another process does.
  static void commitLate(const std::string& text) { g_signal_emit_by_name(left, "commit", text.c_str()); }
  /// Deletes characters before the cursor. Returns whether the field did it.
  static bool deleteBefore(int count) {
    gboolean isDone = FALSE;
    g_signal_emit_by_name(focused, "delete-surrounding", -count, count, &isDone);
    return isDone != FALSE;
  }

 private:
  static void fillClass(gpointer kind, gpointer /*data*/) {
    auto* methods = static_cast<GtkIMContextClass*>(kind);
    parent = static_cast<GtkIMContextClass*>(g_type_class_peek_parent(kind));
    methods->focus_in = [](GtkIMContext* context) { focused = context; };
    methods->focus_out = [](GtkIMContext* context) {
      if (focused != context) return;
      const std::string composing = composed;
      if (!composing.empty()) compose({});
      if (!composing.empty() && commitsWhenLeft) commit(composing);
      left = std::exchange(focused, nullptr);
    };
    methods->reset = [](GtkIMContext* context) {
      if (!composed.empty()) compose({});
      parent->reset(context);
    };
    methods->get_preedit_string = [](GtkIMContext* context, char** text, PangoAttrList** attributes, int* cursor) {
      if (composed.empty()) return parent->get_preedit_string(context, text, attributes, cursor);
      if (text != nullptr) *text = g_strdup(composed.c_str());
      if (attributes != nullptr) *attributes = pango_attr_list_new();
      if (cursor != nullptr) *cursor = static_cast<int>(g_utf8_strlen(composed.c_str(), -1));
    };
  }

  static inline GtkIMContextClass* parent = nullptr;
  static inline GtkIMContext* focused = nullptr;
  static inline GtkIMContext* left = nullptr;
  static inline std::string composed;
};

}  // namespace Tessaly::Tests
