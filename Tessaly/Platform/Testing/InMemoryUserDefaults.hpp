// SPDX-License-Identifier: MIT
// Component: Tessaly::Testing
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Settings/UserDefaults.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class KeyValueObservers;
class SettingsTable;
}  // namespace detail

/// A settings store in memory. A test can also write to the store as another process would.
///
/// Thread contract: thread-safe.
///
///     const auto settings = InMemoryUserDefaults::make();
///     const UserDefaultsInstallation installation(settings);
///     settings->setFromElsewhere(PropertyList(75), "volume");
class TESSALY_EXPORT InMemoryUserDefaults final : public UserDefaults {
 public:
  [[nodiscard]] static std::shared_ptr<InMemoryUserDefaults> make();
  ~InMemoryUserDefaults() override;

  [[nodiscard]] std::optional<PropertyList> value(std::string_view forKey) const override;
  void set(PropertyList value, std::string_view forKey) override;
  void removeObject(std::string_view forKey) override;
  void setValuesForKeys(KeyedValues keyedValues) override;
  [[nodiscard]] PropertyList::Dictionary dictionaryRepresentation() const override;
  void addObserver(const std::shared_ptr<KeyValueObserver>& observer, std::string_view forKeyPath,
                   KeyValueObservingOptions options, void* context) override;
  void removeObserver(const KeyValueObserver& observer, std::string_view forKeyPath) override;
  void addObserverOfEveryKey(const std::shared_ptr<KeyValueObserver>& observer, KeyValueObservingOptions options,
                             void* context) override;
  void removeObserverOfEveryKey(const KeyValueObserver& observer) override;
  void publishKeys(std::vector<SettingDescription> keys) override;
  [[nodiscard]] std::vector<SettingDescription> publishedKeys() const override;
  /// Returns whether `status()` has no problem.
  bool synchronize() override;
  [[nodiscard]] UserDefaultsStatus status() const override;
  [[nodiscard]] std::uint64_t revision() const noexcept override;

  /// Writes a value as another process would. An absent value removes the key. A value that is nested too deep to be
  /// stored changes nothing. If the stored value changes, notifies the observers on the calling thread, with
  /// `ChangeOrigin::otherProcess`.
  void setFromElsewhere(const std::optional<PropertyList>& value, std::string_view forKey);
  /// Sets the result of `status()`. Later calls of `set` and `setValuesForKeys` still set or clear the problem
  /// `valueTooLarge`.
  void setStatus(UserDefaultsStatus status);

 private:
  InMemoryUserDefaults();
  /// Returns whether the store accepts values of this depth. Also sets or clears the problem `valueTooLarge` in
  /// `status_`.
  bool admits(std::uint32_t depth);
  void change(std::string_view key, const std::optional<PropertyList>& value, ChangeOrigin origin);

  const std::unique_ptr<detail::SettingsTable> table_;
  const std::unique_ptr<detail::KeyValueObservers> observers_;
  mutable UnfairLock lock_;
  UserDefaultsStatus status_ TESSALY_GUARDED_BY(lock_);
  std::vector<SettingDescription> keys_ TESSALY_GUARDED_BY(lock_);
};

}  // namespace Tessaly::inline v1
