// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Settings/KeyValueChange.hpp"
#include "Tessaly/Platform/Settings/KeyValueObserver.hpp"

namespace Tessaly::inline v1::detail {

/// The observers of one store, by key. The cost of `notify` or `remove` does not depend on the number of observers of
/// other keys.
///
/// Thread contract: thread-safe.
class TESSALY_EXPORT KeyValueObservers {
 public:
  KeyValueObservers();
  ~KeyValueObservers();

  /// If `key` is absent, the observer observes every key.
  void add(const std::shared_ptr<KeyValueObserver>& observer, std::optional<std::string_view> key,
           KeyValueObservingOptions options, void* context);
  void remove(const KeyValueObserver& observer, std::optional<std::string_view> key) noexcept;
  /// Notifies the observers of `key` and the observers that were added without a key, in the order in which they were
  /// added. Holds no lock during the calls. Skips observers that were removed or destroyed before their turn.
  void notify(const Object& store, std::string_view key, const std::optional<PropertyList>& newValue,
              ChangeOrigin origin) const noexcept;

 private:
  struct Registration {
    std::weak_ptr<KeyValueObserver> observer;
    const KeyValueObserver* address;
    /// The key as the caller of `add` passed it, if that key is ill-formed UTF-8. Absent for any other key.
    std::optional<std::string> illFormedKey;
    KeyValueObservingOptions options;
    void* context;
    std::uint64_t number;
  };
  /// Registrations in the order in which they were added.
  using Registrations = std::vector<Registration>;
  struct Hash {
    using is_transparent = void;
    std::size_t operator()(std::string_view key) const noexcept { return std::hash<std::string_view>()(key); }
  };

  [[nodiscard]] bool isRegistered(std::string_view key, std::uint64_t number) const noexcept;

  mutable UnfairLock lock_;
  /// The registrations of each key. The map's key is the well-formed key that the store uses.
  std::unordered_map<std::string, Registrations, Hash, std::equal_to<>> ofKeys_ TESSALY_GUARDED_BY(lock_);
  Registrations ofEveryKey_ TESSALY_GUARDED_BY(lock_);
  std::uint64_t added_ TESSALY_GUARDED_BY(lock_) = 0;
  std::atomic<std::size_t> count_{0};
  std::atomic<std::uint64_t> removals_{0};
};

}  // namespace Tessaly::inline v1::detail
