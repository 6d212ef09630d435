// SPDX-License-Identifier: MIT
#include <gtk/gtk.h>

#include "Session.hpp"
#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Tessaly/Core/Foundation/Bundle.hpp"

namespace {

void openWindow(GtkApplication* application) {
  GtkWidget* window = gtk_application_window_new(application);
  gtk_window_set_title(GTK_WINDOW(window), "first-hour (GTK)");
  gtk_window_set_default_size(GTK_WINDOW(window), 420, 120);
  GtkWidget* label = gtk_label_new(nullptr);
  gtk_window_set_child(GTK_WINDOW(window), label);

  auto* session = new Session([label](const std::string& text) { gtk_label_set_text(GTK_LABEL(label), text.c_str()); });
  // The session ends with its window, and with it the task.
  g_signal_connect_swapped(window, "destroy", G_CALLBACK(+[](Session* ended) { delete ended; }), session);
  gtk_window_present(GTK_WINDOW(window));
}

}  // namespace

int main(int argumentCount, char** arguments) {
  const std::string identifier = Tessaly::Bundle::main().bundleIdentifier().value();
  GtkApplication* application = gtk_application_new(identifier.c_str(), G_APPLICATION_DEFAULT_FLAGS);
  const Tessaly::GLib::MainLoopAdapter adapter;  // The main loop serves the library's main queue.
  g_signal_connect(application, "activate", G_CALLBACK(openWindow), nullptr);
  const int status = g_application_run(G_APPLICATION(application), argumentCount, arguments);
  g_object_unref(application);
  return status;
}
