// SPDX-License-Identifier: MIT
#pragma once

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <deque>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Tasks/Clock.hpp"
#include "Tessaly/Core/Tasks/SerialExecutor.hpp"
#include "Tessaly/Core/Tasks/detail/Reactor.hpp"
#include "Tessaly/Platform/Linux/DelayedWork.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "Tessaly/Platform/Settings/UserDefaults.hpp"
#include "Tessaly/Platform/Settings/detail/KeyValueObservers.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsTable.hpp"

namespace Tessaly::inline v1 {

/// The settings of one folder: a property list as a checkpoint, and a journal beside it that holds the truth.
///
/// docs/settings.md tells the files, the order in which they are written, and what survives what.
///
/// Thread contract: thread-safe.
///
///     const auto settings = JournaledUserDefaults::open({.folder = "/home/me/.config/org.example.player"});
///     settings->set(50, "volume");
class TESSALY_EXPORT JournaledUserDefaults final : public UserDefaults {
 public:
  enum class Opening : std::uint8_t {
    /// Makes what is missing, and follows the changes of others.
    forUse,
    /// Reads what is there now, without leaving a trace; writes stay in memory.
    forReading,
  };
  struct Options {
    /// Empty when there is no place for settings: then they are in memory only.
    std::string folder;
    Opening opening = Opening::forUse;
    /// What the delays of checkpoints and of trying again are measured with. It must outlive the store, which, if it is
    /// released while observers hear of another process's change, ends on their thread afterwards.
    Clock& clock = ContinuousClock::shared();
  };

  /// From a write until a checkpoint holds it, at the latest.
  static constexpr std::chrono::milliseconds checkpointDelay{250};
  /// How long a property list may be unreadable until it counts as damaged; three times that for a store that has never
  /// read it.
  static constexpr std::chrono::seconds damageDelay{1};
  /// From a write that could not be stored until it is tried again.
  static constexpr std::chrono::seconds retryDelay{1};
  /// A journal of this size, and of that of the property list, is not left to wait for its checkpoint.
  static constexpr std::uint64_t largeJournal = std::uint64_t{64} * 1024;
  /// At so many times that size each write makes a short pause.
  static constexpr std::uint64_t overdueJournals = 4;

  [[nodiscard]] static std::shared_ptr<JournaledUserDefaults> open(Options options);
  /// The store of the identifier's folder.
  [[nodiscard]] static std::shared_ptr<JournaledUserDefaults> openIdentifier(std::string_view identifier,
                                                                             Opening opening = Opening::forUse);
  /// Makes a last checkpoint. While the property list cannot be read, it waits for up to `damageDelay`.
  ~JournaledUserDefaults() override;

  [[nodiscard]] std::optional<PropertyList> value(std::string_view forKey) const override;
  void set(PropertyList value, std::string_view forKey) override;
  void removeObject(std::string_view forKey) override;
  [[nodiscard]] PropertyList::Dictionary dictionaryRepresentation() const override;
  void addObserver(const std::shared_ptr<KeyValueObserver>& observer, std::string_view forKeyPath,
                   KeyValueObservingOptions options, void* context) override;
  void removeObserver(const KeyValueObserver& observer, std::string_view forKeyPath) override;
  void addObserverOfEveryKey(const std::shared_ptr<KeyValueObserver>& observer, KeyValueObservingOptions options,
                             void* context) override;
  void removeObserverOfEveryKey(const KeyValueObserver& observer) override;
  bool synchronize() override;
  [[nodiscard]] UserDefaultsStatus status() const override;
  [[nodiscard]] std::uint64_t revision() const noexcept override;

  /// Writes what no checkpoint holds yet into the property list. For the end of the process. While that list cannot be
  /// read, it waits for up to `damageDelay`.
  void close() noexcept;

 private:
  /// What a fresh journal has room for, so that a full disk is noticed before it is needed.
  static constexpr std::uint64_t reservedSize = std::uint64_t{256} * 1024;

  /// What values keys had at some earlier point, for the keys that have changed since.
  using Overlay = std::unordered_map<std::string, std::optional<PropertyList>>;

