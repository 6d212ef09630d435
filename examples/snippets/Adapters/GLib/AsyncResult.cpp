// SPDX-License-Identifier: MIT
#include "Tessaly/Adapters/GLib/AsyncResult.hpp"

#include <string>

namespace Tessaly {

Async<std::string> showAsyncResult(GFile* file) {
  char* contents = nullptr;
  gsize length = 0;
  GError* error = nullptr;
  const GLib::AsyncResult result =
      co_await GLib::asyncResult([&](GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
        g_file_load_contents_async(file, cancellable, ready, data);
      });
  g_file_load_contents_finish(file, result, &contents, &length, nullptr, &error);
  g_clear_error(&error);
  const std::string text(contents != nullptr ? contents : "", length);
  g_free(contents);
  co_return text;
}

}  // namespace Tessaly
