// SPDX-License-Identifier: MIT

// Keeper, a window on a directory: the one of the command line, else the one that was shown last, else the downloads.
// With KEEPER_HEARTBEAT in the environment it writes, at its end, how long the window did not answer.

#include <gtk/gtk.h>

#include <optional>
#include <string>

#include "Heartbeat.hpp"
#include "Preferences.hpp"
#include "Shelf.hpp"
#include "Tessaly/Adapters/GLib/MainLoop.hpp"
#include "Window.hpp"

namespace {

using namespace Tessaly;

URL directory(int count, char** arguments) {
  if (count > 1) return URL::fileURLWithPath(arguments[1], URL::DirectoryHint::isDirectory);
  if (const auto last = Default<std::optional<URLBookmark>>::value(keeper::directoryKey)) return last->url();
  const char* downloads = g_get_user_special_dir(G_USER_DIRECTORY_DOWNLOAD);
  return URL::fileURLWithPath(downloads != nullptr ? downloads : g_get_home_dir(), URL::DirectoryHint::isDirectory);
}

}  // namespace

int main(int count, char** arguments) {
  gtk_init();
  const GLib::MainLoopAdapter adapter;
  keeper::publishPreferences();
  keeper::Shelf shelf(directory(count, arguments));
  Default<std::optional<URLBookmark>>::setValue(keeper::directoryKey, URLBookmark::from(shelf.directory()));
  GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
  {
    const keeper::Window window(shelf, loop);
    const keeper::Heartbeat heartbeat;
    g_main_loop_run(loop);
    if (g_getenv("KEEPER_HEARTBEAT") != nullptr) g_print("longest pause: %.1f ms\n", heartbeat.longestPause());
  }
  g_main_loop_unref(loop);
}
