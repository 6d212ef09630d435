// SPDX-License-Identifier: MIT
// Component: Tessaly::Settings
#pragma once

#include <cstdint>
#include <optional>

#include "Tessaly/Core/Foundation/PropertyList.hpp"

namespace Tessaly::inline v1 {

/// The process that made a change of the settings.
enum class ChangeOrigin : std::uint8_t { thisProcess, otherProcess };

/// The information that an observer requests about each change.
enum class KeyValueObservingOptions : std::uint8_t {
  /// Only the fact that a change was made.
  none = 0,
  /// The value after the change.
  newValue = 1,
};

/// One change, as an observer of a key receives it.
///
///     KeyValueChange removal{.newValue = KeyValueChange::null(), .origin = ChangeOrigin::otherProcess};
///     assert(!removal.isEmpty());
struct KeyValueChange {
  /// The value of a key after a change, or `null()` if the change removed the value.
  using ObjectOrNull = std::optional<PropertyList>;
  /// The content of `newValue` after a removal.
  [[nodiscard]] static ObjectOrNull null() noexcept { return std::nullopt; }

  /// The value after the change, or `null()` after a removal. Absent if the observer did not request the value.
  std::optional<ObjectOrNull> newValue = std::nullopt;
  ChangeOrigin origin = ChangeOrigin::thisProcess;

  /// Whether `newValue` is absent. False if `newValue` is `null()`.
  [[nodiscard]] bool isEmpty() const noexcept { return !newValue.has_value(); }
};

}  // namespace Tessaly::inline v1
