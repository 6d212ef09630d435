// SPDX-License-Identifier: MIT
// Component: Tessaly::GLibAdapter
#pragma once

#include <gio/gio.h>

#include <concepts>
#include <utility>

#include "Tessaly/Adapters/GLib/detail/AsyncCalls.hpp"
#include "Tessaly/Core/Tasks/Async.hpp"
#include "Tessaly/Core/Tasks/Cancellation.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"

namespace Tessaly::inline v1::GLib {

/// Starts an asynchronous call of GIO or GTK, and waits for its result. `start` gets a `GCancellable`, a
/// `GAsyncReadyCallback` and the data for that callback, and must pass all three to the call. The host then passes the
/// result to the `..._finish` function of the call, which reports errors as usual.
///
/// The result keeps the `GAsyncResult` alive, and converts to it. So keep the result in a variable until
/// `..._finish` has returned. `start` runs at once, on the main thread. It may refer to local variables of the caller.
///
/// The cancellation of the task cancels the `GCancellable`, always on the main thread. The call still ends with a
/// result: its `..._finish` reports `G_IO_ERROR_CANCELLED`, or a success that was faster. If the task is cancelled
/// before, the call starts with a cancelled `GCancellable`. If the owner of the task ends meanwhile, the call is
/// cancelled, and the task is destroyed after the call has ended. `..._finish` is then not called. A `GTask`, as GIO
/// and GTK use it, releases a value that was not fetched.
///
/// If the call never calls the callback, the task waits for ever. An exception of `start` goes to the caller. After the
/// exception, the callback must not be called.
///
/// These stop the process: an `asyncResult` outside the main thread, a callback on another thread, and a second call of
/// the callback. GLib calls the callback in the thread's main context, so the main thread must run the default context.
///
/// GLib's counterpart is a callback with a `user_data` that the host allocates, and a `GCancellable` of its own.
///
/// Thread contract: main-isolated. The cost is a `GCancellable`, one allocation, and those of a continuation.
///
///     const GLib::AsyncResult result =
///         co_await GLib::asyncResult([&](GCancellable* cancellable, GAsyncReadyCallback ready, gpointer data) {
///           g_file_load_contents_async(file, cancellable, ready, data);
///         });
///     g_file_load_contents_finish(file, result, &contents, &length, nullptr, &error);
template <std::invocable<GCancellable*, GAsyncReadyCallback, gpointer> Start>
Async<AsyncResult> asyncResult(Start start) {
  assertMainIsolated("Tessaly/AsyncResult", __LINE__);
  const detail::CallCancellable cancellable;
  const auto call = [&] {
    return withCheckedContinuation<AsyncResult>(
        [&](CheckedContinuation<AsyncResult> continuation) {
          void* const data = detail::AsyncCalls::add(std::move(continuation));
          try {
            start(cancellable.get(), &detail::AsyncCalls::ready, data);
          } catch (...) {
            detail::AsyncCalls::remove(data);
            throw;
          }
        },
        "GLib::asyncResult");
  };
  co_return co_await withTaskCancellationHandler(call, [&] { cancellable.cancel(); });
}

}  // namespace Tessaly::inline v1::GLib
