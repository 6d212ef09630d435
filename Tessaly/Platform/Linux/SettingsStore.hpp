// SPDX-License-Identifier: MIT
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Platform/Linux/DelayedWork.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"
#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"
#include "Tessaly/Platform/Linux/SettingsJournalFile.hpp"
#include "Tessaly/Platform/Linux/SettingsKeysFile.hpp"
#include "Tessaly/Platform/Linux/SettingsListFile.hpp"
#include "Tessaly/Platform/Linux/SettingsPatience.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsIncidents.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsValues.hpp"

namespace Tessaly::inline v1::detail {

/// The values and the journal of one directory. One lock protects both, but a read of `table()` does not need this
/// lock. Other objects make the checkpoints, watch the directory and notify the observers. Those objects call this
/// class.
///
/// No thread holds the lock while it waits for another process.
///
/// Thread contract: thread-safe.
class SettingsStore {
 public:
  using Options = JournaledUserDefaults::Options;

  /// The functions with which the store starts the work of other objects. The store calls the functions under its lock,
  /// so the functions must not acquire that lock.
  struct Schedule {
    std::function<void(std::chrono::nanoseconds)> checkpoint;
    std::function<void(std::chrono::nanoseconds)> retry;
    std::function<void(std::chrono::nanoseconds)> damage;
    /// Called after the store has found no journal and made one, because the directory may be new too.
    std::function<void()> directoryIsNew;
  };

  SettingsStore(const Options& options, std::function<void(SettingsChange)> deliver);

  /// Reads all values. The caller must call this exactly once, before the first use.
  void open(Schedule schedule);

  [[nodiscard]] const std::string& directory() const noexcept { return directory_; }
  [[nodiscard]] bool isForUse() const noexcept { return isForUse_; }
  [[nodiscard]] Clock& clock() const noexcept { return clock_; }
  [[nodiscard]] SettingsFileSystem& files() const noexcept { return files_; }
  [[nodiscard]] const SettingsTable& table() const noexcept { return values_.table(); }
  [[nodiscard]] PropertyList::Dictionary all() const;
  [[nodiscard]] SettingsIncidents& incidents() noexcept { return incidents_; }
  [[nodiscard]] const SettingsIncidents& incidents() const noexcept { return incidents_; }

  /// A change to write. A change without a value is a removal.
  struct Edit {
    std::string_view key;
    const std::optional<PropertyList>* value;
    /// The value as the journal holds it. Filled by `write`.
    std::string bytes = {};
  };
  struct Write {
    std::vector<SettingsChange> changes;
    /// Whether the journal has become so large that the writer must pause.
    bool isOverdue = false;
  };
  /// Writes one record with all edits that change a stored value. If the write fails, keeps all edits in memory.
  /// Refuses all edits if one record cannot hold them. Returns the changes of which the caller must notify this
  /// process's observers.
  Write write(std::span<Edit> edits);
  /// Reads the records of other processes, and stores the values that could not be stored before.
  StoreResult<> catchUp(SettingsPatience& patience);
  /// Does the same as `catchUp`, but does not wait for other processes. Returns whether the caller must call it again
  /// later.
  [[nodiscard]] bool retry();
  /// Reads the new records, and the property list if another program has written it. The caller must call this after an
  /// event in the directory. `wasClosed` means the same as `SettingsWatcher::News::wasClosed`.
  void directoryChanged(bool wasClosed);

  /// The property list and the journal that stood in the directory at the same time. After one of the two files was
  /// replaced, the earlier pair never occurs again: each list is a new file, and each journal has a random number. New
  /// records in the journal do not change the pair.
  struct Standing {
    FileIdentity list;
    std::uint64_t journal = 0;
    friend bool operator==(const Standing&, const Standing&) noexcept = default;
  };

  // The steps of a checkpoint, in this order.
  struct CheckpointBeginning {
    bool isNeeded = false;
    bool hadOldJournal = false;
    /// The number of loads up to the end of `beginCheckpoint`, as `SettingsValues::loads` counts them.
    std::uint64_t loads = 0;
    PropertyListFormat format = PropertyListFormat::binary;
    /// The state at the end of `beginCheckpoint`.
    Standing standing;
  };
  [[nodiscard]] StoreResult<> prepareCheckpoint(SettingsPatience& patience);
  /// Reads the new records, stores the pending values and examines the property list. Then, if the journal has changes
  /// and no old journal exists, renames the journal to the old journal's name and begins a new journal.
  [[nodiscard]] StoreResult<CheckpointBeginning> beginCheckpoint(SettingsPatience& patience);
  /// The values of all keys when the present journal began. When the caller has used them, it should pass them to
  /// `keepSnapshot`, so that the next checkpoint costs less.
  [[nodiscard]] SettingsValues::Snapshot takeSnapshot();
  void keepSnapshot(SettingsValues::Snapshot snapshot);
  [[nodiscard]] StoreResult<> putInPlace(const SettingsListFile::Written& written, const CheckpointBeginning& beginning,
                                         SettingsPatience& patience);
  [[nodiscard]] StoreResult<> removeOldJournal(int directory);
  [[nodiscard]] const SettingsListFile& listFile() const noexcept { return listFile_; }
  [[nodiscard]] const SettingsKeysFile& keysFile() const noexcept { return keysFile_; }
  void checkpointFailed(const StoreProblem& problem);
  void checkpointSucceeded();
  /// Waits until the journal is on the disk. Does not wait for the property list, and ignores errors.
  void synchronizeJournal();

