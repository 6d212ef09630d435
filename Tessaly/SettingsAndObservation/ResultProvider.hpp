// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <type_traits>
#include <utility>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// A declared place from which a value is obtained that is computed anew at every reading.
///
/// The function must be safe to call from any thread. Copies share it, captured state included. For a value that is
/// there already, see `PartialResultProvider` and `NamedResultProvider`. The nearest standard facility is the
/// `std::function` itself, which has no name for what it provides.
///
/// Thread contract: thread-safe.
///
///     const ResultProvider now([] { return std::chrono::system_clock::now(); });
///     auto start = now.wrappedValue();
template <typename Value>
class ResultProvider {
 public:
  /// A slot for a function in place of the given one. Nothing fills or reads it.
  class Storage_ {
   public:
    std::optional<std::function<Value()>> overrideValue;
  };

  template <typename Function>
    requires std::is_invocable_r_v<Value, Function&>
  explicit ResultProvider(Function defaultValue)
      : defaultValue_(std::make_shared<std::function<Value()>>(std::move(defaultValue))) {}

  // No move: what would be left could give nothing.
  ResultProvider(const ResultProvider&) = default;
  ResultProvider& operator=(const ResultProvider&) = default;

  /// What the function gives now.
  [[nodiscard]] Value wrappedValue() const { return (*defaultValue_)(); }
  /// The provider itself, to be handed on in the value's place.
  [[nodiscard]] const ResultProvider& projectedValue() const noexcept { return *this; }

 private:
  std::shared_ptr<std::function<Value()>> defaultValue_;
};

template <typename Function>
ResultProvider(Function) -> ResultProvider<std::invoke_result_t<Function&>>;

}  // namespace Tessaly::inline v1
