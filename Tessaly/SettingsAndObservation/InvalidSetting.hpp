// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <cstdint>

#include "Tessaly/Core/Base/Requirements.hpp"

namespace Tessaly::inline v1 {

/// The result of reading a stored value that is outside the range of its key; see `Default::Key::within`.
///
///     constexpr auto volumeKey = Default<int>::Key("volume", 50).within(0, 100);
///     constexpr auto columnsKey = Default<int>::Key("columns", 80).within(20, 200, InvalidSetting::readsAsDefault);
enum class InvalidSetting : std::uint8_t {
  /// The value reads as the nearest end of the range, or as the default if a predicate forbids that end.
  readsAsNearest,
  /// The value reads as the default.
  readsAsDefault,
};

}  // namespace Tessaly::inline v1
