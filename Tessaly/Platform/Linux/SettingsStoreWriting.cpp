// SPDX-License-Identifier: MIT
// How the store writes changes, keeps the changes that cannot be stored, and stores them later.
#include <algorithm>
#include <cerrno>
#include <iterator>
#include <utility>

#include "Tessaly/Platform/Linux/SettingsStore.hpp"

namespace Tessaly::inline v1::detail {
namespace {

/// Fills the bytes of the value. Returns the size of the change in a record.
std::size_t encode(SettingsStore::Edit& edit) {
  if (*edit.value) edit.bytes = PropertyListSerialization::data(**edit.value, PropertyListFormat::binary).text();
  return JournalRecord::changeOverhead + edit.key.size() + edit.bytes.size();
}

/// False if one record cannot hold the changes.
bool encodeAll(std::span<SettingsStore::Edit> edits) {
  try {
    std::size_t size = 0;
    for (auto& edit : edits) {
      // The property list is a dictionary around the value.
      if (*edit.value && (*edit.value)->depth() >= PropertyList::maximumDepth) return false;
      size += encode(edit);
    }
    return size <= JournalRecord::maximumChanges;
  } catch (const PropertyListError&) {
    return false;
  }
}

std::string recordOf(std::span<const SettingsStore::Edit> edits, std::uint64_t writer, std::uint64_t nonce) {
  using Kind = JournalRecord::Kind;
  if (edits.size() == 1) {
    const auto& [key, value, bytes] = edits.front();
    return JournalRecord{.kind = *value ? Kind::set : Kind::remove, .writer = writer, .key = key, .value = bytes}
        .encoded(nonce);
  }
  std::vector<JournalRecord::Change> changes;
  changes.reserve(edits.size());
  for (const auto& [key, value, bytes] : edits) {
    changes.push_back({.key = key, .value = *value ? std::optional<std::string_view>(bytes) : std::nullopt});
  }
  const std::string batch = JournalRecord::encodedChanges(changes);
  return JournalRecord{.kind = Kind::batch, .writer = writer, .key = {}, .value = batch}.encoded(nonce);
}

}  // namespace

SettingsStore::Write SettingsStore::write(std::span<Edit> edits) {
  Write written;
  if (!encodeAll(edits)) {
    const UnfairLock::Guard guard(lock_);
    incidents_.writesFail(UserDefaultsProblem::valueTooLarge, 0, values_.pending().size());
    return written;
  }
  SettingsPatience patience(clock_, SettingsPatience::maximum);
  const auto collect = [&]() TESSALY_REQUIRES(lock_) {
    std::ranges::move(values_.takeOwnChanges(), std::back_inserter(written.changes));
  };
  bool hasPending = false;
  const auto result = withJournal(LockMode::shared, patience, [&]() TESSALY_REQUIRES(lock_) {
    const auto result = writeRecord(edits, written.isOverdue);
    collect();
    hasPending = !values_.pending().empty();
    if (result && !hasPending) incidents_.writesSucceed();
    return result;
  });
  if (!result) {
    const UnfairLock::Guard guard(lock_);
    keepInMemory(edits, result.error());
    collect();
  } else if (hasPending) {
    storeOthers();
  }
  return written;
}

StoreResult<> SettingsStore::writeRecord(std::span<Edit> edits, bool& isOverdue) {
  if (!journal_.isWritable()) return failure(StoreFault::readOnly, EROFS);
  if (journal_.hasNews()) {
    if (const auto read = readNews(); !read) return read;
  }
  const auto others = std::ranges::partition(edits, [&](const Edit& edit) TESSALY_REQUIRES(lock_) {
    return !values_.has(edit.key, *edit.value) || values_.pending().contains(std::string(edit.key));
  });
  const std::span<Edit> needed = edits.first(edits.size() - others.size());
  if (!others.empty()) std::ranges::sort(needed, {}, &Edit::key);
  if (needed.empty()) return {};
  if (const auto appended = append(needed); !appended) return appended;
  const std::uint64_t large = std::max(JournaledUserDefaults::largeJournal, values_.list().identity.size);
  schedule_.checkpoint(journal_.offset() >= large ? std::chrono::nanoseconds(1)
                                                  : JournaledUserDefaults::checkpointDelay);
  isOverdue = journal_.offset() >= JournaledUserDefaults::overdueJournals * large;
  return {};
}

StoreResult<> SettingsStore::append(std::span<const Edit> edits) {
  const auto isAlone = journal_.append(recordOf(edits, writer_, journal_.nonce()));
  if (!isAlone) return std::unexpected(isAlone.error());
  if (!*isAlone) return readNews();
  for (const Edit& edit : edits) values_.assign(edit.key, *edit.value, writer_);
  return {};
}

StoreResult<> SettingsStore::storePending() {
  while (!values_.pending().empty()) {
    if (!journal_.isWritable()) return failure(StoreFault::readOnly, EROFS);
    const SettingsValues::Pending pending = values_.pending();  // Stored ones are erased from the original.
    std::vector<Edit> edits;
    std::size_t size = 0;
    for (const auto& [key, unstored] : pending) {
      edits.push_back({.key = key, .value = &unstored.value});
      size += encode(edits.back());
      if (size <= JournalRecord::maximumChanges || edits.size() == 1) continue;
      edits.pop_back();
      break;
    }
    if (const auto appended = append(edits); !appended) return appended;
    for (const Edit& edit : edits) values_.pending().erase(std::string(edit.key));
    schedule_.checkpoint(JournaledUserDefaults::checkpointDelay);
  }
  incidents_.writesSucceed();
  return {};
}

void SettingsStore::keepInMemory(std::span<const Edit> edits, const StoreProblem& problem) {
  for (const Edit& edit : edits) values_.keep(edit.key, *edit.value);
  const std::size_t count = values_.pending().size();
  if (directory_.empty()) return incidents_.writesFail(UserDefaultsProblem::noFolder, 0, count);
  incidents_.writesFail(problem, count);
  if (isForUse_) schedule_.retry(JournaledUserDefaults::retryDelay);
}

void SettingsStore::storeOthers() {
  SettingsPatience none(clock_, std::chrono::nanoseconds(0));
  const auto stored = storePendingAlone(none);
  if (stored) return;
  const UnfairLock::Guard guard(lock_);
  // The lock is often held only because another process is writing now.
  if (stored.error().fault != StoreFault::lockHeld) incidents_.writesFail(stored.error(), values_.pending().size());
  schedule_.retry(JournaledUserDefaults::retryDelay);
}

StoreResult<> SettingsStore::storePendingAlone(SettingsPatience& patience) {
  return withJournal(LockMode::exclusive, patience, [&]() TESSALY_REQUIRES(lock_) {
    const auto read = readNews();
    return read ? storePending() : read;
  });
}

StoreResult<> SettingsStore::readAndStore(SettingsPatience& patience) {
  bool hasPending = false;
  const auto result = withJournal(LockMode::shared, patience, [&]() TESSALY_REQUIRES(lock_) {
    const auto read = readNews();
    hasPending = !values_.pending().empty();
    if (read && !hasPending) incidents_.writesSucceed();
    return read;
  });
  return result && hasPending ? storePendingAlone(patience) : result;
}

StoreResult<> SettingsStore::catchUp(SettingsPatience& patience) {
  const auto result = readAndStore(patience);
  if (!result) {
    const UnfairLock::Guard guard(lock_);
    incidents_.writesFail(result.error(), values_.pending().size());
  }
  return result;
}

bool SettingsStore::retry() {
  SettingsPatience none(clock_, std::chrono::nanoseconds(0));
  const auto result = readAndStore(none);
  const UnfairLock::Guard guard(lock_);
  const bool hasPending = !values_.pending().empty();
  if (!result && hasPending) incidents_.writesFail(result.error(), values_.pending().size());
  return hasPending || (!result && result.error().fault == StoreFault::lockHeld);
}

}  // namespace Tessaly::inline v1::detail
