// SPDX-License-Identifier: MIT
// Component: Tessaly::GLibAdapter
#pragma once

#include <glib-unix.h>
#include <glib.h>

#include "Tessaly/Core/Tasks/MainQueue.hpp"

namespace Tessaly::inline v1::GLib {

/// Serves the main queue from a GLib main loop, as long as it lives: what the library runs on the main thread then runs
/// between the loop's other events. This is all that a GTK application needs.
///
/// Nested loops (a modal dialog inside work of the main queue) serve the queue too, also what stood behind the work
/// that opened them. Several adapters may stand in one context or in several, and go in any order, even inside work of
/// the queue, and after the loop or the context. Work that comes while the loop serves the queue waits for the loop's
/// next turn, so other events of the same priority have theirs in between.
///
/// The priority is that of GLib's own input sources. Choose a lower one, such as `G_PRIORITY_DEFAULT_IDLE`, for work
/// that may wait until the application is idle: the loop turns to a source only when none of a higher priority is
/// ready.
///
/// Stops the process: making one on another thread than the main thread; a loop on another thread that runs a context
/// with an adapter.
///
/// Thread contract: main-isolated.
///
///     GLib::MainLoopAdapter adapter;
///     g_main_loop_run(loop);
class MainLoopAdapter {
 public:
  /// Attaches to a context of the main thread, the default context if null.
  explicit MainLoopAdapter(GMainContext* context = nullptr, int priority = G_PRIORITY_DEFAULT)
      : source_(g_unix_fd_source_new(MainQueue::fileDescriptor(), G_IO_IN)) {
    assertMainIsolated("Tessaly/MainLoopAdapter", __LINE__);
    constexpr GUnixFDSourceFunc serve = [](gint, GIOCondition, gpointer) -> gboolean {
      MainQueue::drain();
      return G_SOURCE_CONTINUE;
    };
    g_source_set_name(source_, "Tessaly main queue");
    g_source_set_priority(source_, priority);
    g_source_set_can_recurse(source_, TRUE);
    g_source_set_callback(source_, G_SOURCE_FUNC(+serve), nullptr, nullptr);
    g_source_attach(source_, context);
  }
  MainLoopAdapter(const MainLoopAdapter&) = delete;
  MainLoopAdapter& operator=(const MainLoopAdapter&) = delete;
  ~MainLoopAdapter() {
    g_source_destroy(source_);
    g_source_unref(source_);
  }

 private:
  GSource* const source_;
};

}  // namespace Tessaly::inline v1::GLib
