// SPDX-License-Identifier: MIT
// Component: Tessaly::GtkAdapter
#pragma once

#include <gtk/gtk.h>

#include <memory>
#include <string>
#include <string_view>

#include "Tessaly/Adapters/detail/ToolkitPasteboard.hpp"

namespace Tessaly::inline v1 {

namespace detail {

class GtkPasteboard final : public ToolkitPasteboard {
 public:
  GtkPasteboard() : ToolkitPasteboard(server()), clipboard_(clipboard()) {
    if (clipboard_ == nullptr) return;
    g_signal_connect_swapped(clipboard_, "changed", G_CALLBACK(+[](GtkPasteboard* self) {
                               self->setIsOwner(gdk_clipboard_is_local(self->clipboard_) != 0);
                             }),
                             this);
  }

 private:
  static PasteboardServer server() {
    GdkDisplay* const display = gdk_display_get_default();
    if (display == nullptr) return PasteboardServer::none;
    const std::string_view name = G_OBJECT_TYPE_NAME(display);
    if (name == "GdkWaylandDisplay") return PasteboardServer::wayland;
    return name == "GdkX11Display" ? PasteboardServer::x11 : PasteboardServer::none;
  }

  static GdkClipboard* clipboard() {
    GdkDisplay* const display = gdk_display_get_default();
    return display == nullptr ? nullptr : gdk_display_get_clipboard(display);
  }

  bool offer(const OfferedTexts& texts) override {
    GdkContentProvider* content = gdk_content_provider_new_typed(G_TYPE_STRING, texts.plain().c_str());
    if (texts.url) {
      const std::string list = *texts.url + "\r\n";
      GBytes* bytes = g_bytes_new(list.data(), list.size());
      GdkContentProvider* both[] = {gdk_content_provider_new_for_bytes("text/uri-list", bytes), content};
      g_bytes_unref(bytes);
      content = gdk_content_provider_new_union(both, 2);  // The union owns both providers.
    }
    const bool isAccepted = gdk_clipboard_set_content(clipboard_, content) != 0;
    g_object_unref(content);
    return isAccepted;
  }
  void disconnect() override {
    if (clipboard_ != nullptr) g_signal_handlers_disconnect_by_data(clipboard_, this);
  }

  /// Null if there is no display.
  GdkClipboard* const clipboard_;
};

}  // namespace detail

namespace Gtk4 {

/// An adapter that, while it exists, lets `PasteboardService` write through the toolkit. A compositor, such as GNOME's,
/// may allow only programs with a window to use the clipboard. With such a compositor and without the adapter, the
/// library uses the clipboard of the X display, or none if there is no X display.
///
/// Construct the adapter after `gtk_init`. Writes on the main thread reach the toolkit at once. Writes on other threads
/// reach the toolkit on the main thread, in the next turn of the loop. Other programs can paste as long as the loop
/// runs. `PasteboardBackend::current().status()` says whether the pasteboard's contents still belong to this process.
/// It also reports contents that the toolkit refused.
///
/// Stops the process: constructing an adapter outside the main thread.
///
/// Thread contract: main-isolated.
///
///     gtk_init();
///     const GLib::MainLoopAdapter adapter;
///     const Gtk4::PasteboardAdapter pasteboard;
class PasteboardAdapter {
 public:
  PasteboardAdapter() : backend_(std::make_shared<detail::GtkPasteboard>()), installation_(backend_) {}
  PasteboardAdapter(const PasteboardAdapter&) = delete;
  PasteboardAdapter& operator=(const PasteboardAdapter&) = delete;
  ~PasteboardAdapter() { backend_->close(); }

 private:
  const std::shared_ptr<detail::GtkPasteboard> backend_;
  const PasteboardBackendInstallation installation_;
};

}  // namespace Gtk4

}  // namespace Tessaly::inline v1
