// SPDX-License-Identifier: MIT
// Component: Tessaly::SettingsAndObservation
#pragma once

#include <memory>
#include <type_traits>

#include "Tessaly/Core/Observation/KeyPath.hpp"
#include "Tessaly/SettingsAndObservation/MonitoredProperty.hpp"

namespace Tessaly::inline v1 {

class KeyPathsMonitor;

/// A class whose objects a `KeyPathsMonitor` can watch. A `std::shared_ptr` must own each object.
///
/// Usually derive from `MonitorableObject`, which has all members of the list below. Any other class must define these
/// members itself:
///
/// - a `KeyPathsMonitor::Locked`, which the class notifies after each change: `monitors.didSet(keyPath, *this)`;
/// - a type `MonitoredKeyPaths` whose members are the `MonitoredProperty` records;
/// - `removeMonitor(monitor)`, which removes a monitor that is being destroyed;
/// - `registerMonitor<Members...>(monitor)`, which inserts the monitor into the `Locked`, calls the monitor's
///   `add(root, keyPath)` for each listed property and connects the computed properties by `monitorComputed`;
/// - `monitoredProperties<Members...>()`, the records of the listed properties in a tuple.
///
/// Only the function `monitor` needs the last two members. `Members` are pointers to the object's own members, or to
/// the members of `MonitoredKeyPaths`.
template <typename Root>
concept Monitorable = requires(Root& root, const KeyPathsMonitor& monitor) {
  typename Root::MonitoredKeyPaths;
  root.removeMonitor(monitor);
};

/// Connects a computed property of an object with a monitor, by the class's own `monitorComputed`. Does nothing if the
/// class has no such member.
template <Monitorable Root, typename Base, typename Value>
void monitorComputed(Root& root, const KeyPath<Base, Value>& keyPath, const std::shared_ptr<KeyPathsMonitor>& into) {
  if constexpr (requires { root.monitorComputed(keyPath, into); }) root.monitorComputed(keyPath, into);
}

namespace detail {

/// The identity of an object: the address of the complete object for a polymorphic class, otherwise the address of
/// `object`.
template <typename T>
[[nodiscard]] const void* objectIdentity(const T& object) noexcept {
  if constexpr (std::is_polymorphic_v<T>) {
    return dynamic_cast<const void*>(std::addressof(object));
  } else {
    return std::addressof(object);
  }
}

}  // namespace detail
}  // namespace Tessaly::inline v1
