// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsTable.hpp"

namespace Tessaly::inline v1::detail {

/// A change of one key. A change without a value is a removal.
struct SettingsChange {
  std::string key;
  std::optional<PropertyList> value;
};

/// The values of one store, and the known state of the files that hold them. Accesses no file.
///
/// The order of the records in the journal is the order of the writes. In every process, the caller must apply the
/// records in this order.
///
/// Thread contract: thread-compatible. `table()` and the table that it returns are thread-safe.
class TESSALY_EXPORT SettingsValues {
 public:
  /// The value of a key at some earlier point.
  struct Former {
    std::optional<PropertyList> value;
    /// The sequence number of the key's last change since the key had `value`. The number is 0 if another process made
    /// that change. Only `sincePropertyList` has these numbers. In that overlay, a change that precedes the last
    /// checkpoint's record has 0.
    std::uint64_t ownChange = 0;
  };
  /// The former values of the keys that have changed since an earlier point.
  using Overlay = std::unordered_map<std::string, Former>;
  /// Values by their keys. A key without a value was removed.
  using Values = std::unordered_map<std::string, std::optional<PropertyList>>;
  /// A value that could not be stored, and the value that the files have instead.
  struct Unstored {
    std::optional<PropertyList> value;
    std::optional<PropertyList> former = std::nullopt;
  };
  using Pending = std::unordered_map<std::string, Unstored>;
  /// The known state of the property list on the disk.
  struct KnownList {
    /// The identity of the last known property list. A checkpoint or another program wrote that list.
    FileIdentity identity;
    /// The property list that preceded the last checkpoint. If a process was killed during that checkpoint, this list
    /// may still be on the disk.
    FileIdentity previous;
    /// Whether the list that was read is not the list that the journals named last.
    bool isUnrecorded = false;
    /// Whether the record of a checkpoint may have been lost with a journal. If so, a list that no record names
    /// replaces only the values that have not changed since the known list. Such a list may be an older checkpoint.
    bool isUncertain = false;
    /// Whether everything must be read again.
    bool wantsReload = false;
    /// Whether a checkpoint is needed even if no value has changed.
    bool wantsCheckpoint = false;
    /// The list that could not be read at the last attempt.
    std::optional<FileIdentity> unreadable;

    /// Whether the present list is unreadable and no earlier list is known. If so, the values of the present list are
    /// not in memory.
    [[nodiscard]] bool isUnknown() const noexcept { return unreadable && identity.isNone(); }
  };

  /// `writer` is the writer number of this process. `apply` and `assign` pass each change of another writer to
  /// `deliver`, in the order of the changes. `endLoad` passes the differences that the load has found.
  SettingsValues(std::uint64_t writer, std::function<void(SettingsChange)> deliver);
  ~SettingsValues();

  [[nodiscard]] const SettingsTable& table() const noexcept { return table_; }
  [[nodiscard]] KnownList& list() noexcept { return list_; }
  [[nodiscard]] const KnownList& list() const noexcept { return list_; }
  [[nodiscard]] bool areLoaded() const noexcept { return areLoaded_; }
  /// The number of calls of `beginLoad`.
  [[nodiscard]] std::uint64_t loads() const noexcept { return loads_; }
  /// The value of a key. During a load, this is the value that the load has read so far.
  [[nodiscard]] std::optional<PropertyList> value(std::string_view key) const { return current().value(key); }
  /// Whether the key has exactly this value. Without a value: whether the key is absent.
  [[nodiscard]] bool has(std::string_view key, const std::optional<PropertyList>& value) const;

  /// Applies a record. Makes all changes of the record first. Then passes another writer's changes to `deliver`, or
  /// keeps this process's changes for `takeOwnChanges`. During a load, only makes the changes. If a value in the record
  /// is malformed, logs the error and makes no change.
  void apply(const JournalRecord& record);
  void assign(std::string_view key, std::optional<PropertyList> value, std::uint64_t writer) {
    announce(exchange(key, std::move(value), writer), writer);
  }
  /// Sets a value only in memory, because it could not be stored, and adds it to `pending`. An absent value is a
  /// removal.
  void keep(std::string_view key, const std::optional<PropertyList>& value);
  [[nodiscard]] Pending& pending() noexcept { return pending_; }
  [[nodiscard]] const Pending& pending() const noexcept { return pending_; }
  /// Returns this process's changes since the last call of this function, so that the caller can notify the observers.
  [[nodiscard]] std::vector<SettingsChange> takeOwnChanges() { return std::exchange(ownChanges_, {}); }

  // A load reads everything: `beginLoad`, `replay` for each journal, `endLoad`. The table keeps the former values until
  // `endLoad`. So no thread reads an older value than the thread itself has read or written before.
  /// Begins a load with the values of the property list. `found` is the identity of that list. If `list` is null, the
  /// load begins with the values in memory, because a missing file does not mean that the values were removed.
  void beginLoad(const FileIdentity& found, const PropertyList::Dictionary* list);
  struct Replayed {
    /// The byte offset in `JournalContents::records` directly after the last whole record.
    std::size_t position = 0;
    bool isDamaged = false;
  };
  Replayed replay(const JournalContents& contents);
  /// Whether the files still have everything that was read from them before.
  enum class History { continued, other };
  /// Ends a load: the values that were read replace the former values. Passes the differences to `deliver`, except at
  /// the first load. Adds the values of `broughtAlong` to `pending`. In a continued history, discards a pending value
  /// if the stored value of the same key has changed.
  void endLoad(Values broughtAlong, History history);
  /// Ends a load that could read only a part. The table keeps the former values, and `list().wantsReload` becomes true.
  void abandonLoad();
  /// The values before the last `beginLoad`.
  [[nodiscard]] const PropertyList::Dictionary& beforeLoad() const noexcept { return before_; }