  /// Sets aside a property list that is still damaged. Returns whether to try again later.
  [[nodiscard]] bool resolveDamage(SettingsPatience& patience);
  [[nodiscard]] bool isListUnknown();

 private:
  /// The part of a former journal that this process knows. The former journal was missing, damaged or overwritten, and
  /// a new journal has replaced it.
  struct FormerJournal {
    std::uint64_t nonce = 0;
    std::uint64_t offset = 0;
    std::uint64_t ownChangesBefore = 0;
    SettingsValues::Overlay changes;
    SettingsValues::Values values;
  };

  /// The state of the new journal that replaced a former journal.
  struct LaterJournal {
    /// The keys that were written after the new journal began.
    std::unordered_set<std::string> touched;
    bool isRestored = false;
    /// Whether the new journal has a restoration record for the former journal. The next two members then say how much
    /// of the former journal the writer of that record had read.
    bool hasFormer = false;
    std::uint64_t knownOffset = 0;
    std::uint64_t knownOwnChanges = 0;
  };

  /// Runs the body under the store's lock and the journal's lock, and returns the body's result. If the body fails
  /// because the journal was overwritten, runs it up to two more times. Fails without a call of the body if the journal
  /// cannot be obtained.
  template <typename Body>
  auto withJournal(LockMode mode, SettingsPatience& patience, Body body) -> decltype(body());

  // SettingsStore.cpp and SettingsStoreWriting.cpp
  StoreResult<> obtainJournal(LockMode mode) TESSALY_REQUIRES(lock_);
  StoreResult<> openJournal() TESSALY_REQUIRES(lock_);
  /// Reads the remaining records of a journal that was replaced at its path, and closes that journal.
  void leaveJournal() TESSALY_REQUIRES(lock_);
  StoreResult<> readNews() TESSALY_REQUIRES(lock_);
  StoreResult<> writeRecord(std::span<Edit> edits, bool& isOverdue) TESSALY_REQUIRES(lock_);
  StoreResult<> append(std::span<const Edit> edits) TESSALY_REQUIRES(lock_);
  /// Stores the pending values. The caller must hold the journal's exclusive lock, unless nothing is pending. Without
  /// that lock, another process could write a newer value of a pending key after this process has read the last
  /// records. The pending value would then replace the newer value.
  StoreResult<> storePending() TESSALY_REQUIRES(lock_);
  [[nodiscard]] StoreResult<> storePendingAlone(SettingsPatience& patience);
  [[nodiscard]] StoreResult<> readAndStore(SettingsPatience& patience);
  /// Tries to store the values that earlier writes could not store. Called after a write that succeeded.
  void storeOthers();
  void keepInMemory(std::span<const Edit> edits, const StoreProblem& problem) TESSALY_REQUIRES(lock_);
  [[nodiscard]] std::string encoded(std::string_view key, const std::optional<PropertyList>& value,
                                    std::uint64_t writer, std::uint64_t nonce) const;

  // SettingsStoreRecovery.cpp
  StoreResult<> followJournal(LockMode mode) TESSALY_REQUIRES(lock_);
  StoreResult<> followDamagedJournal(LockMode mode) TESSALY_REQUIRES(lock_);
  StoreResult<> rotate() TESSALY_REQUIRES(lock_);
  [[nodiscard]] FormerJournal formerJournal() const TESSALY_REQUIRES(lock_);
  /// Makes the journal's lock exclusive, without a wait. `mode` must be the mode in which this process holds the lock
  /// now. Returns whether the journal's `SettingsJournalFile::Standing` is still the same as before the call.
  [[nodiscard]] StoreResult<bool> hasExclusiveLock(LockMode mode) TESSALY_REQUIRES(lock_);
  StoreResult<> createJournal() TESSALY_REQUIRES(lock_);
  /// Replaces the journal with a new one, and closes the replaced one. The new journal has all values that this process
  /// knows and that the property list lacks. If this process may not write the journal, only closes it.
  StoreResult<> restoreJournal(UserDefaultsProblem problem) TESSALY_REQUIRES(lock_);
  struct Restored {
    JournalHeader header;
    std::string records;
  };
  [[nodiscard]] Restored restored() TESSALY_REQUIRES(lock_);
  StoreResult<> setJournalAside() TESSALY_REQUIRES(lock_);

