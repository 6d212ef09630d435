// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Retained.hpp"
#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"
#include "Tessaly/SettingsAndObservation/detail/ContinuousObservation.hpp"
#include "Tessaly/SettingsAndObservation/detail/ContinuousObservationState.hpp"

namespace Tessaly::inline v1::detail {

/// A function that computes a value, which may be absent.
template <typename Value>
using Computation = std::move_only_function<std::optional<Value>()>;

/// The type of the values of a function: without the optional, if the function returns one.
template <typename Compute, typename... Arguments>
using ComputedValue = typename PresentValue<std::remove_cvref_t<std::invoke_result_t<Compute&, Arguments...>>>::Type;

/// A function object that passes each value to a function, unless the value equals the previous value. Values without
/// `==` always count as different.
template <typename Value>
class SetOfChanges {
 public:
  using Set = std::move_only_function<void(const Value&)>;

  explicit SetOfChanges(Set set) : set_(std::move(set)) {}

  void operator()(const Value& value) {
    if constexpr (std::equality_comparable<Value>) {
      if (last_ == value) return;
      last_ = value;
    }
    set_(value);
  }

 private:
  Set set_;
  std::optional<Value> last_;
};

/// The common part of the bindings of every toolkit. Calls `set` with the value of `compute`, now and after each change
/// of an observable property that `compute` read. The calls happen on the main thread, until the returned token is
/// cancelled or destroyed.
///
/// The compiler instantiates an observation once for each type of value, and not for each function.
template <typename Value, typename Set>
ObservationToken follow(Computation<Value> compute, Set set) {
  assertMainIsolated("Tessaly/Binding", __LINE__);
  return withContinuousObservation(Isolation::main(), std::move(compute), std::move(set));
}

/// Returns an observation that has not started. It does the same as that of `follow`, but does not call `set` for a
/// value that equals the previous value. The caller must make the end of its widget end the observation, and then call
/// `start()`.
template <typename Value>
Retained<ContinuousPasses> observationOfChanges(Computation<Value> compute,
                                                std::move_only_function<void(const Value&)> set) {
  using Observation = ContinuousObservation<Computation<Value>, SetOfChanges<Value>, IgnoresAbsence>;
  assertMainIsolated("Tessaly/Binding", __LINE__);
  return Retained<ContinuousPasses>::adopt(
      new Observation(Isolation::main(), std::move(compute), SetOfChanges<Value>(std::move(set)), {}));
}

/// Returns a function that computes a value from a model, and does not keep the model alive. The result of the function
/// is absent after the model has been destroyed, and if `compute` returns an absent value.
template <typename Model, typename Compute>
auto whileAlive(const std::shared_ptr<Model>& model, Compute compute) {
  using Value = ComputedValue<Compute, Model&>;
  return [weak = std::weak_ptr<Model>(model), compute = std::move(compute)]() mutable -> std::optional<Value> {
    const std::shared_ptr<Model> alive = weak.lock();
    if (alive == nullptr) return std::nullopt;
    return std::invoke(compute, *alive);
  };
}

}  // namespace Tessaly::inline v1::detail