  // Journals.
  /// Begins another journal: the records that are applied later are in that journal. The caller must call this function
  /// between the records of two journals.
  void beginJournal();
  /// The number of changes of each writer that were applied since the last `beginJournal`.
  [[nodiscard]] const std::unordered_map<std::uint64_t, std::uint32_t>& changesOfJournal() const noexcept {
    return changes_.ofJournal;
  }
  /// The number of this process's changes that were applied before the last `beginJournal`. Changes that a load reads
  /// again count again.
  [[nodiscard]] std::uint64_t ownChangesBeforeJournal() const noexcept { return changes_.ownBeforeJournal; }
  /// The journals that are known to have been lost and restored, at most 16. The latest is last.
  [[nodiscard]] const std::vector<JournalRecord::Restoration>& restorations() const noexcept { return restorations_; }
  [[nodiscard]] bool hasChangedSinceRotation() const noexcept { return !changes_.sinceRotation.empty(); }
  [[nodiscard]] const Overlay& sinceRotation() const noexcept { return changes_.sinceRotation; }
  /// The former values of the keys that have changed since the property list was made.
  [[nodiscard]] const Overlay& sincePropertyList() const noexcept { return changes_.sincePropertyList; }

  // Property lists.
  /// Makes the `previous` list the known list again. Called if the last checkpoint has a record, but its list was not
  /// put in place.
  void returnToPreviousList();
  [[nodiscard]] PropertyList::Dictionary valuesAtPropertyList() const {
    return before(changes_.sincePropertyList, table_.all());
  }
  [[nodiscard]] PropertyList::Dictionary valuesAtPreviousList() const {
    return before(changes_.sincePrevious, table_.all());
  }

  /// All values of the settings, as they were when a journal began.
  struct Snapshot {
    PropertyList::Dictionary values;
    /// The journal's number: the number of calls of `beginJournal`, including the call that began this journal. This is
    /// not the nonce.
    std::uint64_t journal = 0;
  };
  /// Removes and returns the kept snapshot: the values from the time when the present journal began. Absent if no
  /// snapshot was kept. After the use, the caller should pass the snapshot to `keepSnapshot`.
  [[nodiscard]] std::optional<Snapshot> takeSnapshot() { return std::exchange(snapshot_, std::nullopt); }
  /// The number of the present journal, as in `Snapshot::journal`.
  [[nodiscard]] std::uint64_t journal() const noexcept { return journals_; }
  /// Makes a snapshot of the values as they were when the present journal began. `values` must be all values of the
  /// table. The function reverts the changes of this journal in them, and leaves the table unchanged. `journal` must be
  /// the number of the present journal before the caller read the values. After a load in between, the values are older
  /// than the present journal.
  [[nodiscard]] Snapshot snapshotOf(PropertyList::Dictionary values, std::uint64_t journal) const {
    return {.values = before(changes_.sinceRotation, std::move(values)), .journal = journal};
  }
  /// Keeps a snapshot for the next checkpoint, which then usually need not read all values of the table again. Discards
  /// the given snapshot if it does not belong to the present journal. The snapshot needs about as much memory as the
  /// values.
  void keepSnapshot(Snapshot snapshot) {
    if (snapshot.journal == journals_) snapshot_ = std::move(snapshot);
  }

 private:
  /// The changes since several earlier points.
  struct Changes {
    Overlay sincePropertyList;
    /// Since the list before the last checkpoint.
    Overlay sincePrevious;
    /// Since the beginning of the present journal.
    Overlay sinceRotation;
    std::unordered_map<std::uint64_t, std::uint32_t> ofJournal;
    std::uint64_t ownBeforeJournal = 0;
  };

  [[nodiscard]] SettingsTable& current() noexcept { return isReplaying_ ? loading_ : table_; }
  [[nodiscard]] const SettingsTable& current() const noexcept { return isReplaying_ ? loading_ : table_; }
  /// The values that the files had before the changes in `since`. `values` must be all values of the table.
  [[nodiscard]] PropertyList::Dictionary before(const Overlay& since, PropertyList::Dictionary values) const;
  /// The value that the files have.
  [[nodiscard]] std::optional<PropertyList> storedValue(const std::string& key) const;
  void renewSnapshot();
  /// Sets a value. Returns the change if observers are to be notified of it.
  std::optional<SettingsChange> exchange(std::string_view key, std::optional<PropertyList> value, std::uint64_t writer);
  void announce(std::optional<SettingsChange> change, std::uint64_t writer);
  void applyChanges(const JournalRecord& record);
  void addRestoration(JournalRecord::Restoration restoration);
  void applyIdentity(const JournalRecord& record, const FileIdentity& identity);

  const std::uint64_t writer_;
  const std::function<void(SettingsChange)> deliver_;
  SettingsTable table_;
  /// The values that the present load has read so far. Empty if there is no load.
  SettingsTable loading_;
  KnownList list_;
  Changes changes_;
  std::uint64_t ownChangesEver_ = 0;
  std::vector<JournalRecord::Restoration> restorations_;
  std::optional<Snapshot> snapshot_;
  std::uint64_t journals_ = 0;
  Pending pending_;
  Pending pendingDuringLoad_;
  std::vector<SettingsChange> ownChanges_;
  PropertyList::Dictionary before_;
  /// The changes and the previous list before the present load cleared them, for `abandonLoad`.
  Changes changesBeforeLoad_;
  FileIdentity previousBeforeLoad_;
  /// The identity of the property list, according to the journals that the present load has read.
  FileIdentity recorded_;
  FileIdentity found_;
  bool isReplaying_ = false;
  bool areLoaded_ = false;
  std::uint64_t loads_ = 0;
};

}  // namespace Tessaly::inline v1::detail
