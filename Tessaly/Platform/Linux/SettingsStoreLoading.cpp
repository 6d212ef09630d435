// SPDX-License-Identifier: MIT
// How the store reads everything: the old journal, the property list, the journal.
#include <algorithm>
#include <cerrno>
#include <new>
#include <unordered_set>
#include <utility>

#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "Tessaly/Platform/Linux/SettingsStore.hpp"

namespace Tessaly::inline v1::detail {

void SettingsStore::open(Schedule schedule) {
  schedule_ = std::move(schedule);
  if (directory_.empty()) return incidents_.writesFail(UserDefaultsProblem::noFolder, 0, 0);
  SettingsPatience patience(clock_, SettingsPatience::maximum);
  const auto obtained = withJournal(LockMode::shared, patience, [] { return StoreResult<>(); });
  const UnfairLock::Guard guard(lock_);
  if (!values_.areLoaded()) {
    // Reading needs no lock, because readers skip incomplete records. A stopped process that holds the lock must not
    // hide the values.
    if (!obtained && obtained.error().fault == StoreFault::lockHeld && journal_.isOpen()) {
      const auto bytes = journal_.contents();
      const auto contents = bytes ? JournalContents::from(*bytes) : std::nullopt;
      if (contents && contents->header.version <= JournalHeader::currentVersion) {
        journal_.follow(contents->header, std::string_view(*bytes).substr(0, JournalHeader::size));
      }
    }
    const auto loaded = load();
    if (!loaded && !isForUse_) incidents_.writesFail(loaded.error(), 0);
  }
  const StoreFault fault = obtained ? StoreFault::system : obtained.error().fault;
  if (!isForUse_) {
    // A missing store is empty. Damage was already reported.
    const bool isAbsent = !obtained && obtained.error().errorCode == ENOENT;
    const bool isTold = isAbsent || fault == StoreFault::lockHeld || fault == StoreFault::damaged;
    if (!obtained && !isTold) incidents_.writesFail(obtained.error(), 0);
    return;
  }
  if (!obtained) {
    incidents_.writesFail(obtained.error(), 0);
    schedule_.retry(JournaledUserDefaults::retryDelay);
  } else if (!journal_.isWritable()) {
    incidents_.writesFail(UserDefaultsProblem::readOnly, EACCES, 0);
  }
  // A killed process may have left something behind.
  const bool hasOldJournal = files_.status(journal_.oldPath()).has_value();
  if (values_.hasChangedSinceRotation() || values_.list().wantsCheckpoint || hasOldJournal) {
    schedule_.checkpoint(JournaledUserDefaults::checkpointDelay);
  }
}

StoreResult<> SettingsStore::load() {
  try {
    return loadAll();
  } catch (const std::bad_alloc&) {
    // Only a part may have been read. The next operation reads everything again.
    values_.abandonLoad();
    return failure(StoreFault::outOfMemory, ENOMEM);
  }
}

StoreResult<> SettingsStore::loadAll() {
  // Reads the old journal before the property list. A checkpoint that ends between the two reads has put the old
  // journal's records into the list.
  const auto old = readFile(journal_.oldPath(), files_);
  StoreResult<> result;
  if (!old && old.error().fault != StoreFault::missing && old.error().fault != StoreFault::notAFile) {
    result = std::unexpected(old.error());
  }
  StoreResult<std::string> journal;
  if (journal_.isFollowed()) journal = journal_.contents();
  if (result && !journal) result = std::unexpected(journal.error());
  if (!result && values_.areLoaded()) {
    values_.list().wantsReload = true;  // The values in memory are better than a part of the stored values.
    return result;
  }
  const bool isContinued = !former_ && values_.areLoaded() && followedDirectory_ == inodeAt(directory_, files_);
  const auto history = isContinued ? SettingsValues::History::continued : SettingsValues::History::other;
  const auto list = listFile_.read();
  values_.beginLoad(list ? list->identity : FileIdentity{}, list ? list->values.dictionary() : nullptr);
  if (list) {
    format_ = list->format;
    listIsReadable();
  } else if (list.error().fault == StoreFault::missing || listFile_.look() == FileIdentity{}) {
    listIsReadable();
  } else {
    listIsUnreadable(list.error());
  }
  const auto header = journal ? JournalHeader::from(*journal) : std::nullopt;
  if (old) replayOldJournal(old->bytes, header.value_or(JournalHeader()));
  values_.beginJournal();
  if (journal) replayJournal(*journal);
  values_.endLoad(broughtAlong(journal.value_or("")), history);
  former_.reset();
  values_.list().wantsReload = !result;
  followedDirectory_ = inodeAt(directory_, files_);
  if (!values_.pending().empty() && isForUse_) schedule_.retry(std::chrono::nanoseconds(1));
  return result;
}

void SettingsStore::replayOldJournal(const std::string& bytes, const JournalHeader& next) {
  const auto contents = JournalContents::from(bytes, next.predecessor);
  if (contents && contents->header.version > JournalHeader::currentVersion) return;
  // Another program has put this old journal there, for example from a backup. The values of the old journal are older
  // than those of the list. The file may have replaced an old journal that was still needed.
  const bool isForeign = contents && next.predecessor != 0 && contents->header.nonce != next.predecessor &&
                         contents->header.nonce != next.nonce;
  // An empty file does not count as damaged, because a power cut may have left it.
  bool isDamaged = !contents && !bytes.empty();
  if (contents && !isForeign) isDamaged = values_.replay(*contents).isDamaged;
  const bool isHeaderDamaged = contents && contents->isHeaderDamaged;
  isOldJournalDamaged_ = isDamaged || isHeaderDamaged || isForeign;
  if (!isOldJournalDamaged_) return;
  incidents_.journalHadProblem(UserDefaultsProblem::damagedJournal, journal_.oldPath(),
                               isDamaged || isForeign ? UserDefaultsEffect::mayBeLost : UserDefaultsEffect::none);
}

void SettingsStore::replayJournal(const std::string& bytes) {
  const auto contents = JournalContents::from(bytes, journal_.nonce());
  if (!contents || contents->header.version > JournalHeader::currentVersion) return;
  const auto replayed = values_.replay(*contents);
  journal_.follow(contents->header, std::string_view(bytes).substr(0, JournalHeader::size + replayed.position));
  isJournalDamaged_ = replayed.isDamaged;
  if (!replayed.isDamaged) return;
  incidents_.journalHadProblem(UserDefaultsProblem::damagedJournal, journal_.path(), UserDefaultsEffect::mayBeLost);
}

SettingsValues::Values SettingsStore::broughtAlong(const std::string& journal) const {
  SettingsValues::Values result;
  const auto& before = values_.beforeLoad();
  if (values_.areLoaded() && followedDirectory_ != inodeAt(directory_, files_)) {
    // The process that made the directory again may not have known all values of the one that vanished.
    for (const auto& [key, value] : before) {
      if (!values_.value(key)) result.emplace(key, value);
    }
  }
  if (!former_) return result;
  const LaterJournal later = laterJournal(journal, former_->nonce);
  for (const auto& [key, change] : former_->changes) {
    // A restored journal is as new as the records that its maker had read.
    const bool isKnown = change.ownChange != 0
                             ? later.hasFormer && change.ownChange <= former_->ownChangesBefore + later.knownOwnChanges
                             : later.isRestored && (!later.hasFormer || later.knownOffset >= former_->offset);
    if (isKnown || later.touched.contains(key)) continue;
    const auto& value = former_->values.at(key);
    if (!values_.has(key, value)) result.emplace(key, value);
  }
  return result;
}

SettingsStore::LaterJournal SettingsStore::laterJournal(const std::string& bytes, std::uint64_t formerNonce) const {
  LaterJournal later;
  const auto contents = JournalContents::from(bytes);
  if (!contents) return later;
  JournalReader reader(contents->records, contents->header.nonce);
  while (const auto record = reader.next()) {
    if (record->kind != JournalRecord::Kind::restoration) {
      for (const JournalRecord::Change& change : record->changes()) later.touched.emplace(change.key);
      continue;
    }
    later.isRestored = true;
    later.touched.clear();  // The records before a restoration are not later writes.
    const auto restoration = record->restoration();
    if (!restoration || restoration->nonce != formerNonce) continue;
    const auto own = restoration->changes.find(writer_);
    later.hasFormer = true;
    later.knownOffset = restoration->offset;
    later.knownOwnChanges = own == restoration->changes.end() ? 0 : own->second;
  }
  return later;
}

void SettingsStore::listIsUnreadable(const StoreProblem& problem) {
  values_.list().unreadable = listFile_.identity();
  const bool isUnknown = values_.list().isUnknown();
  incidents_.listIsUnreadable(listFile_.path(), problem, isUnknown);
  // A process that has never read the list leaves the repair to a process that has. That process may need two attempts.
  schedule_.damage(isUnknown ? 3 * JournaledUserDefaults::damageDelay : JournaledUserDefaults::damageDelay);
}

void SettingsStore::listIsReadable() {
  if (!values_.list().unreadable) return;
  values_.list().unreadable.reset();
  incidents_.listIsReadable();
}

}  // namespace Tessaly::inline v1::detail
