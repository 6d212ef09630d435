// SPDX-License-Identifier: MIT
#pragma once

#include <gio/gio.h>

#include <cstddef>
#include <map>
#include <memory>
#include <utility>

#include "Tessaly/Core/Base/FatalError.hpp"
#include "Tessaly/Core/Tasks/CheckedContinuation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/Core/Tasks/OS_dispatch_queue.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Releases a reference to an object of GLib.
struct UnrefObject {
  void operator()(gpointer object) const noexcept { g_object_unref(object); }
};
template <typename Object>
using ObjectReference = std::unique_ptr<Object, UnrefObject>;

}  // namespace detail

namespace GLib {

/// The owner of a `GAsyncResult`, which `asyncResult` returns. Pass it to the `..._finish` function of the call. A
/// temporary does not convert, because the `GAsyncResult` would end with it.
///
/// Thread contract: main-isolated.
class AsyncResult {
 public:
  explicit AsyncResult(GAsyncResult* result) : result_(static_cast<GAsyncResult*>(g_object_ref(result))) {}

  [[nodiscard]] GAsyncResult* get() const& noexcept { return result_.get(); }
  GAsyncResult* get() const&& = delete;
  operator GAsyncResult*() const& noexcept { return result_.get(); }  // NOLINT(google-explicit-constructor)
  operator GAsyncResult*() const&& = delete;

 private:
  detail::ObjectReference<GAsyncResult> result_;
};

}  // namespace GLib

namespace detail {

/// The asynchronous calls that have not ended. GLib passes a number as the data of the callback, and not a pointer. So
/// a second callback of a call finds nothing, instead of released memory.
class AsyncCalls {
 public:
  using Continuation = CheckedContinuation<GLib::AsyncResult>;

  /// Returns the data for the callback of a new call.
  static gpointer add(Continuation continuation) {
    static std::size_t last = 0;
    void* const data = GSIZE_TO_POINTER(++last);
    pending().emplace(data, std::move(continuation));
    return data;
  }
  static void remove(gpointer data) { pending().erase(data); }

  static void ready(GObject* /*source*/, GAsyncResult* result, gpointer data) noexcept {
    assertMainIsolated("Tessaly/AsyncResult", __LINE__);
    const auto call = pending().extract(data);
    if (call.empty()) {
      fatalError("The callback of an asynchronous call was called twice, or after the call was given up",
                 "Tessaly/AsyncResult", __LINE__);
    }
    call.mapped().resume(GLib::AsyncResult(result));
  }

 private:
  static std::map<gpointer, Continuation>& pending() {
    static auto* const calls = new std::map<gpointer, Continuation>;
    return *calls;
  }
};

/// The cancellable of an asynchronous call.
class CallCancellable {
 public:
  [[nodiscard]] GCancellable* get() const noexcept { return cancellable_.get(); }
  /// Cancels the call, on the main thread. The handlers of `GCancellable::cancelled` may use widgets.
  void cancel() const {
    if (MainQueue::isMainThread()) return g_cancellable_cancel(get());
    ObjectReference<GCancellable> kept(G_CANCELLABLE(g_object_ref(get())));
    OS_dispatch_queue::main().async([kept = std::move(kept)] { g_cancellable_cancel(kept.get()); });
  }

 private:
  ObjectReference<GCancellable> cancellable_{g_cancellable_new()};
};

}  // namespace detail

}  // namespace Tessaly::inline v1
