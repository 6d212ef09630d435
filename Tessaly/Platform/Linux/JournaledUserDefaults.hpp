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

/// A store of the settings in one directory. A property list holds the values at the last checkpoint. A journal beside
/// the list holds the later changes, which take precedence.
///
/// docs/settings.md describes the files and the order in which they are written. That page also says which values
/// survive which failure.
///
/// No call waits longer than 2 s in all for other processes, with one exception. If the property list has become
/// unreadable, `close()` and the destructor wait up to 1.1 s more. They wait up to `damageDelay` for a readable list,
/// and then up to 0.1 s for other processes. After an operation has waited 2 s for the journal's lock, later operations
/// do not wait for this lock, and their writes stay in memory. Operations wait again after an operation has found the
/// lock free.
///
/// Thread contract: thread-safe.
///
///     const auto settings = JournaledUserDefaults::open({.folder = "/home/me/.config/org.example.player"});
///     settings->set(50, "volume");
class TESSALY_EXPORT JournaledUserDefaults final : public UserDefaults {
 public:
  enum class Opening : std::uint8_t {
    /// Makes the missing files, and follows the changes of other processes.
    forUse,
    /// Reads the present files, and neither makes nor changes a file. Does not watch the files for later changes.
    /// Writes stay in memory.
    forReading,
  };
  struct Options {
    /// The path of the store's directory. If the path is empty, the settings are only in memory.
    std::string folder;
    Opening opening = Opening::forUse;
    /// The clock of all delays and waits. The clock must outlive the store. If the host releases the store during a
    /// notification of another process's change, the store lives until the notification ends. Then the notifying thread
    /// destroys the store.
    Clock& clock = ContinuousClock::shared();
    /// Makes the system calls for files. Null means the system's own calls. The object must outlive the store, as the
    /// clock must.
    detail::SettingsFileSystem* fileSystem = nullptr;
  };

  /// The time from a write to its checkpoint, unless a checkpoint is due earlier.
  static constexpr std::chrono::milliseconds checkpointDelay{250};
  /// If a property list is malformed or not a regular file, a store waits for this time. If the list is still damaged
  /// then, the store sets it aside. A store that has never read the list waits three times as long.
  static constexpr std::chrono::seconds damageDelay{1};
  /// The time from a write that could not be stored to the next attempt.
  static constexpr std::chrono::seconds retryDelay{1};
  /// A journal that reaches both this size and the size of the property list gets its checkpoint at once.
  static constexpr std::uint64_t largeJournal = std::uint64_t{64} * 1024;
  /// A journal is overdue when its size reaches `overdueJournals * max(largeJournal, size of the property list)`. While
  /// the journal is overdue, each write pauses for 0.1 ms.
  static constexpr std::uint64_t overdueJournals = 4;

  [[nodiscard]] static std::shared_ptr<JournaledUserDefaults> open(const Options& options);
  /// Opens the store in the settings directory of the application that has the identifier.
  [[nodiscard]] static std::shared_ptr<JournaledUserDefaults> openIdentifier(std::string_view identifier,
                                                                             Opening opening = Opening::forUse);
  /// Makes a final checkpoint, and waits at most 2 s for other processes. If the property list has become unreadable,
  /// the destructor then waits up to `damageDelay` for a readable list, and up to 0.1 s for other processes.
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

  /// Writes the changes since the last checkpoint into the property list. The store remains usable afterwards. The
  /// library calls `close` for the store of `UserDefaults::system()` at the normal end of the process. `close` waits at
  /// most 2 s for other processes. If the property list has become unreadable, `close` then waits up to `damageDelay`
  /// for a readable list, and up to 0.1 s for other processes.
  void close() noexcept;

 private:
  class Parts;
  class Delivery;

  explicit JournaledUserDefaults(const Options& options);
  void change(std::string_view key, const std::optional<PropertyList>& value);

  const std::unique_ptr<Parts> parts_;
};

}  // namespace Tessaly::inline v1
