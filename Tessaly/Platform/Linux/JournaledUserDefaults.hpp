// SPDX-License-Identifier: MIT
#pragma once

#include <chrono>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Platform/Settings/UserDefaults.hpp"

namespace Tessaly::inline v1 {

namespace detail {
class SettingsFileSystem;
}  // namespace detail

/// The settings of one directory: a property list as a checkpoint, and a journal beside it that holds the truth.
///
/// docs/settings.md tells the files, the order in which they are written, and what survives what.
///
/// No call waits for other processes for longer than 2 s in all; `close()` and the destructor 1 s more while the
/// property list cannot be read. Once a lock was waited for in vain, writes stay in memory without waiting until it is
/// free.
///
/// Thread contract: thread-safe.
///
///     const auto settings = JournaledUserDefaults::open({.folder = "/home/me/.config/org.example.player"});
///     settings->set(50, "volume");
class TESSALY_EXPORT JournaledUserDefaults final : public UserDefaults {
 public:
  enum class Opening : std::uint8_t {
    /// Makes the missing files, and follows the changes of others.
    forUse,
    /// Reads what is there now, without leaving a trace; writes stay in memory.
    forReading,
  };
  struct Options {
    /// Empty when there is no place for settings: then they are in memory only.
    std::string folder;
    Opening opening = Opening::forUse;
    /// The clock of all delays and waits. It must outlive the store. If the host releases the store during a
    /// notification of another process's change, the store ends later on the notifying thread.
    Clock& clock = ContinuousClock::shared();
    /// The system calls on files. Null means the system's own. It must outlive the store as the clock does.
    detail::SettingsFileSystem* fileSystem = nullptr;
  };

  /// The time from a write to its checkpoint, unless one is due earlier.
  static constexpr std::chrono::milliseconds checkpointDelay{250};
  /// A property list that is unreadable for this long counts as damaged; three times that for a store that has never
  /// read it.
  static constexpr std::chrono::seconds damageDelay{1};
  /// From a write that could not be stored until it is tried again.
  static constexpr std::chrono::seconds retryDelay{1};
  /// A journal that exceeds this size and that of the property list does not wait for its checkpoint.
  static constexpr std::uint64_t largeJournal = std::uint64_t{64} * 1024;
  /// When the journal exceeds this many times that size, each write pauses for 0.1 ms.
  static constexpr std::uint64_t overdueJournals = 4;

  [[nodiscard]] static std::shared_ptr<JournaledUserDefaults> open(const Options& options);
  /// The store of the identifier's directory.
  [[nodiscard]] static std::shared_ptr<JournaledUserDefaults> openIdentifier(std::string_view identifier,
                                                                             Opening opening = Opening::forUse);
  /// Makes a last checkpoint. While the property list cannot be read, it waits for up to `damageDelay`.
  ~JournaledUserDefaults() override;

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
  bool synchronize() override;
  [[nodiscard]] UserDefaultsStatus status() const override;
  [[nodiscard]] std::uint64_t revision() const noexcept override;

  /// Writes the changes that no checkpoint holds yet into the property list. Called at the end of the process. While
  /// that list cannot be read, it waits for up to `damageDelay`.
  void close() noexcept;

 private:
  class Parts;
  class Delivery;

  explicit JournaledUserDefaults(const Options& options);
  void change(std::string_view key, const std::optional<PropertyList>& value);

  const std::unique_ptr<Parts> parts_;
};

}  // namespace Tessaly::inline v1
