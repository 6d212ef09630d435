// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Base/IsAsync.hpp"
#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/TaskLocal.hpp"
#include "Tessaly/SettingsAndObservation/detail/ContinuousObservation.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class ContinuousObservationState;
}

/// The owner of a continuous observation. The observation lasts until the token is cancelled or destroyed.
/// `withContinuousObservation` makes the token.
///
/// A pass is one call of the observed function (`apply`), and then the calls of the callbacks with its result. After
/// the end of the observation no pass begins, and a queued pass does nothing. If a pass is running or queued, the
/// captures of the callbacks are released after that pass, and otherwise at once. The token does not wait for a pass on
/// another thread. A pass that begins on another thread at the same time as the end may still run.
///
/// Stops the process: a call of `cancel()` or `store()` on a token that was moved from.
///
/// Thread contract: thread-compatible.
///
///     std::vector<ObservationToken> tokens;
///     withContinuousObservation([player] { return player->volume.value(); }, [](int volume) { show(volume); })
///         .store(tokens);
class TESSALY_EXPORT [[nodiscard("the observation ends with its token")]] ObservationToken {
 public:
  ObservationToken(const ObservationToken&) = delete;
  ObservationToken& operator=(const ObservationToken&) = delete;
  ObservationToken(ObservationToken&&) noexcept = default;
  ObservationToken& operator=(ObservationToken&& other) noexcept;
  ~ObservationToken();

  /// Ends the observation: no further call of the observed function begins. A running call still passes its result to
  /// the callbacks. Later calls do nothing.
  void cancel() noexcept;

  /// Moves the token to the end of the array. The array owns the token from then on.
  void store(std::vector<ObservationToken>& tokens);

  /// Whether the callback that calls this function runs in the first pass, before `withContinuousObservation` has
  /// returned. Outside of any callback, the result is usually false. But a task that a callback starts inherits the
  /// result of that callback, unless the task is detached.
  [[nodiscard]] static bool isFirst() noexcept;

  /// The task-local value that `isFirst()` returns. A host may bind another value for a scope.
  static const TaskLocal<bool> isFirstBinding;

  /// For the library only. Other code calls `withContinuousObservation`.
  explicit ObservationToken(std::shared_ptr<detail::ContinuousObservationState> state) noexcept
      : state_(std::move(state)) {}

 private:
  std::shared_ptr<detail::ContinuousObservationState> state_;
};

/// Calls `apply` now, and again after each change of an observable property that `apply` read. Passes each result to
/// the callbacks. The observation ends when the returned token is cancelled or destroyed.
///
/// `apply` returns an optional value or a plain value. A plain value counts as present. If the value is present,
/// `onChange` is called with the value. Then, in every case, `onChangeNil` is called with the optional. The first pass
/// runs on the caller's thread before this function returns. Each further pass runs in its own high-priority task, in
/// the given isolation. The default is the caller's isolation. Several changes before the next pass cause only one
/// pass. Without an isolation, passes may overlap.
///
/// The destruction of an observed object is a change too. So `apply` must own the objects that it reads, or check
/// whether they still exist.
///
/// An exception of `apply` in the first pass reaches the caller. An exception of a callback, or of `apply` in a later
/// pass, stops the process. To get the values as a sequence, use `Observations`.
///
/// Thread contract: thread-safe.
template <typename Apply, typename OnChange, typename OnChangeNil = detail::IgnoresAbsence>
  requires requires(Apply& apply) { apply(); }
ObservationToken withContinuousObservation(Isolation isolation, Apply apply, OnChange onChange,
                                           OnChangeNil onChangeNil = {}) {
  static_assert(!isAsync<decltype(apply())>, "the function must not suspend: its reads are tracked until it returns");
  using Observation = detail::ContinuousObservation<Apply, OnChange, OnChangeNil>;
  const auto observation = Retained<Observation>::adopt(
      new Observation(std::move(isolation), std::move(apply), std::move(onChange), std::move(onChangeNil)));
  return observation->begin();
}
template <typename Apply, typename OnChange, typename OnChangeNil = detail::IgnoresAbsence>
  requires requires(Apply& apply) { apply(); }
ObservationToken withContinuousObservation(Apply apply, OnChange onChange, OnChangeNil onChangeNil = {}) {
  return withContinuousObservation(Isolation::current(), std::move(apply), std::move(onChange), std::move(onChangeNil));
}

}  // namespace Tessaly::inline v1
