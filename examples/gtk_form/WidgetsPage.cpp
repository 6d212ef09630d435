// SPDX-License-Identifier: MIT

// The GTK examples of docs/widgets.md, which only need to compile.

#include <gtk/gtk.h>

#include "Tessaly/Adapters/GLib/AsyncResult.hpp"

namespace Tessaly {

Async<void> paste(GdkClipboard* clipboard, GtkEditable* field) {
  const GLib::AsyncResult result =
      co_await GLib::asyncResult([&](GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
        gdk_clipboard_read_text_async(clipboard, cancellable, ready, data);
      });
  char* const text = gdk_clipboard_read_text_finish(clipboard, result, nullptr);
  if (text != nullptr) gtk_editable_set_text(field, text);
  g_free(text);
}

}  // namespace Tessaly
