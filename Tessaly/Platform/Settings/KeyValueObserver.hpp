// SPDX-License-Identifier: MIT
// Component: Tessaly::Settings
#pragma once

#include <optional>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Object.hpp"
#include "Tessaly/Platform/Settings/KeyValueChange.hpp"

namespace Tessaly::inline v1 {

/// An object that can be told of changes of single keys of a store.
///
/// It is told of this process's own writes on the writing thread before the write returns, and of other processes'
/// writes on one serial executor, in the order in which they were made; so both may come at once. No lock is held
/// meanwhile. A throw out of `observeValue` stops the process.
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

  /// Called after a change of a key that this object observes in `object`, with the `context` that it was added with.
  virtual void observeValue(std::optional<std::string_view> keyPath, const Object* object,
                            const std::optional<KeyValueChange>& change, void* context) = 0;

 protected:
  KeyValueObserver() noexcept = default;
};

}  // namespace Tessaly::inline v1
