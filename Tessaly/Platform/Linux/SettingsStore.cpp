// SPDX-License-Identifier: MIT
// How the store finds its journal, and reads the records of other processes.
#include "Tessaly/Platform/Linux/SettingsStore.hpp"

#include <cerrno>
#include <cstring>
#include <new>

#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"

namespace Tessaly::inline v1::detail {
namespace {

std::uint64_t freshWriter() {
  std::uint64_t writer = 0;
  std::memcpy(&writer, UUID::random().bytes().data(), sizeof(writer));
  return writer | std::uint64_t{1} << 63;  // Not one of the numbers that stand for other programs.
}

}  // namespace

SettingsStore::SettingsStore(const Options& options, std::function<void(SettingsChange)> deliver)
    : directory_(options.folder),
      isForUse_(options.opening == JournaledUserDefaults::Opening::forUse),
      clock_(options.clock),
      files_(options.fileSystem != nullptr ? *options.fileSystem : SettingsFileSystem::shared()),
      writer_(freshWriter()),
      incidents_(directory_),
      values_(writer_, std::move(deliver)),
      journal_(files_, directory_, writer_),
      listFile_(files_, directory_, writer_),
      keysFile_(files_, directory_, writer_) {}

PropertyList::Dictionary SettingsStore::all() const {
  const UnfairLock::Guard guard(lock_);
  return values_.table().all();
}

StoreResult<> SettingsStore::obtainJournal(LockMode mode) {
  if (directory_.empty()) return failure(StoreFault::missing, ENOENT);
  if (journal_.isOpen() && !journal_.isWritable() && isForUse_ && files_.mayWrite(journal_.path())) {
    journal_.close();  // The file was not writable when it was opened.
  }
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (!journal_.isOpen()) {
      if (const auto opened = openJournal(); !opened) return opened;
      if (!journal_.isOpen()) continue;
    }
    if (const auto locked = journal_.lock(mode); !locked) return locked;
    const auto standing = journal_.standing();
    if (!standing) return std::unexpected(standing.error());
    if (*standing == SettingsJournalFile::Standing::current && journal_.isFollowed()) return {};
    StoreResult<> result;
    if (*standing == SettingsJournalFile::Standing::replaced) {
      leaveJournal();
      continue;
    }
    if (*standing == SettingsJournalFile::Standing::current) {
      result = followJournal(mode);
    } else {
      const auto isExclusive = hasExclusiveLock(mode);
      if (!isExclusive) return std::unexpected(isExclusive.error());
      if (*isExclusive) result = restoreJournal(UserDefaultsProblem::overwrittenJournal);
    }
    if (!result) journal_.close();
    if (!result || journal_.isFollowed()) return result;
  }
  return failure(StoreFault::system, EBUSY);
}

StoreResult<> SettingsStore::openJournal() {
  const auto opened = journal_.open(isForUse_);
  if (opened || !isForUse_) return opened;
  if (opened.error().fault == StoreFault::missing) return createJournal();
  if (opened.error().fault == StoreFault::notAFile) return setJournalAside();
  return opened;
}

void SettingsStore::leaveJournal() {
  // The process that replaced this journal held the exclusive lock, so no more records are written to this journal.
  if (journal_.isFollowed()) {
    const auto intact = journal_.isIntact();
    const StoreResult<> read = !intact   ? std::unexpected(intact.error())
                               : *intact ? readNews()
                                         : failure(StoreFault::overwritten);
    isFormerJournalLost_ = !read && read.error().fault == StoreFault::overwritten;
    // The records after the part that was read are unknown.
    if (!read && !isFormerJournalLost_) journal_.forgetNonce();
  }
  journal_.close();
}

StoreResult<> SettingsStore::readNews() {
  const auto news = journal_.news();
  if (!news) return std::unexpected(news.error());
  JournalReader reader(*news, journal_.nonce());
  try {
    while (const auto record = reader.next()) values_.apply(*record);
  } catch (const std::bad_alloc&) {
    values_.list().wantsReload = true;  // Some of these records were already applied.
    throw;
  }
  if (!reader.damaged().empty()) {
    isJournalDamaged_ = true;
    incidents_.journalHadProblem(UserDefaultsProblem::damagedJournal, journal_.path(), UserDefaultsEffect::mayBeLost);
  }
  journal_.advance(reader.position());
  return values_.list().wantsReload ? load() : StoreResult<>();
}

std::string SettingsStore::encoded(std::string_view key, const std::optional<PropertyList>& value, std::uint64_t writer,
                                   std::uint64_t nonce) const {
  const Data bytes = value ? PropertyListSerialization::data(*value, PropertyListFormat::binary) : Data();
  return JournalRecord{.kind = value ? JournalRecord::Kind::set : JournalRecord::Kind::remove,
                       .writer = writer,
                       .key = key,
                       .value = bytes.text()}
      .encoded(nonce);
}

void SettingsStore::synchronizeJournal() {
  const UnfairLock::Guard guard(lock_);
  if (journal_.isOpen()) static_cast<void>(journal_.synchronize());
}

void SettingsStore::checkpointFailed(const StoreProblem& problem) {
  const UnfairLock::Guard guard(lock_);
  incidents_.writesFail(problem, values_.pending().size());
}

void SettingsStore::checkpointSucceeded() {
  const UnfairLock::Guard guard(lock_);
  if (values_.pending().empty()) incidents_.writesSucceed();
}

bool SettingsStore::isListUnknown() {
  const UnfairLock::Guard guard(lock_);
  return values_.list().isUnknown();
}

}  // namespace Tessaly::inline v1::detail
