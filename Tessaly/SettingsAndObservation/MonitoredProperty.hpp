// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Observation/KeyPath.hpp"

namespace Tessaly::inline v1 {

/// A property of a `Monitorable` object that can be monitored: its key path, and whether it is computed. A computed
/// property stores no value. It changes when a property that it reads changes.
///
/// Thread contract: thread-safe.
///
///     MonitoredProperty<Song, std::string> title(keyPath<&Song::title>, false);
template <typename RootType, typename ValueType>
class MonitoredProperty {
 public:
  using Root = RootType;
  using Value = ValueType;

  constexpr MonitoredProperty(const KeyPath<Root, Value>& keyPath, bool isComputed) noexcept
      : keyPath_(keyPath), isComputed_(isComputed) {}

  [[nodiscard]] constexpr const KeyPath<Root, Value>& keyPath() const noexcept TESSALY_LIFETIMEBOUND {
    return keyPath_;
  }
  [[nodiscard]] constexpr bool isComputed() const noexcept { return isComputed_; }

 private:
  KeyPath<Root, Value> keyPath_;
  bool isComputed_;
};

}  // namespace Tessaly::inline v1
