// SPDX-License-Identifier: MIT
// The steps of a checkpoint, and the treatment of property lists that other programs write.
#include <cerrno>
#include <cstdint>
#include <utility>

#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "Tessaly/Platform/Linux/SettingsStore.hpp"

namespace Tessaly::inline v1::detail {

using Kind = JournalRecord::Kind;

StoreResult<> SettingsStore::prepareCheckpoint(SettingsPatience& patience) {
  return withJournal(LockMode::shared, patience, [] { return StoreResult<>(); });
}

StoreResult<SettingsStore::CheckpointBeginning> SettingsStore::beginCheckpoint(SettingsPatience& patience) {
  CheckpointBeginning beginning;
  const auto result = withJournal(LockMode::exclusive, patience, [&]() TESSALY_REQUIRES(lock_) -> StoreResult<> {
    if (!journal_.isWritable()) return failure(StoreFault::readOnly, EROFS);
    auto result = readNews();
    if (result) result = storePending();
    if (result) result = lookAtPropertyList();
    if (!result) return result;
    const auto old = files_.status(journal_.oldPath());
    if (!old && old.error().fault != StoreFault::missing) return std::unexpected(old.error());
    beginning.hadOldJournal = old.has_value();
    const bool hasChanged = values_.hasChangedSinceRotation();
    beginning.isNeeded = beginning.hadOldJournal || values_.list().wantsCheckpoint || hasChanged;
    beginning.format = format_;
    beginning.loads = values_.loads();
    if (!beginning.hadOldJournal && hasChanged) result = rotate();
    beginning.standing = {.list = values_.list().identity, .journal = journal_.nonce()};
    return result;
  });
  if (!result) return std::unexpected(result.error());
  return beginning;
}

SettingsValues::Snapshot SettingsStore::takeSnapshot() {
  std::uint64_t journal = 0;
  {
    const UnfairLock::Guard guard(lock_);
    if (auto kept = values_.takeSnapshot()) return *std::move(kept);
    journal = values_.journal();
  }
  // Reads without the lock, so that no writer waits for 100,000 keys. `snapshotOf` reverts later changes.
  PropertyList::Dictionary values = values_.table().all();
  const UnfairLock::Guard guard(lock_);
  return values_.snapshotOf(std::move(values), journal);
}

void SettingsStore::keepSnapshot(SettingsValues::Snapshot snapshot) {
  const UnfairLock::Guard guard(lock_);
  values_.keepSnapshot(std::move(snapshot));
}

StoreResult<> SettingsStore::putInPlace(const SettingsListFile::Written& written, const CheckpointBeginning& beginning,
                                        SettingsPatience& patience) {
  return withJournal(LockMode::exclusive, patience, [&]() TESSALY_REQUIRES(lock_) {
    auto result = readNews();
    if (result) result = lookAtPropertyList();
    if (!result) return result;
    // After another load, the values of the written list may differ from the values at the beginning of this journal.
    if (values_.loads() != beginning.loads) return StoreResult<>(failure(StoreFault::outdated));
    return exchangeLists(written);
  });
}

StoreResult<> SettingsStore::recordList(Kind kind, const FileIdentity& identity) {
  const std::string value = JournalRecord::encodedIdentity(identity);
  const JournalRecord record{.kind = kind, .writer = writer_, .key = {}, .value = value};
  const auto appended = journal_.appendAll(record.encoded(journal_.nonce()));
  return appended ? readNews() : appended;
}

StoreResult<> SettingsStore::exchangeLists(const SettingsListFile::Written& written) {
  const FileIdentity expected = values_.list().identity;
  // Writes the record first, because every process that sees the file must know it.
  const Kind kind = values_.list().isUnrecorded ? Kind::checkpointWithUnknownChanges : Kind::checkpoint;
  if (const auto recorded = recordList(kind, written.identity); !recorded) return recorded;
  const auto isReplaced = listFile_.put(written, expected);
  if (!isReplaced) return std::unexpected(isReplaced.error());
  values_.list().wantsCheckpoint = false;
  if (!*isReplaced) return {};
  // Another program has replaced the list at the same moment. Its changes must not be lost.
  const auto replaced = listFile_.read(written.path);
  if (replaced) {
    const auto adopted =
        adopt(*replaced->values.dictionary(), values_.valuesAtPreviousList(), JournalRecord::otherProgramReplaced);
    if (adopted) {
      listFile_.discard(written);
      return {};
    }
  }
  const auto name = listFile_.setReplacedAside(written);
  incidents_.listWasSetAside(name.value_or(written.path), true);
  return {};
}

StoreResult<> SettingsStore::removeOldJournal(int directory) {
  bool isDamaged = false;
  {
    const UnfairLock::Guard guard(lock_);
    isDamaged = isOldJournalDamaged_;
  }
  if (!isDamaged) {
    const auto removed = files_.removeFrom(directory, "journal.old");
    // Another program may have put a directory in its place.
    if (removed || (removed.error().fault != StoreFault::notAFile && removed.error().errorCode != EPERM))
      return removed;
  }
  const std::string path = directory_ + "/journal.old";
  const auto name = setAside(path, path, SettingAside::move, files_);
  if (!name && name.error().fault != StoreFault::missing) return std::unexpected(name.error());
  const UnfairLock::Guard guard(lock_);
  isOldJournalDamaged_ = false;
  incidents_.journalHadProblem(UserDefaultsProblem::damagedJournal, name.value_or(path), UserDefaultsEffect::none);
  return {};
}

StoreResult<> SettingsStore::lookAtPropertyList() {
  auto& list = values_.list();
  const auto present = listFile_.look();
  if (!present) return std::unexpected(present.error());
  const FileIdentity identity = *present;
  if (identity.isNone()) return listIsAbsent();
  if (identity == list.identity) {
    listIsReadable();
    return {};
  }
  if (identity == list.previous) {
    // The process that announced the checkpoint was killed before it put the file in place.
    values_.returnToPreviousList();
    listIsReadable();
    return {};
  }
  const auto found = listFile_.read();
  if (found && list.isUnknown()) {
    // The store has never read a list before, so there is nothing to compare this list with.
    listIsReadable();
    return load();
  }
  if (found) return adoptPropertyList(*found);
  if (found.error().fault == StoreFault::missing) return listIsAbsent();  // It was removed after the look.
  if (list.unreadable != identity) listIsUnreadable(found.error());
  return failure(StoreFault::postponed);
}

StoreResult<> SettingsStore::listIsAbsent() {
  auto& list = values_.list();
  // The unreadable list was moved away or removed. A list that is written now would lack the values that only the
  // unreadable list holds.
  if (list.isUnknown()) return failure(StoreFault::postponed);
  list.wantsCheckpoint = true;
  list.identity = FileIdentity{};
  listIsReadable();
  return {};
}

StoreResult<> SettingsStore::adoptPropertyList(const SettingsListFile::Contents& found) {
  format_ = found.format;
  listIsReadable();
  const auto adopted = adopt(*found.values.dictionary(), values_.valuesAtPropertyList(), JournalRecord::otherProgram);
  if (!adopted) return adopted;
  const bool isUnrecorded = values_.list().isUnrecorded;
  return recordList(isUnrecorded ? Kind::adoptionWithUnknownChanges : Kind::adoption, found.identity);
}

StoreResult<> SettingsStore::adopt(const PropertyList::Dictionary& found, const PropertyList::Dictionary& known,
                                   std::uint64_t writer) {
  std::string records;
  const auto isKept = [&](const std::string& key) TESSALY_REQUIRES(lock_) {
    return values_.list().isUncertain && values_.sincePropertyList().contains(key);
  };
  for (const auto& [key, value] : found) {
    const auto previous = known.find(key);
    if (isKept(key)) continue;
    if (previous == known.end() || !previous->second.isIdentical(value)) {
      records += encoded(key, value, writer, journal_.nonce());
    }
  }
  for (const auto& [key, value] : known) {
    if (!found.contains(key) && !isKept(key)) records += encoded(key, std::nullopt, writer, journal_.nonce());
  }
  if (records.empty()) return {};
  if (const auto appended = journal_.appendAll(records); !appended) return appended;
  schedule_.checkpoint(JournaledUserDefaults::checkpointDelay);
  return readNews();
}

bool SettingsStore::resolveDamage(SettingsPatience& patience) {
  const auto result = withJournal(LockMode::exclusive, patience, [&]() TESSALY_REQUIRES(lock_) -> StoreResult<> {
    if (!journal_.isWritable()) return {};
    if (const auto read = readNews(); !read) return read;
    setDamagedListAside();
    return {};
  });
  const UnfairLock::Guard guard(lock_);
  return (!result && result.error().fault == StoreFault::lockHeld) || values_.list().unreadable;
}

void SettingsStore::setDamagedListAside() {
  auto& list = values_.list();
  const std::optional<FileIdentity> before = list.unreadable;
  const auto looked = lookAtPropertyList();
  const bool isStillSame = !looked && looked.error().fault == StoreFault::postponed && before == list.unreadable;
  const auto present = listFile_.look();
  if (isStillSame && present && present->isNone()) {
    // No process knew its values.
    listIsReadable();
    list.wantsCheckpoint = true;
  } else if (isStillSame) {
    const bool wereUnknown = list.isUnknown();
    const auto name = listFile_.setAsideIfDamaged();
    if (name && !name->empty()) {
      list.unreadable.reset();
      list.identity = FileIdentity{};
      list.wantsCheckpoint = true;
      incidents_.listWasSetAside(*name, wereUnknown);
    }
  }
  if (!list.unreadable) schedule_.checkpoint(JournaledUserDefaults::checkpointDelay);
}

void SettingsStore::directoryChanged(bool wasClosed) {
  bool isForeignList = false;
  {
    const UnfairLock::Guard guard(lock_);
    const bool hasJournal = files_.status(journal_.path()).has_value();
    const FileIdentity identity = listFile_.identity();
    const bool isListNews = identity != values_.list().identity;
    if (!hasJournal || (identity.isNone() && isListNews)) {
      // Another program has removed a file that processes still need.
      values_.list().wantsCheckpoint = true;
      return schedule_.checkpoint(JournaledUserDefaults::checkpointDelay);
    }
    if (!journal_.mayHaveChanged() && !(isListNews && wasClosed)) {
      // Another program may be writing the list in place, or may have been killed during that write.
      const bool isUnknown = values_.list().isUnknown();
      if (isListNews) schedule_.damage((isUnknown ? 3 : 1) * JournaledUserDefaults::damageDelay);
      return;
    }
  }
  SettingsPatience patience(clock_, std::chrono::milliseconds(200));
  auto result = withJournal(LockMode::shared, patience, [&]() TESSALY_REQUIRES(lock_) {
    const auto read = readNews();
    isForeignList = read && journal_.isWritable() && wasClosed && listFile_.identity() != values_.list().identity;
    return read;
  });
  if (result && isForeignList) {
    result = withJournal(LockMode::exclusive, patience, [&]() TESSALY_REQUIRES(lock_) {
      const auto read = readNews();
      return read ? lookAtPropertyList() : read;
    });
  }
  if (result || result.error().fault != StoreFault::lockHeld) return;
  // The process that holds the lock may have been stopped. A checkpoint also examines the list.
  const UnfairLock::Guard guard(lock_);
  if (isForeignList) return schedule_.checkpoint(JournaledUserDefaults::checkpointDelay);
  schedule_.retry(JournaledUserDefaults::retryDelay);
}

}  // namespace Tessaly::inline v1::detail
