// SPDX-License-Identifier: MIT
#pragma once

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
/// Two writes have the same order as their records in the journal. Every process calls `apply` with the records in this
/// order.
///
/// Thread contract: thread-compatible. `table()` and the table that it returns are thread-safe.
class TESSALY_EXPORT SettingsValues {
 public:
  /// The value of a key at some earlier point.
  struct Former {
    std::optional<PropertyList> value;
    /// The number of the last change of the key since that point, if this process made that change; otherwise 0.
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
    /// The known list: the last checkpoint, or the list that another program wrote.
    FileIdentity identity;
    /// The list before the last checkpoint. It may still be in place, because the checkpoint's writer may have been
    /// killed.
    FileIdentity previous;
    /// Whether the list was read although no record names it.
    bool isUnrecorded = false;
    /// Whether the record of a checkpoint may have been lost with a journal. If so, a list without a record does not
    /// replace the values of the journal, because the list may be an older checkpoint.
    bool isUncertain = false;
    /// Whether everything must be read again.
    bool wantsReload = false;
    /// Whether a checkpoint is needed even if no value has changed.
    bool wantsCheckpoint = false;
    /// The list that could not be read at the last attempt.
    std::optional<FileIdentity> unreadable;

    /// Whether no list has been read yet, because the present list is unreadable. If so, the values of the list are not
    /// in memory.
    [[nodiscard]] bool isUnknown() const noexcept { return unreadable && identity.isNone(); }
  };

  /// The changes of other writers go to `deliver`, in the order of the changes.
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

  /// Applies a record. Makes all changes of the record first. Then passes other writers' changes to `deliver`, and
  /// keeps this process's changes for `takeOwnChanges`.
  void apply(const JournalRecord& record);
  void assign(std::string_view key, std::optional<PropertyList> value, std::uint64_t writer) {
    announce(exchange(key, std::move(value), writer), writer);
  }
  /// Sets a value that could not be stored.
  void keep(std::string_view key, const std::optional<PropertyList>& value);
  [[nodiscard]] Pending& pending() noexcept { return pending_; }
  [[nodiscard]] const Pending& pending() const noexcept { return pending_; }
  /// This process's changes since the last call, for its observers.
  [[nodiscard]] std::vector<SettingsChange> takeOwnChanges() { return std::exchange(ownChanges_, {}); }

  // A load reads everything: `beginLoad`, `replay` for each journal, `endLoad`. The table keeps the former values until
  // `endLoad`. So no thread reads an older value than the thread itself has read or written before.
  /// Begins a load with the values of the property list. Without a list, the values in memory stay, because a missing
  /// file does not mean that the values were removed.
  void beginLoad(const FileIdentity& found, const PropertyList::Dictionary* list);
  struct Replayed {
    /// The position behind the last whole record.
    std::size_t position = 0;
    bool isDamaged = false;
  };
  Replayed replay(const JournalContents& contents);
  /// Whether the files still have everything that was read from them before.
  enum class History { continued, other };
  /// Delivers the differences from the former values, except at the first load. The values of `broughtAlong` wait to be
  /// stored. In a continued history, a value that could not be stored is discarded if the stored value of the same key
  /// has changed.
  void endLoad(Values broughtAlong, History history);
  /// Ends a load that could read only a part. The former values stay, and everything must be read again.
  void abandonLoad();
  /// The values before the last `beginLoad`.
  [[nodiscard]] const PropertyList::Dictionary& beforeLoad() const noexcept { return before_; }

  // Journals.
  /// Called between two journals: later records are in another journal.
  void beginJournal();
  /// The number of changes of each writer that were applied since `beginJournal`.
  [[nodiscard]] const std::unordered_map<std::uint64_t, std::uint32_t>& changesOfJournal() const noexcept {
    return changesOfJournal_;
  }
  /// The number of changes that this process had made before `beginJournal`.
  [[nodiscard]] std::uint64_t ownChangesBeforeJournal() const noexcept { return ownChangesBeforeJournal_; }
  /// The journals that are known to have been lost and restored, at most 16. The latest is last.
  [[nodiscard]] const std::vector<JournalRecord::Restoration>& restorations() const noexcept { return restorations_; }
  [[nodiscard]] bool hasChangedSinceRotation() const noexcept { return !sinceRotation_.empty(); }
  [[nodiscard]] const Overlay& sinceRotation() const noexcept { return sinceRotation_; }
  /// The former values of the keys that have changed since the property list was made.
  [[nodiscard]] const Overlay& sincePropertyList() const noexcept { return sincePropertyList_; }

  // Property lists.
  /// Makes the `previous` list the known list again, because the last checkpoint was announced but not put in place.
  void returnToPreviousList();
  [[nodiscard]] PropertyList::Dictionary valuesAtPropertyList() const {
    return before(sincePropertyList_, table_.all());
  }
  [[nodiscard]] PropertyList::Dictionary valuesAtPreviousList() const { return before(sincePrevious_, table_.all()); }

  /// The values at the beginning of a journal.
  struct Snapshot {
    PropertyList::Dictionary values;
    /// The number of the journal.
    std::uint64_t journal = 0;
  };
  /// The values at the beginning of the present journal, if they were kept. The caller returns them with
  /// `keepSnapshot`.
  [[nodiscard]] std::optional<Snapshot> takeSnapshot() { return std::exchange(snapshot_, std::nullopt); }
  /// Makes a snapshot from all values of the table, which the caller has just read.
  [[nodiscard]] Snapshot snapshotOf(PropertyList::Dictionary values) const {
    return {.values = before(sinceRotation_, std::move(values)), .journal = journals_};
  }
  /// Keeps a snapshot of the present journal, so that the next checkpoint needs only the changes. The snapshot needs
  /// about as much memory as the values.
  void keepSnapshot(Snapshot snapshot) {
    if (snapshot.journal == journals_) snapshot_ = std::move(snapshot);
  }

 private:
  [[nodiscard]] SettingsTable& current() noexcept { return isReplaying_ ? loading_ : table_; }
  [[nodiscard]] const SettingsTable& current() const noexcept { return isReplaying_ ? loading_ : table_; }
  /// The stored values at an earlier point, made from the values of the table.
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
  Overlay sincePropertyList_;
  Overlay sinceRotation_;
  std::unordered_map<std::uint64_t, std::uint32_t> changesOfJournal_;
  std::uint64_t ownChangesEver_ = 0;
  std::uint64_t ownChangesBeforeJournal_ = 0;
  std::vector<JournalRecord::Restoration> restorations_;
  Overlay sincePrevious_;
  std::optional<Snapshot> snapshot_;
  std::uint64_t journals_ = 0;
  Pending pending_;
  Pending pendingDuringLoad_;
  std::vector<SettingsChange> ownChanges_;
  PropertyList::Dictionary before_;
  /// The identity of the property list, according to the records of the present load.
  FileIdentity recorded_;
  FileIdentity found_;
  bool isReplaying_ = false;
  bool areLoaded_ = false;
  std::uint64_t loads_ = 0;
};

}  // namespace Tessaly::inline v1::detail
