// SPDX-License-Identifier: MIT
// Component: Tessaly::Settings
#pragma once

#include <cstdint>
#include <optional>

#include "Tessaly/Core/Foundation/PropertyList.hpp"

namespace Tessaly::inline v1 {

/// The process that made a change of the settings.
enum class ChangeOrigin : std::uint8_t { thisProcess, otherProcess };

/// The contents of a change that an observer asks for.
enum class KeyValueObservingOptions : std::uint8_t {
  /// Only that there was a change.
  none = 0,
  /// The value that is stored now.
  newValue = 1,
};

/// One change, as an observer of a key gets it.
///
///     KeyValueChange removal{.newValue = KeyValueChange::null(), .origin = ChangeOrigin::otherProcess};
///     assert(!removal.isEmpty());
struct KeyValueChange {
  /// The stored object, or the explicit null.
  using ObjectOrNull = std::optional<PropertyList>;
  /// The content of `newValue` after a removal.
  [[nodiscard]] static ObjectOrNull null() noexcept { return std::nullopt; }

  /// The value that is stored now: `null()` after a removal, and no entry if the observer did not ask for it.
  std::optional<ObjectOrNull> newValue = std::nullopt;
  ChangeOrigin origin = ChangeOrigin::thisProcess;

  /// Whether the change has no `newValue` entry.
  [[nodiscard]] bool isEmpty() const noexcept { return !newValue.has_value(); }
};

}  // namespace Tessaly::inline v1
