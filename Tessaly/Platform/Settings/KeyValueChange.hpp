// SPDX-License-Identifier: MIT
// Component: Tessaly::Settings
#pragma once

#include <cstdint>
#include <optional>

#include "Tessaly/Core/Foundation/PropertyList.hpp"

namespace Tessaly::inline v1 {

/// Who made a change of the settings.
enum class ChangeOrigin : std::uint8_t { thisProcess, otherProcess };

/// What an observer asks to be told.
enum class KeyValueObservingOptions : std::uint8_t {
  /// That there was a change, but not what is stored now.
  none = 0,
  /// What is stored now.
  newValue = 1,
};

/// What an observer of a key is told about one change.
///
///     KeyValueChange removal{.newValue = KeyValueChange::null(), .origin = ChangeOrigin::otherProcess};
///     assert(!removal.isEmpty());
struct KeyValueChange {
  /// The stored object, or the explicit null.
  using ObjectOrNull = std::optional<PropertyList>;
  /// What the entry holds after a removal.
  [[nodiscard]] static ObjectOrNull null() noexcept { return std::nullopt; }

  /// What is stored now: `null()` after a removal, and no entry at all when the observer did not ask for it.
  std::optional<ObjectOrNull> newValue = std::nullopt;
  ChangeOrigin origin = ChangeOrigin::thisProcess;

  /// Whether it has no entry.
  [[nodiscard]] bool isEmpty() const noexcept { return !newValue.has_value(); }
};

}  // namespace Tessaly::inline v1