  struct Change {
    std::string key;
    std::optional<PropertyList> value;
  };
  /// What is known of the files besides the values.
  struct State {
    /// The values that stand in the property list.
    Overlay sincePropertyList;
    /// The values at the beginning of the journal.
    Overlay sinceRotation;
    /// The property list that is known: the last checkpoint, or what another program wrote.
    detail::FileIdentity propertyList;
    /// The one before the last checkpoint, and the values there: its writer may have been killed before it put the file
    /// in place.
    detail::FileIdentity previous;
    Overlay sincePrevious;
    /// Whether it was read without any record of it.
    bool isUnrecorded = false;
    bool wantsReload = false;
    /// While everything is read: the property list is what was found, whatever the records tell.
    bool isReplaying = false;
    bool wantsCheckpoint = false;
    PropertyListFormat format = PropertyListFormat::binary;
  };
  struct Journal {
    detail::OwnedDescriptor file;
    std::uint64_t inode = 0;
    std::uint64_t device = 0;
    std::uint64_t nonce = 0;
    /// Up to where it was read.
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
    std::uint64_t reserved = 0;
    bool isWritable = false;
    bool isFollowed = false;
  };
  class JournalLock;
  class Delivery;
  /// Postponed until the property list can be read or is put aside.
  enum class Outcome : std::uint8_t { done, busy, failed, postponed };

  explicit JournaledUserDefaults(Options options);
  void start();
  void change(std::string_view key, std::optional<PropertyList> value);

  // The journal. All errors are codes of the system; 0 is none.
  /// Runs the body, which gives such a code, under both locks. As long as others hold that of the journal, this process
  /// goes on writing; ETIMEDOUT if they do so for two seconds.
  template <typename Body>
  int withExclusiveJournal(Body body);
  int obtainJournal(detail::LockMode mode, detail::Patience patience) TESSALY_REQUIRES(lock_);
  int openJournalFile() TESSALY_REQUIRES(lock_);
  int createJournalFile() TESSALY_REQUIRES(lock_);
  int followJournal() TESSALY_REQUIRES(lock_);
  int append(const std::string& record) TESSALY_REQUIRES(lock_);
  int catchUp() TESSALY_REQUIRES(lock_);
  int storePending() TESSALY_REQUIRES(lock_);
  void keepInMemory(std::string_view key, const std::optional<PropertyList>& value, int error) TESSALY_REQUIRES(lock_);
  void apply(const detail::JournalRecord& record) TESSALY_REQUIRES(lock_);
  void exchange(std::string_view key, std::optional<PropertyList> value, std::uint64_t writer) TESSALY_REQUIRES(lock_);
  [[nodiscard]] std::string encoded(std::string_view key, const std::optional<PropertyList>& value,
                                    std::uint64_t writer) const TESSALY_REQUIRES(lock_);

  // Reading everything.
  int load() TESSALY_REQUIRES(lock_);
  int loadWith(Overlay& pending) TESSALY_REQUIRES(lock_);
  /// Whether none was read yet, because the one that is there could not be. Its values are not in memory then.
  [[nodiscard]] bool isPropertyListUnknown() const TESSALY_REQUIRES(lock_) {
    return unreadable_ && state_.propertyList.isNone();
  }
  struct FoundPropertyList {
    PropertyList values;
    detail::FileIdentity identity;
    PropertyListFormat format;
  };
  /// A dictionary, or why there is none: `ENOENT` when no file is there, `EILSEQ` when it is damaged.
  [[nodiscard]] static std::expected<FoundPropertyList, int> readPropertyList(const std::string& path);

