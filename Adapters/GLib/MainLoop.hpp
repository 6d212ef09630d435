// SPDX-License-Identifier: MIT
// Component: Tessaly::GLibAdapter
#pragma once

#include <glib-unix.h>
#include <glib.h>

#include "Tessaly/Core/Tasks/MainQueue.hpp"

namespace Tessaly::inline v1::GLib {

/// An adapter that, while it exists, serves the main queue from a GLib main loop. The library's work on the main thread
/// then runs between the other events of the loop. A GTK application needs no other adapter for the main queue.
///
/// A nested loop (a modal dialog inside work of the main queue) also serves the queue. The nested loop then runs later
/// work of the queue, although the work that opened the dialog has not ended. Several adapters may serve the same
/// context or different contexts. Adapters may be destroyed in any order. They may be destroyed inside work of the
/// queue, and also after the loop or the context has been destroyed. Work that arrives while the loop serves the queue
/// waits for the next turn of the loop, so that the loop also handles other events of the same priority.
///
/// The default priority is the priority of GLib's input sources. Choose a lower priority, such as
/// `G_PRIORITY_DEFAULT_IDLE`, for work that may wait until the application is idle. The loop serves a source only if no
/// source of a higher priority is ready.
///
/// These stop the process: constructing an adapter outside the main thread, and running the adapter's context on
/// another thread.
///
/// Thread contract: main-isolated.
///
///     GLib::MainLoopAdapter adapter;
///     g_main_loop_run(loop);
class MainLoopAdapter {
 public:
  /// Attaches the adapter to a context, which only the main thread may run. Null means the default context.
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
  const MainQueue::Service service_;
  GSource* const source_;
};

}  // namespace Tessaly::inline v1::GLib
