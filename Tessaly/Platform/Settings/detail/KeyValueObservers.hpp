// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Platform/Base/Export.hpp"
#include "Tessaly/Platform/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Settings/KeyValueChange.hpp"
#include "Tessaly/Platform/Settings/KeyValueObserver.hpp"

namespace Tessaly::inline v1::detail {

/// Who observes which keys of one store.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT KeyValueObservers {
 public:
  KeyValueObservers();
  ~KeyValueObservers();

  /// Without a key, of every key.
  void add(const std::shared_ptr<KeyValueObserver>& observer, std::optional<std::string_view> key,
           KeyValueObservingOptions options, void* context);
  void remove(const KeyValueObserver& observer, std::optional<std::string_view> key) noexcept;
  /// Tells the observers of the key, in the order in which they were added, with no lock held.
  void notify(const Object& store, std::string_view key, const std::optional<PropertyList>& newValue,
              ChangeOrigin origin) const noexcept;

 private:
  struct Registration {
    std::weak_ptr<KeyValueObserver> observer;
    const KeyValueObserver* address;
    std::optional<std::string> key;
    /// What stores make of a key that is ill-formed.
    std::optional<std::string> replacement;
    KeyValueObservingOptions options;
    void* context;
  };

  mutable UnfairLock lock_;
  std::vector<Registration> registrations_ TESSALY_GUARDED_BY(lock_);
  std::atomic<std::size_t> count_{0};
};

}  // namespace Tessaly::inline v1::detail
