// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <optional>
#include <utility>

#include "Tessaly/Core/Base/Requirements.hpp"
#include "Tessaly/SettingsAndObservation/detail/Unassignable.hpp"

namespace Tessaly::inline v1 {

/// A provider of one value, which the constructor receives. Other code can get the provider instead of the value.
///
/// Copies hold independent values. For a shared value, see `NamedResultProvider`. For a computed value, see
/// `ResultProvider`. The nearest standard facility is a const member. Such a member cannot be passed on as a source.
///
/// Thread contract: thread-compatible.
///
///     const PartialResultProvider<int> limit(100);
///     int most = limit.wrappedValue();
template <typename Value>
class PartialResultProvider {
 public:
  /// A slot for a value to use instead of the provider's value. The library neither fills nor reads the slot.
  class Storage_ {
   public:
    std::optional<Value> overrideValue;
  };

  explicit PartialResultProvider(Value defaultValue) : defaultValue_(std::move(defaultValue)) {}

  /// A copy of the value.
  [[nodiscard]] detail::Unassignable<Value> wrappedValue() const { return defaultValue_; }
  /// The provider itself, to be passed on instead of the value.
  [[nodiscard]] const PartialResultProvider& projectedValue() const noexcept { return *this; }

 private:
  Value defaultValue_;
};

}  // namespace Tessaly::inline v1
