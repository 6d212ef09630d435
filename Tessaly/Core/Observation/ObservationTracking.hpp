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

/// Has the handler called at the first change of what an ended list holds.
template <typename OnChange>
void installTracking(AccessList& accesses, OnChange onChange) {
  if (accesses.count() == 0) return;
  auto* const tracking = new HandlerTracking<OnChange>(accesses, std::move(onChange));
  tracking->install(accesses);
}

/// The same, to be cancelled. Null if the list holds nothing.
template <typename OnChange>
[[nodiscard]] Retained<Tracking> installCancellableTracking(AccessList& accesses, OnChange onChange) {
  if (accesses.count() == 0) return {};
  auto tracking = Retained<Tracking>::adopt(new HandlerTracking<OnChange>(accesses, std::move(onChange)));
  tracking->retain();
  tracking->install(accesses);
  return tracking;
}

}  // namespace detail

/// Calls `apply`, returns its result, and calls `onChange` once, when any of the observable properties that `apply`
/// read is about to change.
///
/// What counts as read is what `apply` reads on this thread until it returns; if that is nothing, `onChange` is
/// dropped. `onChange` is called synchronously on the changing thread, outside every lock, while the old value can
/// still be read. Each assignment counts as a change, of an equal value too, and so does the end of an object. To
/// follow further changes, track again; several changes before that count as one. A change by another thread while
/// `apply` runs is not lost: `onChange` is then called before this returns, or, if the change is still under way, once
/// it is done. A handler that tracks again while the change is under way is therefore called again after it. What
/// `apply` itself changes does not count.
///
/// Trackings nest: what an inner one reads, the outer one has read, too. What `onChange` reads belongs to nobody.
///
/// `apply` is an ordinary function and may throw: then nothing is tracked. A throw out of `onChange` stops the process.
/// To follow a value continuously, `withContinuousObservation` and `Observations` do the tracking again.
///
/// Thread contract: thread-safe; reading the values needs what reading them without tracking needs.
///
///     withObservationTracking([&] { show(song.title, song.artist); }, [&] { window.scheduleRedraw(); });
template <typename Apply, typename OnChange>
auto withObservationTracking(Apply&& apply, OnChange onChange) -> std::invoke_result_t<Apply> {
  using Result = std::invoke_result_t<Apply>;
  static_assert(!isAsync<Result>, "what is tracked is what a function reads until it returns");
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
