// SPDX-License-Identifier: MIT
#include <gtk/gtk.h>

#include "Session.hpp"
#include "Tessaly/Adapters/GLib/MainLoop.hpp"

int main() {
  gtk_init();
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  const Tessaly::GLib::MainLoopAdapter adapter;  // The main loop serves the library's main queue.

  GtkWidget* window = gtk_window_new();
  gtk_window_set_title(GTK_WINDOW(window), "first-hour (GTK)");
  gtk_window_set_default_size(GTK_WINDOW(window), 420, 120);
  GtkWidget* label = gtk_label_new(nullptr);
  gtk_window_set_child(GTK_WINDOW(window), label);
  g_signal_connect_swapped(window, "close-request", G_CALLBACK(g_main_loop_quit), loop);
  {
    const Session session([label](const std::string& text) { gtk_label_set_text(GTK_LABEL(label), text.c_str()); });
    gtk_window_present(GTK_WINDOW(window));
    g_main_loop_run(loop);
  }  // The task ends here, before the label.
  gtk_window_destroy(GTK_WINDOW(window));
  g_main_loop_unref(loop);
}
