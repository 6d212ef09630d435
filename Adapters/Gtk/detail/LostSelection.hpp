// SPDX-License-Identifier: MIT
#pragma once

#include <gtk/gtk.h>

#include <optional>
#include <utility>

#include "Tessaly/Adapters/Gtk/detail/EditableText.hpp"
#include "Tessaly/Adapters/Gtk/detail/LaterCall.hpp"
#include "Tessaly/Adapters/Gtk/detail/TextPositions.hpp"

namespace Tessaly::inline v1::detail {

/// The selection that a refused change would have replaced. The field clears this selection after the refusal. This
/// class restores it.
class LostSelection {
 public:
  explicit LostSelection(EditableText& text) : text_(text) {}

  void keep(const TextSelection& selection) {
    if (!selection.isEmpty()) lost_ = selection;
  }
  void forget() { lost_.reset(); }
  /// Returns and forgets the selection. Absent if no change was refused, if the cursor has moved since the refusal, or
  /// if text is selected now.
  [[nodiscard]] std::optional<TextSelection> take() {
    const std::optional<TextSelection> lost = std::exchange(lost_, std::nullopt);
    if (!lost || !text_.isThere() || text_.selection() != TextSelection{lost->cursor, lost->cursor}) {
      return std::nullopt;
    }
    return lost;
  }

  /// Restores the selection when the loop is idle. By then the display has reported that the primary selection has no
  /// owner, and on that report the field has cleared its selection.
  void restoreSoon() {
    if (!lost_ || !text_.isThere() || restoring_.isPending()) return;
    gdk_display_sync(gtk_widget_get_display(text_.widget()));
    restoring_.request();
  }

 private:
  void restore() {
    if (const std::optional<TextSelection> lost = take()) static_cast<void>(text_.select(*lost));
  }

  EditableText& text_;
  std::optional<TextSelection> lost_;
  LaterCall<LostSelection> restoring_{*this, &LostSelection::restore, G_PRIORITY_LOW};
};

}  // namespace Tessaly::inline v1::detail
