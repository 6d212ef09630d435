// SPDX-License-Identifier: MIT
// How the store writes its property list, and what it makes of those that other programs write.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <new>
#include <thread>
#include <utility>

#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"
#include "Tessaly/Platform/Linux/JournalLock.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

namespace Tessaly::inline v1 {
namespace {

using detail::FileIdentity;
using detail::JournalHeader;
using detail::JournalRecord;
using detail::LockMode;
using detail::OwnedDescriptor;
using detail::Patience;
using Kind = JournalRecord::Kind;

}  // namespace

JournaledUserDefaults::Outcome JournaledUserDefaults::checkpoint(Patience patience) {
  const UnfairLock::Guard guard(checkpointLock_);
  try {
    for (int attempt = 0;; ++attempt) {
      bool isOutdated = false;
      const Outcome outcome = checkpointOnce(patience, isOutdated);
      if (!isOutdated || attempt == 100) return outcome;
    }
  } catch (const std::bad_alloc&) {
    const UnfairLock::Guard guard(lock_);
    noteError(ENOMEM);
    return Outcome::failed;
  }
}

JournaledUserDefaults::Outcome JournaledUserDefaults::checkpointOnce(Patience patience, bool& isOutdated) {
  PropertyListFormat format = PropertyListFormat::binary;
  OwnedDescriptor folder;
  const auto failed = [&](int error) TESSALY_REQUIRES(lock_) {
    noteError(error);
    return Outcome::failed;
  };
  // Whoever works in the folder that is there now does not see the lock of one that was moved away.
  const auto isElsewhere = [&] {
    struct stat locked{};
    struct stat current{};
    return ::fstat(folder.get(), &locked) != 0 || ::stat(folder_.c_str(), &current) != 0 ||
           locked.st_ino != current.st_ino || locked.st_dev != current.st_dev;
  };
  const auto ended = [&](int error) {
    if (isElsewhere()) {
      isOutdated = true;
      return Outcome::busy;
    }
    if (error == 0) return Outcome::done;
    if (error == ETIMEDOUT) return Outcome::busy;
    if (error == EAGAIN) return Outcome::postponed;
    const UnfairLock::Guard guard(lock_);
    return failed(error);
  };
  {
    const UnfairLock::Guard guard(lock_);
    {
      // Makes the folder, should it have vanished.
      JournalLock lock(*this, LockMode::shared, Patience::some);
      if (lock.error() != 0) return failed(lock.error());
    }
    watch();
    folder = OwnedDescriptor(::open(folder_.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!folder.isOpen()) return failed(errno);
  }
  // The lock of the folder is that of its one checkpoint.
  if (detail::lockFile(folder.get(), LockMode::exclusive, patience) != 0) return Outcome::busy;
  if (isElsewhere()) return ended(0);
  bool isNeeded = false;
  bool hadOldJournal = false;
  int error = withExclusiveJournal([&]() TESSALY_REQUIRES(lock_) {
    int error = journal_.isWritable ? catchUp() : EROFS;
    if (error == 0) error = storePending();
    if (error == 0) error = lookAtPropertyList();
    if (error != 0) return error;
    hadOldJournal = ::access(oldJournalPath_.c_str(), F_OK) == 0;
    isNeeded = hadOldJournal || state_.wantsCheckpoint || !state_.sinceRotation.empty();
    format = state_.format;
    return hadOldJournal || state_.sinceRotation.empty() ? 0 : rotate();
  });
  if (error != 0 || !isNeeded) return ended(error);
  const std::string target = detail::followed(propertyListPath_);
  const std::string targetFolder = detail::folderOfPath(target);
  const std::string beginning = target + ".new-";
  const std::string written = beginning + std::to_string(writer_);
  detail::removeAbandoned(beginning);
  error = writePropertyList(written, valuesAtRotation(), format);
  if (error == 0) {
    error = withExclusiveJournal([&]() TESSALY_REQUIRES(lock_) {
      int error = catchUp();
      if (error == 0) error = lookAtPropertyList();
      return error == 0 ? putInPlace(written, target) : error;
    });
  }
  if (error != 0) {
    ::unlink(written.c_str());
    return ended(error);
  }
  error = detail::synchronizeFolder(targetFolder);
  if (error == 0) error = removeOldJournal(folder.get());
  const Outcome outcome = ended(error);
  if (outcome != Outcome::done) return outcome;
  // What the old journal held was there before this checkpoint; what came since is still to be written.
  isOutdated = hadOldJournal;
  const UnfairLock::Guard guard(lock_);
  if (pending_.empty()) noteStored();
  return Outcome::done;
}

int JournaledUserDefaults::removeOldJournal(int folder) const {
  if (::unlinkat(folder, "journal.old", 0) == 0 || errno == ENOENT) return 0;
  const int error = errno;
  // A folder, for example, that somebody has put in its place.
  const auto name = detail::setAside(oldJournalPath_);
  if (!name) return error;
  detail::logPlatformError("UserDefaults",
                           "What stood in the place of a journal of settings was put aside as " + *name);
  return 0;
}

int JournaledUserDefaults::rotate() {
  std::uint64_t nonce = 0;
  std::memcpy(&nonce, UUID::random().bytes().data(), sizeof(nonce));
  const JournalHeader header{.nonce = nonce, .predecessor = journal_.nonce, .checkpoint = state_.propertyList};
  const std::string name = journalPath_ + ".new";
  ::unlink(name.c_str());
  struct stat status{};
  const mode_t mode = ::fstat(journal_.file.get(), &status) == 0 ? status.st_mode & 0777 : 0600;
  OwnedDescriptor file(::open(name.c_str(), O_RDWR | O_APPEND | O_CREAT | O_EXCL | O_CLOEXEC, mode));
  if (!file.isOpen()) return errno;
  int error = detail::reserve(file.get(), 0, reservedSize);
  if (error == 0) error = detail::writeAll(file.get(), header.encoded());
  if (error == 0 && ::fstat(file.get(), &status) != 0) error = errno;
  if (error == 0 && ::link(journalPath_.c_str(), oldJournalPath_.c_str()) != 0 &&
      ::rename(journalPath_.c_str(), oldJournalPath_.c_str()) != 0) {
    error = errno;
  }
  if (error == 0 && ::rename(name.c_str(), journalPath_.c_str()) != 0) error = errno;
  if (error != 0) {
    ::unlink(name.c_str());
    return error;
  }
  journal_ = Journal{};
  journal_.file = std::move(file);
  journal_.inode = status.st_ino;
  journal_.device = status.st_dev;
  journal_.nonce = nonce;
  journal_.offset = JournalHeader::size;
  journal_.size = JournalHeader::size;
  journal_.isWritable = true;
  journal_.isFollowed = true;
  state_.sinceRotation.clear();
  return 0;
}

PropertyList::Dictionary JournaledUserDefaults::valuesAtRotation() {
  // Without the lock, so that nobody waits for a hundred thousand keys: what changes meanwhile is put back below.
  PropertyList::Dictionary values = table_.all();
  const UnfairLock::Guard guard(lock_);
  for (const auto& [key, value] : state_.sinceRotation) {
    if (value) {
      values.insert_or_assign(key, *value);
    } else {
      values.erase(key);
    }
  }
  return values;
}

int JournaledUserDefaults::writePropertyList(const std::string& path, PropertyList::Dictionary values,
                                             PropertyListFormat format) {
  struct stat status{};
  const bool isThere = ::stat(propertyListPath_.c_str(), &status) == 0;
  ::unlink(path.c_str());
  const OwnedDescriptor file(::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
  if (!file.isOpen()) return errno;
  const PropertyList whole(std::move(values));
  // Nothing may be lost for the sake of a format.
  if (!PropertyListSerialization::isExact(whole, format)) format = PropertyListFormat::binary;
  if (const int error = detail::writeAll(file.get(), PropertyListSerialization::data(whole, format).text()))
    return error;
  if (isThere) {
    if (status.st_uid != ::geteuid() || status.st_gid != ::getegid()) {
      [[maybe_unused]] const int ignored = ::fchown(file.get(), status.st_uid, status.st_gid);
    }
    if (::fchmod(file.get(), status.st_mode & 07777) != 0) return errno;
  }
  return ::fsync(file.get()) == 0 ? 0 : errno;
}

int JournaledUserDefaults::putInPlace(const std::string& written, const std::string& target) {
  const FileIdentity identity = detail::identityAt(written);
  if (identity.isNone()) return ENOENT;
  const FileIdentity expected = state_.propertyList;
  const std::string value = JournalRecord::encodedIdentity(identity);
  const JournalRecord record{.kind = state_.isUnrecorded ? Kind::checkpointWithUnknownChanges : Kind::checkpoint,
                             .writer = writer_,
                             .key = {},
                             .value = value};
  // The record first: whoever sees the file must know it.
  if (const int error = append(record.encoded(journal_.nonce))) return error;
  if (const int error = catchUp()) return error;
  bool isExchanged = false;
  if (!expected.isNone()) {
    isExchanged = ::renameat2(AT_FDCWD, written.c_str(), AT_FDCWD, target.c_str(), RENAME_EXCHANGE) == 0;
  }
  if (!isExchanged && ::rename(written.c_str(), target.c_str()) != 0) return errno;
  state_.wantsCheckpoint = false;
  if (!isExchanged) return 0;
  if (detail::identityAt(written) != expected) {
    // Another program was faster by a hair: what it has changed must not be lost.
    const auto replaced = readPropertyList(written);
    if (!replaced) {
      if (detail::setAside(written, target)) return 0;
    } else if (const int error =
                   adopt(*replaced->values.dictionary(), state_.sincePrevious, JournalRecord::otherProgramReplaced)) {
      noteError(error);
    }
  }
  ::unlink(written.c_str());
  return 0;
}

int JournaledUserDefaults::lookAtPropertyList() {
  const FileIdentity identity = detail::identityAt(propertyListPath_);
  // Somebody has put it aside. To write one now would leave the values out that only he knows.
  if (identity.isNone() && isPropertyListUnknown()) return EAGAIN;
  if (identity == state_.propertyList) {
    if (identity.isNone()) state_.wantsCheckpoint = true;
    unreadable_.reset();
    return 0;
  }
  if (identity.isNone()) {
    state_.propertyList = identity;
    state_.wantsCheckpoint = true;
    unreadable_.reset();
    return 0;
  }
  if (identity == state_.previous) {
    // Who announced the checkpoint was killed before he put it in place.
    state_.propertyList = std::exchange(state_.previous, FileIdentity{});
    state_.sincePropertyList = std::exchange(state_.sincePrevious, {});
    state_.wantsCheckpoint = true;
    unreadable_.reset();
    return 0;
  }
  if (isPropertyListUnknown()) {
    // It could not be read at the beginning either: there is nothing to compare it with.
    if (readPropertyList(propertyListPath_)) {
      unreadable_.reset();
      return load();
    }
  } else if (const auto found = readPropertyList(propertyListPath_)) {
    state_.format = found->format;
    unreadable_.reset();
    if (const int error = adopt(*found->values.dictionary(), state_.sincePropertyList, JournalRecord::otherProgram))
      return error;
    const std::string value = JournalRecord::encodedIdentity(found->identity);
    const JournalRecord record{.kind = state_.isUnrecorded ? Kind::adoptionWithUnknownChanges : Kind::adoption,
                               .writer = writer_,
                               .key = {},
                               .value = value};
    if (const int error = append(record.encoded(journal_.nonce))) return error;
    return catchUp();
  }
  if (unreadable_ != identity) resolveDamageLater();
  unreadable_ = identity;
  return EAGAIN;
}

int JournaledUserDefaults::adopt(const PropertyList::Dictionary& found, const Overlay& since, std::uint64_t writer) {
  PropertyList::Dictionary known = table_.all();
  for (const auto& [key, value] : since) {
    if (value) {
      known.insert_or_assign(key, *value);
    } else {
      known.erase(key);
    }
  }
  std::string records;
  for (const auto& [key, value] : found) {
    const auto previous = known.find(key);
    if (previous == known.end() || !previous->second.isIdentical(value)) records += encoded(key, value, writer);
  }
  for (const auto& [key, value] : known) {
    if (!found.contains(key)) records += encoded(key, std::nullopt, writer);
  }
  if (records.empty()) return 0;
  if (const int error = append(records)) return error;
  checkpointLater(checkpointDelay);
  return catchUp();
}

void JournaledUserDefaults::resolveDamage() {
  const int error = withExclusiveJournal([this]() TESSALY_REQUIRES(lock_) {
    if (!journal_.isWritable || catchUp() != 0) return 0;
    putDamagedFileAside();
    return 0;
  });
  if (error == ETIMEDOUT) damage_->schedule(damageDelay);
}

void JournaledUserDefaults::putDamagedFileAside() {
  const std::optional<FileIdentity> before = unreadable_;
  if (lookAtPropertyList() == EAGAIN && before == unreadable_) {
    // It was no property list for so long, and did not become another.
    const std::string target = detail::followed(propertyListPath_);
    struct stat status{};
    const bool isFile = ::stat(target.c_str(), &status) == 0 && S_ISREG(status.st_mode);
    if (detail::identityAt(propertyListPath_).isNone()) {
      // Nobody knew its values.
      unreadable_.reset();
      state_.wantsCheckpoint = true;
    } else if (const auto found = readPropertyList(target); !isFile || (!found && found.error() == EILSEQ)) {
      // Of a link to a folder or a device only the link is ours to move.
      if (const auto name = detail::setAside(isFile ? target : propertyListPath_)) {
        detail::logPlatformError("UserDefaults", "A damaged file of settings was put aside as " + *name);
        {
          const UnfairLock::Guard statusGuard(statusLock_);
          status_.damagedFile = name;
        }
        unreadable_.reset();
        state_.propertyList = FileIdentity{};
        state_.wantsCheckpoint = true;
      }
    }
  }
  if (!unreadable_) checkpointLater(checkpointDelay);
}

void JournaledUserDefaults::outlastDamage() {
  constexpr std::chrono::milliseconds pause{20};
  for (auto waited = pause; waited <= damageDelay; waited += pause) {
    {
      const UnfairLock::Guard guard(lock_);
      if (isPropertyListUnknown()) return;
    }
    std::this_thread::sleep_for(pause);
    if (checkpoint(Patience::some) != Outcome::postponed) return;
  }
  resolveDamage();
  checkpoint(Patience::some);
}

}  // namespace Tessaly::inline v1
