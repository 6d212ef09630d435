// SPDX-License-Identifier: MIT
// Component: Tessaly::Observation
#pragma once

#include <functional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/IsAsync.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Observation/detail/AccessList.hpp"
#include "Tessaly/Core/Observation/detail/Tracking.hpp"

namespace Tessaly::inline v1 {

namespace detail {

/// Registers `onChange` to be called once, at the first change of any point in the list. If such a change has already
/// ended, this function calls `onChange` at once. If the list is empty, `onChange` is never called. The caller must
/// have called `accesses.end()` before.
template <typename OnChange>
void installTracking(AccessList& accesses, OnChange onChange) {
  if (accesses.count() == 0) return;
  auto* const tracking = new HandlerTracking<OnChange>(accesses, std::move(onChange));
  tracking->install(accesses);
}

/// Like `installTracking`, for a caller that may cancel the tracking. Returns the tracking, or null if the list is
/// empty.
template <typename OnChange>
[[nodiscard]] Retained<Tracking> installCancellableTracking(AccessList& accesses, OnChange onChange) {
  if (accesses.count() == 0) return {};
  auto tracking = Retained<Tracking>::adopt(new HandlerTracking<OnChange>(accesses, std::move(onChange)));
  tracking->retain();
  tracking->install(accesses);
  return tracking;
}

}  // namespace detail

/// Calls `apply` and returns its result. `onChange` is called later, at most once, when any observable property that
/// `apply` read is about to change.
///
/// Only the reads on this thread during `apply` are tracked. If there is no such read, `onChange` is destroyed and
/// never called. Usually `onChange` is called synchronously on the changing thread, outside every lock, while the old
/// value can still be read. An assignment of an equal value counts as a change, and so does the end of an object. To
/// observe further changes, track again. Further changes before the new tracking do not call `onChange` again. A change
/// by another thread while `apply` runs is not lost. If the change has ended when `apply` returns, `onChange` is called
/// before this function returns. If the change is still running then, `onChange` is called after its end. So a handler
/// that tracks again during a change is called again after that change. Changes that `apply` itself makes do not count.
///
/// Neither `onChange` nor the destructors of its captures may destroy the object whose property changes, because the
/// new value is stored afterwards. Instead, let `onChange` enqueue a job that destroys the object.
///
/// Trackings nest: the outer tracking also observes the properties that an inner tracking reads. The reads of
/// `onChange` are not tracked.
///
/// `apply` must not be asynchronous. If `apply` throws, nothing is tracked. An exception of `onChange` stops the
/// process. To observe a value continuously, use `withContinuousObservation` or `Observations`, which track again after
/// each change.
///
/// Thread contract: thread-safe. Reading the values needs the same protection as without tracking.
///
///     withObservationTracking([&] { show(song.title, song.artist); }, [&] { window.scheduleRedraw(); });
template <typename Apply, typename OnChange>
auto withObservationTracking(Apply&& apply, OnChange onChange) -> std::invoke_result_t<Apply> {
  using Result = std::invoke_result_t<Apply>;
  static_assert(!isAsync<Result>, "the function must not suspend: its reads are tracked until it returns");
  detail::AccessList accesses;
  if constexpr (std::is_void_v<Result>) {
    std::invoke(std::forward<Apply>(apply));
    accesses.end();
    detail::installTracking(accesses, std::move(onChange));
  } else {
    Result result = std::invoke(std::forward<Apply>(apply));
    accesses.end();
    detail::installTracking(accesses, std::move(onChange));
    return static_cast<Result&&>(result);
  }
}

}  // namespace Tessaly::inline v1
