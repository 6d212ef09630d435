// SPDX-License-Identifier: MIT
// Component: Tessaly::Settings
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/BackendInstallation.hpp"
#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/Object.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Platform/Settings/KeyValueObserver.hpp"
#include "Tessaly/Platform/Settings/SettingDescription.hpp"
#include "Tessaly/Platform/Settings/UserDefaultsStatus.hpp"

namespace Tessaly::inline v1 {

/// The settings of an application: property-list values by key. The values are stored on disk. All processes of a user
/// that open the store of the same application identifier share these values.
///
/// A key is any text of any length, even an empty text or a text with dots or NUL. A key is never a path of keys. No
/// write reports a failure. A value that is too large or nested too deeply is refused. Any other value that cannot be
/// stored stays in memory, and the store tries again to store the value. `status()` says why a value was refused or
/// could not be stored. docs/settings.md says which values survive which failure.
///
/// Hosts use `Default`, which gives settings a type. This class is for batches and for keys that are only known at run
/// time.
///
/// Thread contract: thread-safe.
///
///     const std::shared_ptr<UserDefaults>& settings = UserDefaults::standard();
///     settings->set(50, "volume");
///     std::optional<PropertyList> volume = settings->value("volume");
///     settings->setValuesForKeys({{"volume", 30}, {"theme", "dark"}, {"last-file", std::nullopt}});
class TESSALY_EXPORT UserDefaults : public Object {
 public:
  ~UserDefaults() override;

  /// The store of this application. Its identifier is the main bundle's identifier, or the executable's name if the
  /// bundle has none. The store is opened at first use and never destroyed. While a `UserDefaultsInstallation` exists,
  /// returns the store that it installed.
  [[nodiscard]] static const std::shared_ptr<UserDefaults>& standard();
  /// The store of this application, even while a `UserDefaultsInstallation` replaces `standard()`.
  [[nodiscard]] static const std::shared_ptr<UserDefaults>& system();
  /// The place that `BackendInstallation` writes to.
  [[nodiscard]] static InstalledBackend<UserDefaults>& installed() noexcept;

  /// "Tessaly.UserDefaults".
  [[nodiscard]] std::string_view className() const noexcept override;

  /// The value that is stored under the key. Holds a lock for some nanoseconds. Makes no system call unless another
  /// thread holds this lock.
  [[nodiscard]] virtual std::optional<PropertyList> value(std::string_view forKey) const = 0;
  /// Stores a value. Once `set` has returned, a value that could be stored survives the end of the process. By then the
  /// observers in this process have been notified, unless an equal value was already there.
  virtual void set(PropertyList value, std::string_view forKey) = 0;
  /// Removes the value that is stored under the key, with the same guarantees as `set`.
  virtual void removeObject(std::string_view forKey) = 0;
  /// A map from keys to their new values, for `setValuesForKeys`. An entry without a value removes its key from the
  /// store.
  using KeyedValues = std::map<std::string, std::optional<PropertyList>, std::less<>>;
  /// Stores all values or none. The batch is one record, so neither the end of the process nor a power cut leaves a
  /// part of the batch. Observers are called after all changes, once for each key whose value has changed. If a value
  /// is nested too deeply, or the batch is too large, the whole batch is refused. Otherwise the batch has the
  /// guarantees of `set`. **A host's store that does not override this function gives no guarantee for the batch**: it
  /// stores one value after the other.
  virtual void setValuesForKeys(KeyedValues keyedValues);
  /// All stored values. O(n log n) for n keys.
  [[nodiscard]] virtual PropertyList::Dictionary dictionaryRepresentation() const = 0;

  /// Notifies the observer of every later change of the key until the observer is removed or destroyed. `forKeyPath` is
  /// one key, not a path of keys. The store does not keep the observer alive. An observer that is added twice is
  /// notified twice.
  virtual void addObserver(const std::shared_ptr<KeyValueObserver>& observer, std::string_view forKeyPath,
                           KeyValueObservingOptions options, void* context) = 0;
  /// Undoes the most recent `addObserver` of this observer for this key, if there is one. Does not wait for calls of
  /// the observer that other threads are making. The observer's destructor may call this function.
  virtual void removeObserver(const KeyValueObserver& observer, std::string_view forKeyPath) = 0;
  /// Like `addObserver`, but notifies the observer of the changes of every key.
  virtual void addObserverOfEveryKey(const std::shared_ptr<KeyValueObserver>& observer,
                                     KeyValueObservingOptions options, void* context) = 0;
  /// Undoes the most recent `addObserverOfEveryKey` of this observer, if there is one.
  virtual void removeObserverOfEveryKey(const KeyValueObserver& observer) = 0;

  /// Publishes the descriptions of the application's settings for people and other programs. `publishedKeys` returns
  /// the descriptions in every process, and `tessaly defaults` shows them. Replaces the descriptions that were
  /// published before. Writes a file if the descriptions have changed. Logs a failed write. A host's store that does
  /// not override this function publishes nothing.
  virtual void publishKeys(std::vector<SettingDescription> keys);
  /// The descriptions that were published last, sorted by name.
  [[nodiscard]] virtual std::vector<SettingDescription> publishedKeys() const;

  /// Waits until every value written so far would survive a power cut and can be read by other programs. Returns false
  /// if this failed, for example because the disk is full or another process holds a lock. Blocks on the disk.
  virtual bool synchronize() = 0;
  [[nodiscard]] virtual UserDefaultsStatus status() const = 0;
  /// A number that changes with each change of a value, and that no other store of this process has had. A host's store
  /// that does not override this function returns 0. A value that was read is current as long as `revision()` returns
  /// the same number as before the read. The number 0 does not guarantee this. Takes a few nanoseconds.
  [[nodiscard]] virtual std::uint64_t revision() const noexcept;

 protected:
  UserDefaults() noexcept = default;
  /// Returns the values and makes their keys well-formed: U+FFFD replaces each maximal ill-formed subsequence of a key.
  /// If two keys become equal, only one of their values stays.
  [[nodiscard]] static KeyedValues withWellFormedKeys(KeyedValues keyedValues);
};

/// Replaces `UserDefaults::standard()` for a scope.
using UserDefaultsInstallation = BackendInstallation<UserDefaults>;

}  // namespace Tessaly::inline v1