  // SettingsStoreLoading.cpp, except `listIsAbsent`, which is in SettingsStoreLists.cpp
  StoreResult<> load() TESSALY_REQUIRES(lock_);
  StoreResult<> loadAll() TESSALY_REQUIRES(lock_);
  void replayOldJournal(const std::string& bytes, const JournalHeader& next) TESSALY_REQUIRES(lock_);
  void replayJournal(const std::string& bytes) TESSALY_REQUIRES(lock_);
  [[nodiscard]] SettingsValues::Values broughtAlong(const std::string& journal) const TESSALY_REQUIRES(lock_);
  [[nodiscard]] LaterJournal laterJournal(const std::string& bytes, std::uint64_t formerNonce) const;
  StoreResult<> listIsAbsent() TESSALY_REQUIRES(lock_);
  void listIsUnreadable(const StoreProblem& problem) TESSALY_REQUIRES(lock_);
  void listIsReadable() TESSALY_REQUIRES(lock_);

  // SettingsStoreLists.cpp
  StoreResult<> lookAtPropertyList() TESSALY_REQUIRES(lock_);
  StoreResult<> adoptPropertyList(const SettingsListFile::Contents& found) TESSALY_REQUIRES(lock_);
  StoreResult<> adopt(const PropertyList::Dictionary& found, const PropertyList::Dictionary& known,
                      std::uint64_t writer) TESSALY_REQUIRES(lock_);
  StoreResult<> recordList(JournalRecord::Kind kind, const FileIdentity& identity) TESSALY_REQUIRES(lock_);
  StoreResult<> exchangeLists(const SettingsListFile::Written& written) TESSALY_REQUIRES(lock_);
  void setDamagedListAside() TESSALY_REQUIRES(lock_);

  const std::string directory_;
  const bool isForUse_;
  Clock& clock_;
  SettingsFileSystem& files_;
  const std::uint64_t writer_;
  Schedule schedule_;
  SettingsIncidents incidents_;
  /// Whether an operation has waited 2 s for the journal's shared lock without success. While this is true, operations
  /// do not wait for the journal's lock. An operation that finds the lock free sets this to false.
  std::atomic<bool> isLockStuck_{false};

  /// Held across the system calls of one operation. A read of one value does not acquire this lock.
  mutable UnfairLock lock_;
  SettingsValues values_;
  SettingsJournalFile journal_ TESSALY_GUARDED_BY(lock_);
  const SettingsListFile listFile_;
  const SettingsKeysFile keysFile_;
  PropertyListFormat format_ TESSALY_GUARDED_BY(lock_) = PropertyListFormat::binary;
  /// The inode number of the store's directory at the last load.
  ino_t followedDirectory_ TESSALY_GUARDED_BY(lock_) = 0;
  /// Whether the old journal is damaged, or comes from another program. If so, the old journal is set aside instead of
  /// removed.
  bool isOldJournalDamaged_ TESSALY_GUARDED_BY(lock_) = false;
  bool isJournalDamaged_ TESSALY_GUARDED_BY(lock_) = false;
  /// Whether the former journal was overwritten before a new journal replaced it. If so, the process that made the new
  /// journal may not know all records of the former journal.
  bool isFormerJournalLost_ TESSALY_GUARDED_BY(lock_) = false;
  /// The nonce of the journal with which this process last replaced another one.
  std::uint64_t restoredNonce_ TESSALY_GUARDED_BY(lock_) = 0;
  /// The lost journal, until a load has compared what this process knows of it with the new journal.
  std::optional<FormerJournal> former_ TESSALY_GUARDED_BY(lock_);
};

template <typename Body>
auto SettingsStore::withJournal(LockMode mode, SettingsPatience& patience, Body body) -> decltype(body()) {
  for (int attempt = 0;;) {
    {
      const UnfairLock::Guard guard(lock_);
      struct Unlocking {
        SettingsJournalFile& journal;
        ~Unlocking() { journal.unlock(); }
      } const unlocking{journal_};
      const StoreResult<> obtained = obtainJournal(mode);
      if (obtained) {
        isLockStuck_.store(false, std::memory_order_relaxed);
        auto result = body();
        // The next attempt restores the journal.
        if (result || result.error().fault != StoreFault::overwritten || ++attempt == 3) return result;
        continue;
      }
      if (obtained.error().fault != StoreFault::lockHeld) return std::unexpected(obtained.error());
    }
    if (isLockStuck_.load(std::memory_order_relaxed)) return failure(StoreFault::lockHeld);
    if (patience.wait()) continue;
    // A failure to get the exclusive lock may only mean that other processes hold the shared lock one after another. So
    // only a failure to get the shared lock counts.
    if (mode == LockMode::shared && patience.isFull()) isLockStuck_.store(true, std::memory_order_relaxed);
    return failure(StoreFault::lockHeld);
  }
}

}  // namespace Tessaly::inline v1::detail
