// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/Gtk/Pasteboard.hpp"

#include "Tessaly/Adapters/GLib/MainLoop.hpp"

namespace Tessaly {

void showPasteboardAdapter(GMainLoop* loop) {
  gtk_init();
  const GLib::MainLoopAdapter adapter;
  const Gtk4::PasteboardAdapter pasteboard;
  g_main_loop_run(loop);
}

}  // namespace Tessaly