  // The property list.
  Outcome checkpoint(detail::Patience patience);
  /// It is outdated, and to be made again, if it only ended that of somebody else, or the folder was moved away.
  Outcome checkpointOnce(detail::Patience patience, bool& isOutdated);
  int rotate() TESSALY_REQUIRES(lock_);
  [[nodiscard]] int removeOldJournal(int folder) const;
  int lookAtPropertyList() TESSALY_REQUIRES(lock_);
  int adopt(const PropertyList::Dictionary& found, const Overlay& since, std::uint64_t writer) TESSALY_REQUIRES(lock_);
  int writePropertyList(const std::string& path, PropertyList::Dictionary values, PropertyListFormat format);
  int putInPlace(const std::string& written, const std::string& target) TESSALY_REQUIRES(lock_);
  [[nodiscard]] PropertyList::Dictionary valuesAtRotation();
  void resolveDamage();
  void putDamagedFileAside() TESSALY_REQUIRES(lock_);
  /// For the end of a store that may be the last to know the values of a property list that cannot be read.
  void outlastDamage();
  /// Who does not know the values of the damaged file leaves it to those who do, who may need two looks at it.
  void resolveDamageLater() TESSALY_REQUIRES(lock_) {
    damage_->schedule(isPropertyListUnknown() ? 3 * damageDelay : damageDelay);
  }
  void checkpointLater(std::chrono::nanoseconds delay) { checkpoint_->schedule(delay); }

  // Others' changes.
  void watch() TESSALY_REQUIRES(lock_);
  void folderChanged();
  void deliver(Change change) TESSALY_REQUIRES(lock_);
  void deliverNext();
  void announce(const std::vector<Change>& changes) const;

  void note(UserDefaultsProblem problem, int error) TESSALY_REQUIRES(lock_);
  void noteError(int error) TESSALY_REQUIRES(lock_);
  void noteStored() TESSALY_REQUIRES(lock_);
  void logOnce(UserDefaultsProblem problem, std::string_view text);

  const std::string folder_;
  const std::string propertyListPath_;
  const std::string journalPath_;
  const std::string oldJournalPath_;
  const Opening opening_;
  Clock& clock_;
  const pid_t process_;
  const std::uint64_t writer_;

  detail::SettingsTable table_;
  detail::KeyValueObservers observers_;

  /// Held by the one checkpoint at a time, before `lock_`.
  UnfairLock checkpointLock_;
  /// Held by the one writer or reader of the journal at a time, across its system calls. Nobody who only wants a value
  /// takes it.
  mutable UnfairLock lock_;
  Journal journal_ TESSALY_GUARDED_BY(lock_);
  State state_ TESSALY_GUARDED_BY(lock_);
  bool isLoaded_ TESSALY_GUARDED_BY(lock_) = false;
  bool isNewer_ TESSALY_GUARDED_BY(lock_) = false;
  /// What could not be stored. The table has it, too.
  Overlay pending_ TESSALY_GUARDED_BY(lock_);
  /// The property list that could not be read when it was last looked at.
  std::optional<detail::FileIdentity> unreadable_ TESSALY_GUARDED_BY(lock_);
  std::string readBuffer_ TESSALY_GUARDED_BY(lock_);
  /// What the write that holds the lock has to announce after it.
  std::vector<Change> ownChanges_ TESSALY_GUARDED_BY(lock_);
  std::uint64_t watchedInode_ TESSALY_GUARDED_BY(lock_) = 0;
  /// In which the journal stood that was followed last.
  std::uint64_t followedFolder_ TESSALY_GUARDED_BY(lock_) = 0;

  mutable UnfairLock statusLock_;
  UserDefaultsStatus status_ TESSALY_GUARDED_BY(statusLock_);
  std::uint32_t logged_ TESSALY_GUARDED_BY(statusLock_) = 0;

  UnfairLock deliveryLock_;
  std::deque<Change> deliveries_ TESSALY_GUARDED_BY(deliveryLock_);
  bool isDelivering_ TESSALY_GUARDED_BY(deliveryLock_) = false;
  SerialExecutor& others_;

  detail::OwnedDescriptor notifications_;
  std::shared_ptr<detail::DescriptorSource> source_;
  std::shared_ptr<detail::DelayedWork> checkpoint_;
  std::shared_ptr<detail::DelayedWork> retry_;
  std::shared_ptr<detail::DelayedWork> damage_;
};

}  // namespace Tessaly::inline v1
