// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <cstddef>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/FatalError.hpp"

namespace Tessaly::inline v1::detail {

/// The text of a `GtkEditable`. The widget may be destroyed before this object. Positions count characters.
class EditableText {
 public:
  /// The selection, from its fixed end to the cursor. Without a selection, both positions are equal.
  struct Selection {
    int bound = 0;
    int cursor = 0;
    friend bool operator==(const Selection&, const Selection&) noexcept = default;
  };

  explicit EditableText(GtkEditable* editable) : editable_(editable) {
    g_object_add_weak_pointer(G_OBJECT(editable_), reinterpret_cast<gpointer*>(&editable_));
  }
  EditableText(const EditableText&) = delete;
  EditableText& operator=(const EditableText&) = delete;
  ~EditableText() {
    if (isThere()) g_object_remove_weak_pointer(G_OBJECT(editable_), reinterpret_cast<gpointer*>(&editable_));
  }

  /// The widget that emits the signals of the text: the innermost part of a compound widget, or else `field` itself. A
  /// null `field` stops the process, with a report that names `file`.
  static GtkEditable* innermost(GtkEditable* field, std::string_view file) {
    if (field == nullptr) fatalError("A hook of a field needs a field", file, __LINE__);
    while (GtkEditable* delegate = gtk_editable_get_delegate(field)) field = delegate;
    return field;
  }

  /// The text up to its first zero byte. U+FFFD replaces bytes that are not UTF-8.
  static std::string valid(const std::string& text) {
    char* mended = g_utf8_make_valid(text.c_str(), -1);
    std::string result(mended);
    g_free(mended);
    return result;
  }

  /// The part from one position to another. A negative `end` means the end of the text.
  static std::string part(const std::string& text, int start, int end) {
    const char* first = g_utf8_offset_to_pointer(text.c_str(), start);
    if (end < 0) return first;
    return std::string(first, static_cast<std::size_t>(g_utf8_offset_to_pointer(first, end - start) - first));
  }

  [[nodiscard]] bool isThere() const noexcept { return editable_ != nullptr; }
  [[nodiscard]] GtkEditable* editable() const noexcept { return editable_; }
  [[nodiscard]] GtkWidget* widget() const noexcept { return GTK_WIDGET(editable_); }

  [[nodiscard]] std::string get() const { return gtk_editable_get_text(editable_); }
  [[nodiscard]] int length() const { return static_cast<int>(g_utf8_strlen(gtk_editable_get_text(editable_), -1)); }

  /// The difference between the present text and another text. If `inserted` replaces the characters from `start` to
  /// `end` of the present text, the result is the other text.
  struct Difference {
    int start;
    int end;
    std::string inserted;
  };
  [[nodiscard]] Difference differenceTo(const std::string& text) const {
    const std::string old = get();
    const char* from = old.c_str();
    const char* to = text.c_str();
    int start = 0;
    while (*from != 0 && g_utf8_get_char(from) == g_utf8_get_char(to)) {
      from = g_utf8_next_char(from);
      to = g_utf8_next_char(to);
      ++start;
    }
    const char* fromEnd = old.c_str() + old.size();
    const char* toEnd = text.c_str() + text.size();
    int end = static_cast<int>(g_utf8_strlen(old.c_str(), -1));
    while (fromEnd > from && toEnd > to) {
      const char* previousFrom = g_utf8_prev_char(fromEnd);
      const char* previousTo = g_utf8_prev_char(toEnd);
      if (g_utf8_get_char(previousFrom) != g_utf8_get_char(previousTo)) break;
      fromEnd = previousFrom;
      toEnd = previousTo;
      --end;
    }
    return {start, end, std::string(to, toEnd)};
  }

  [[nodiscard]] Selection selection() const {
    int start = 0;
    int end = 0;
    const int cursor = gtk_editable_get_position(editable_);
    if (!gtk_editable_get_selection_bounds(editable_, &start, &end)) return {cursor, cursor};
    return {cursor == start ? end : start, cursor};
  }

 private:
  GtkEditable* editable_;
};

}  // namespace Tessaly::inline v1::detail
