// SPDX-License-Identifier: MIT
#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Tasks/Isolation.hpp"
#include "Tessaly/Core/Tasks/MainQueue.hpp"
#include "Tessaly/SettingsAndObservation/ObservationToken.hpp"

namespace Tessaly::inline v1::detail {

/// A function object that passes each value to a function, unless the value equals the previous value. Values without
/// `==` always count as different.
template <typename Value, typename Set>
class SetOfChanges {
 public:
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
template <typename Compute, typename Set>
ObservationToken follow(Compute compute, Set set) {
  assertMainIsolated("Tessaly/Binding", __LINE__);
  return withContinuousObservation(Isolation::main(), std::move(compute), std::move(set));
}

/// Like `follow`, but does not call `set` for a value that equals the previous value.
template <typename Compute, typename Set>
ObservationToken followChanges(Compute compute, Set set) {
  using Value = typename PresentValue<std::remove_cvref_t<std::invoke_result_t<Compute&>>>::Type;
  return follow(std::move(compute), SetOfChanges<Value, Set>(std::move(set)));
}

/// Returns a function that computes a value from a model, and does not keep the model alive. The result of the function
/// is absent after the model has been destroyed, and if `compute` returns an absent value.
template <typename Model, typename Compute>
auto whileAlive(const std::shared_ptr<Model>& model, Compute compute) {
  using Value = typename PresentValue<std::remove_cvref_t<std::invoke_result_t<Compute&, Model&>>>::Type;
  return [weak = std::weak_ptr<Model>(model), compute = std::move(compute)]() mutable -> std::optional<Value> {
    const std::shared_ptr<Model> alive = weak.lock();
    if (alive == nullptr) return std::nullopt;
    return std::invoke(compute, *alive);
  };
}

}  // namespace Tessaly::inline v1::detail
