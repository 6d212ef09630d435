// SPDX-License-Identifier: MIT
// How the store treats journals that are missing, unexpected, damaged or overwritten.
#include <cerrno>
#include <cstring>
#include <utility>
#include <vector>

#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"
#include "Tessaly/Platform/Linux/SettingsStore.hpp"

namespace Tessaly::inline v1::detail {
namespace {

std::uint64_t randomNumber() {
  std::uint64_t number = 0;
  std::memcpy(&number, UUID::random().bytes().data(), sizeof(number));
  return number;
}

std::uint32_t randomLineage() { return static_cast<std::uint32_t>(randomNumber()) | 1; }

/// Versions that do not know lineages write 0.
bool isSameLineage(std::uint32_t first, std::uint32_t second) noexcept {
  return first == second || first == 0 || second == 0;
}

}  // namespace

StoreResult<> SettingsStore::followJournal(LockMode mode) {
  const auto start = journal_.contents(JournalHeader::size);
  if (!start) return std::unexpected(start.error());
  const auto header = JournalHeader::from(*start);
  if (!header) return followDamagedJournal(mode);
  if (header->version > JournalHeader::currentVersion) return failure(StoreFault::newerVersion);
  // Another directory may have a property list of another lineage, whatever journal it has.
  const bool isSameDirectory = values_.areLoaded() && followedDirectory_ == inodeAt(directory_, files_);
  const bool isFormerLost = std::exchange(isFormerJournalLost_, false);
  const bool continues = isSameLineage(header->lineage, journal_.lineage()) && !isFormerLost;
  if (isSameDirectory && continues && journal_.nonce() != 0 && header->predecessor == journal_.nonce()) {
    journal_.follow(*header, *start);
    values_.beginJournal();
    isOldJournalDamaged_ = std::exchange(isJournalDamaged_, false) || isOldJournalDamaged_;
    return readNews();
  }
  if (!isSameDirectory || continues) {
    journal_.follow(*header, *start);
    return load();
  }
  if (header->nonce != restoredNonce_) {
    // Another process has noticed the loss, and knows the new path of the overwritten journal. That process may not
    // have known all writes of this process.
    incidents_.journalHadProblem(UserDefaultsProblem::overwrittenJournal, directory_, UserDefaultsEffect::mayBeLost);
  }
  if (!former_) former_ = formerJournal();
  journal_.follow(*header, *start);
  return load();
}

SettingsStore::FormerJournal SettingsStore::formerJournal() const {
  FormerJournal former{.nonce = journal_.nonce(),
                       .offset = journal_.offset(),
                       .ownChangesBefore = values_.ownChangesBeforeJournal(),
                       .changes = values_.sincePropertyList(),
                       .values = {}};
  for (const auto& [key, unused] : former.changes) former.values.emplace(key, values_.table().value(key));
  return former;
}

StoreResult<bool> SettingsStore::hasExclusiveLock(LockMode mode) {
  if (mode == LockMode::exclusive) return true;
  if (const auto locked = journal_.lock(LockMode::exclusive); !locked) return std::unexpected(locked.error());
  // Another process may have changed the journal between the shared lock and the exclusive lock.
  const auto standing = journal_.standing();
  if (!standing) return std::unexpected(standing.error());
  return *standing ==
         (journal_.isFollowed() ? SettingsJournalFile::Standing::overwritten : SettingsJournalFile::Standing::current);
}

StoreResult<> SettingsStore::followDamagedJournal(LockMode mode) {
  if (journal_.isWritable()) {
    const auto isExclusive = hasExclusiveLock(mode);
    if (!isExclusive) return std::unexpected(isExclusive.error());
    if (!*isExclusive) {
      journal_.close();
      return {};
    }
  }
  const auto bytes = journal_.contents();
  if (!bytes) return std::unexpected(bytes.error());
  const auto contents = JournalContents::from(*bytes);
  if (!contents) {
    if (journal_.isWritable()) return setJournalAside();
    incidents_.journalHadProblem(UserDefaultsProblem::damagedJournal, journal_.path(), UserDefaultsEffect::mayBeLost);
    return failure(StoreFault::damaged, EILSEQ);
  }
  journal_.follow(contents->header, std::string_view(*bytes).substr(0, JournalHeader::size));
  if (const auto loaded = load(); !loaded || !journal_.isWritable()) return loaded;
  return restoreJournal(UserDefaultsProblem::damagedJournal);
}

StoreResult<> SettingsStore::setJournalAside() {
  const bool isEmpty = journal_.isOpen() && journal_.contents().value_or("unknown").empty();
  journal_.close();
  const auto name = setAside(journal_.path(), journal_.path(), SettingAside::move, files_);
  if (!name) return std::unexpected(name.error());
  incidents_.journalHadProblem(UserDefaultsProblem::damagedJournal, isEmpty ? directory_ : *name,
                               UserDefaultsEffect::mayBeLost);
  if (isEmpty) static_cast<void>(files_.remove(*name));
  return {};
}

SettingsStore::Restored SettingsStore::restored() {
  Restored result{.header = {.nonce = randomNumber(), .predecessor = journal_.nonce(), .lineage = randomLineage()},
                  .records = {}};
  const FileIdentity present = listFile_.identity();
  result.header.checkpoint = values_.areLoaded() ? values_.list().identity : present;
  if (!values_.areLoaded()) return result;
  const auto add = [&](std::string_view key, const std::optional<PropertyList>& value) {
    result.records += encoded(key, value, JournalRecord::otherProgramReplaced, result.header.nonce);
  };
  if (present.isNone()) {
    for (const auto& [key, value] : values_.table().all()) add(key, value);
  } else if (followedDirectory_ == inodeAt(directory_, files_)) {
    for (const auto& [key, unused] : values_.sincePropertyList()) add(key, values_.table().value(key));
  } else {
    result.header.predecessor = 0;  // An old journal of this directory has nothing to do with the journal in memory.
    return result;
  }
  std::vector<JournalRecord::Restoration> restorations = values_.restorations();
  restorations.push_back(
      {.nonce = journal_.nonce(), .offset = journal_.offset(), .changes = values_.changesOfJournal()});
  for (const auto& restoration : restorations) {
    const std::string extent = JournalRecord::encodedRestoration(restoration);
    const JournalRecord record{.kind = JournalRecord::Kind::restoration, .writer = writer_, .key = {}, .value = extent};
    result.records += record.encoded(result.header.nonce);
  }
  return result;
}

StoreResult<> SettingsStore::createJournal() {
  if (const auto made = makeDirectories(directory_, files_); !made) return made;
  const Restored content = restored();
  if (const auto created = journal_.create(content.header, content.records); !created) return created;
  values_.list().wantsCheckpoint = values_.areLoaded();
  if (values_.areLoaded()) schedule_.checkpoint(JournaledUserDefaults::checkpointDelay);
  schedule_.directoryIsNew();
  return {};
}

StoreResult<> SettingsStore::restoreJournal(UserDefaultsProblem problem) {
  if (!journal_.isWritable()) {
    // This process can only read the values that are stored now.
    journal_.close();
    return {};
  }
  const Restored content = restored();
  const auto name = journal_.replace(content.header, content.records);
  if (!name) return std::unexpected(name.error());
  incidents_.journalHadProblem(problem, name->empty() ? directory_ : *name, UserDefaultsEffect::mayBeLost);
  restoredNonce_ = content.header.nonce;
  journal_.close();
  values_.list().wantsCheckpoint = true;
  schedule_.checkpoint(JournaledUserDefaults::checkpointDelay);
  return {};
}

StoreResult<> SettingsStore::rotate() {
  const std::uint32_t lineage = journal_.lineage() != 0 ? journal_.lineage() : randomLineage();
  const JournalHeader header{.nonce = randomNumber(),
                             .predecessor = journal_.nonce(),
                             .checkpoint = values_.list().identity,
                             .lineage = lineage};
  if (const auto rotated = journal_.rotate(header); !rotated) return rotated;
  values_.beginJournal();
  isOldJournalDamaged_ = std::exchange(isJournalDamaged_, false);
  return {};
}

}  // namespace Tessaly::inline v1::detail
