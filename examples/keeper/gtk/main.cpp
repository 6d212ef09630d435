// SPDX-License-Identifier: MIT

// Keeper, a window on a directory, in GTK 4. With KEEPER_HEARTBEAT in the environment it writes, at its end, how long
// the window did not answer.

#include <gtk/gtk.h>

#include "Desk.hpp"
#include "Heartbeat.hpp"
#include "Opening.hpp"
#include "Preferences.hpp"
#include "Shelf.hpp"
#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Adapters/Gtk/Pasteboard.hpp"
#include "Window.hpp"
#include "Words.hpp"

int main(int count, char** arguments) {
  g_set_prgname("org.example.keeper");
  gtk_init();
  gtk_widget_set_default_direction(keeper::isRightToLeft() ? GTK_TEXT_DIR_RTL : GTK_TEXT_DIR_LTR);
  const Tessaly::GLib::MainLoopAdapter adapter;
  const Tessaly::Gtk4::PasteboardAdapter pasteboard;
  keeper::publishPreferences();
  const char* downloads = g_get_user_special_dir(G_USER_DIRECTORY_DOWNLOAD);
  keeper::Shelf shelf(
      keeper::directoryToShow(count > 1 ? arguments[1] : "", downloads != nullptr ? downloads : g_get_home_dir()));
  keeper::Desk desk(shelf);
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  {
    const keeper::Window window(desk, loop);
    keeper::Heartbeat heartbeat;
    const auto beat = +[](gpointer measured) -> gboolean {
      static_cast<keeper::Heartbeat*>(measured)->beat();
      return G_SOURCE_CONTINUE;
    };
    const guint timer = g_timeout_add(keeper::Heartbeat::interval.count(), beat, &heartbeat);
    g_main_loop_run(loop);
    g_source_remove(timer);
    heartbeat.report();
  }
  g_main_loop_unref(loop);
}
