// SPDX-License-Identifier: MIT
// Component: Tessaly::Settings
#pragma once

#include <optional>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Object.hpp"
#include "Tessaly/Platform/Settings/KeyValueChange.hpp"

namespace Tessaly::inline v1 {

/// An object that a settings store notifies of the changes of one key or of every key.
///
/// If a thread of this process writes a value, that thread notifies the observer before the write returns. If other
/// processes write values, one serial executor notifies the observer, in the order of those writes. Several
/// notifications may run at the same time, so `observeValue` must be thread-safe. The store holds no lock during a
/// notification. An exception from `observeValue` stops the process.
///
/// Thread contract: thread-safe.
///
///     class Redrawer final : public KeyValueObserver {
///      public:
///       void observeValue(std::optional<std::string_view> keyPath, const Object* object,
///                         const std::optional<KeyValueChange>& change, void* context) override {
///         if (keyPath == "theme") redraw();
///       }
///     };
class TESSALY_EXPORT KeyValueObserver : public Object {
 public:
  ~KeyValueObserver() override;

  /// Called after a change of an observed key. Several threads may call this function at the same time. `keyPath` is
  /// the key, and `object` is the settings store. `context` is the pointer that was passed when the observer was added.
  /// The stores of this library always pass a key, a store and a change.
  virtual void observeValue(std::optional<std::string_view> keyPath, const Object* object,
                            const std::optional<KeyValueChange>& change, void* context) = 0;

 protected:
  KeyValueObserver() noexcept = default;
};

}  // namespace Tessaly::inline v1
