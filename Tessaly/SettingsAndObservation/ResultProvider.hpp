// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <concepts>
#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Requirements.hpp"
#include "Tessaly/SettingsAndObservation/detail/Unassignable.hpp"

namespace Tessaly::inline v1 {

/// A provider of a value that a function computes at every read. Other code can get the provider instead of the value.
///
/// The function must be safe to call from any thread. Copies share the function and its captured state. For an existing
/// value, see `PartialResultProvider` and `NamedResultProvider`. The nearest standard facility is `std::function`. The
/// type `std::function` does not say that a function is the source of a value.
///
/// Thread contract: thread-safe, except for assignment.
///
///     const ResultProvider now([] { return std::chrono::system_clock::now(); });
///     auto start = now.wrappedValue();
template <typename Value>
class ResultProvider {
 public:
  /// A slot for a function that would replace the given function. The library neither fills nor reads the slot.
  class Storage_ {
   public:
    std::optional<std::function<Value()>> overrideValue;
  };

  template <typename Function>
    requires std::copy_constructible<Function> && std::is_invocable_r_v<Value, Function&>
  explicit ResultProvider(Function defaultValue)
      : defaultValue_(std::make_shared<std::function<Value()>>(std::move(defaultValue))) {}

  // There is no move, because a moved-from provider could not give a value.
  ResultProvider(const ResultProvider&) = default;
  ResultProvider& operator=(const ResultProvider&) = default;

  /// Calls the function and returns its result.
  [[nodiscard]] detail::Unassignable<Value> wrappedValue() const { return (*defaultValue_)(); }
  /// The provider itself, to be passed on instead of the value.
  [[nodiscard]] const ResultProvider& projectedValue() const noexcept { return *this; }

 private:
  std::shared_ptr<std::function<Value()>> defaultValue_;
};

template <typename Function>
ResultProvider(Function) -> ResultProvider<std::invoke_result_t<Function&>>;

}  // namespace Tessaly::inline v1
