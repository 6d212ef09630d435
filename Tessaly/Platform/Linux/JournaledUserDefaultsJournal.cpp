// SPDX-License-Identifier: MIT
// How the store reads and writes its journal.
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <utility>

#include "Tessaly/Core/Foundation/UUID.hpp"
#include "Tessaly/Core/Logging/detail/PlatformLog.hpp"
#include "Tessaly/Platform/Linux/JournaledUserDefaults.hpp"

namespace Tessaly::inline v1 {
namespace {

using detail::FileIdentity;
using detail::JournalHeader;
using detail::JournalReader;
using detail::JournalRecord;
using detail::LockMode;
using detail::OwnedDescriptor;
using detail::Patience;
using Kind = JournalRecord::Kind;

/// Whether a file that could not be read for this reason is none: it is missing, or something else stands there.
bool holdsNothing(int error) noexcept {
  return error == ENOENT || error == ENOTDIR || error == EISDIR || error == EINVAL || error == ELOOP || error == ENXIO;
}

/// 0 where there is nothing.
ino_t inodeOf(const std::string& path) noexcept {
  struct stat status{};
  return ::stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

}  // namespace

int JournaledUserDefaults::openJournalFile() {
  bool isWritable = opening_ == Opening::forUse;
  constexpr int common = O_CLOEXEC | O_NONBLOCK | O_NOCTTY | O_NOFOLLOW;
  OwnedDescriptor file(isWritable ? ::open(journalPath_.c_str(), O_RDWR | O_APPEND | common) : -1);
  if (!file.isOpen() && (!isWritable || errno == EACCES || errno == EPERM || errno == EROFS)) {
    isWritable = false;
    file = OwnedDescriptor(::open(journalPath_.c_str(), O_RDONLY | common));
  }
  if (!file.isOpen()) return errno;
  struct stat status{};
  if (::fstat(file.get(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  const std::uint64_t nonce = journal_.nonce;
  journal_ = Journal{};
  journal_.file = std::move(file);
  journal_.inode = status.st_ino;
  journal_.device = status.st_dev;
  journal_.nonce = nonce;  // Of the journal that was followed last, until this one's header is read.
  journal_.isWritable = isWritable;
  return 0;
}

int JournaledUserDefaults::createJournalFile() {
  if (opening_ == Opening::forReading) return ENOENT;
  if (const int error = detail::makeFolders(folder_)) return error;
  std::uint64_t nonce = 0;
  std::memcpy(&nonce, UUID::random().bytes().data(), sizeof(nonce));
  const JournalHeader header{
      .nonce = nonce, .predecessor = journal_.nonce, .checkpoint = detail::identityAt(propertyListPath_)};
  // Under a name of its own first, so that nobody ever sees half a header.
  const std::string name = journalPath_ + "." + std::to_string(::getpid()) + "-" + std::to_string(writer_);
  ::unlink(name.c_str());
  int error = 0;
  {
    const OwnedDescriptor file(::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600));
    if (!file.isOpen()) return errno;
    error = detail::reserve(file.get(), 0, reservedSize);
    if (error == 0) error = detail::writeAll(file.get(), header.encoded());
  }
  if (error == 0 && ::link(name.c_str(), journalPath_.c_str()) != 0 && errno != EEXIST) {
    // Where there are no hard links.
    error = ::renameat2(AT_FDCWD, name.c_str(), AT_FDCWD, journalPath_.c_str(), RENAME_NOREPLACE) == 0 ? 0 : errno;
    if (error == EEXIST) error = 0;
  }
  ::unlink(name.c_str());
  if (error == 0) watch();
  state_.wantsCheckpoint = isLoaded_;  // What stood in a journal that somebody has removed is only in memory now.
  return error;
}

int JournaledUserDefaults::obtainJournal(LockMode mode, Patience patience) {
  if (folder_.empty()) return ENOENT;
  isNewer_ = false;
  if (journal_.file.isOpen() && !journal_.isWritable && opening_ == Opening::forUse &&
      ::access(journalPath_.c_str(), W_OK) == 0) {
    journal_.file = OwnedDescriptor();  // It could only be read when it was opened.
  }
  for (int attempt = 0; attempt < 100; ++attempt) {
    if (!journal_.file.isOpen()) {
      int error = openJournalFile();
      if (error == ENOENT) {
        error = createJournalFile();
        if (error == 0) continue;
      }
      if (error != 0) return error;
    }
    if (const int error = detail::lockFile(journal_.file.get(), mode, patience)) return error;
    struct stat status{};
    const bool isCurrent = ::stat(journalPath_.c_str(), &status) == 0 && status.st_ino == journal_.inode &&
                           status.st_dev == journal_.device;
    if (!isCurrent) {
      // Whoever put another one in its place held the exclusive lock: nothing more is written here.
      if (journal_.isFollowed && catchUp() != 0) journal_.nonce = 0;  // Nothing follows upon what is not known.
      journal_.file = OwnedDescriptor();
      continue;
    }
    journal_.size = static_cast<std::uint64_t>(status.st_size);
    journal_.reserved = static_cast<std::uint64_t>(status.st_blocks) * 512;
    const int error = journal_.isFollowed ? 0 : followJournal();
    if (error == EAGAIN) continue;
    if (error != 0) journal_.file = OwnedDescriptor();
    return error;
  }
  return EBUSY;
}

int JournaledUserDefaults::followJournal() {
  std::string bytes;
  if (const int error = detail::readAt(journal_.file.get(), 0, JournalHeader::size, bytes)) return error;
  const auto header = JournalHeader::from(bytes);
  if (!header) {
    if (!journal_.isWritable) return EILSEQ;
    // A power cut, or no journal at all.
    const auto name = detail::setAside(journalPath_);
    journal_.file = OwnedDescriptor();
    if (!name) return EILSEQ;
    detail::logPlatformError("UserDefaults", "A damaged journal of settings was put aside as " + *name);
    return EAGAIN;
  }
  if (header->version > JournalHeader::currentVersion) {
    isNewer_ = true;
    return EPROTONOSUPPORT;
  }
  // In another folder there may be a property list that is none of ours, whoever made the journal.
  const bool isNext =
      isLoaded_ && journal_.nonce != 0 && header->predecessor == journal_.nonce && followedFolder_ == inodeOf(folder_);
  journal_.nonce = header->nonce;
  journal_.offset = JournalHeader::size;
  journal_.isFollowed = true;
  if (!isNext) return load();
  state_.sinceRotation.clear();
  return catchUp();
}

int JournaledUserDefaults::append(const std::string& record) {
  if (journal_.reserved < journal_.size + record.size()) {
    if (const int error = detail::reserve(journal_.file.get(), journal_.size, record.size() + reservedSize / 4)) {
      return error;
    }
  }
  const ssize_t size = ::write(journal_.file.get(), record.data(), record.size());
  if (size < 0) return errno;
  // What was written in part is skipped by everybody.
  if (static_cast<std::size_t>(size) != record.size()) return ENOSPC;
  const off_t end = ::lseek(journal_.file.get(), 0, SEEK_CUR);
  journal_.size = end < 0 ? 0 : static_cast<std::uint64_t>(end);
  return 0;
}

int JournaledUserDefaults::catchUp() {
  struct stat status{};
  if (::fstat(journal_.file.get(), &status) != 0) return errno;
  const auto size = static_cast<std::uint64_t>(status.st_size);
  journal_.size = size;
  if (size > journal_.offset) {
    std::string bytes = std::move(readBuffer_);
    if (const int error = detail::readAt(journal_.file.get(), journal_.offset,
                                         static_cast<std::size_t>(size - journal_.offset), bytes)) {
      return error;
    }
    JournalReader reader(bytes, journal_.nonce);
    while (const auto record = reader.next()) apply(*record);
    journal_.offset += reader.position();
    if (bytes.capacity() <= reservedSize) readBuffer_ = std::move(bytes);
  }
  return state_.wantsReload ? load() : 0;
}

std::string JournaledUserDefaults::encoded(std::string_view key, const std::optional<PropertyList>& value,
                                           std::uint64_t writer) const {
  const Data bytes = value ? PropertyListSerialization::data(*value, PropertyListFormat::binary) : Data();
  return JournalRecord{.kind = value ? Kind::set : Kind::remove, .writer = writer, .key = key, .value = bytes.text()}
      .encoded(journal_.nonce);
}

void JournaledUserDefaults::apply(const JournalRecord& record) {
  switch (record.kind) {
    case Kind::set:
      try {
        const Data bytes(record.value);
        exchange(record.key, PropertyListSerialization::read(bytes.bytes()).value, record.writer);
      } catch (const PropertyListError& error) {
        detail::logPlatformError("UserDefaults", error.description());
      }
      return;
    case Kind::remove:
      return exchange(record.key, std::nullopt, record.writer);
    case Kind::checkpoint:
    case Kind::checkpointWithUnknownChanges:
      if (const auto identity = record.identity()) {
        if (state_.isReplaying) {
          state_.propertyList = *identity;
          return;
        }
        if (isPropertyListUnknown()) state_.wantsReload = true;
        state_.previous = std::exchange(state_.propertyList, *identity);
        state_.sincePrevious = std::exchange(state_.sincePropertyList, state_.sinceRotation);
        state_.isUnrecorded = false;
        if (record.kind == Kind::checkpointWithUnknownChanges && record.writer != writer_) state_.wantsReload = true;
      }
      return;
    case Kind::adoption:
    case Kind::adoptionWithUnknownChanges:
      if (const auto identity = record.identity()) {
        if (!state_.isReplaying && isPropertyListUnknown()) state_.wantsReload = true;
        state_.propertyList = *identity;
        if (state_.isReplaying) return;
        state_.isUnrecorded = false;
        if (record.kind == Kind::adoptionWithUnknownChanges && record.writer != writer_) state_.wantsReload = true;
      }
      return;
  }
}

void JournaledUserDefaults::exchange(std::string_view key, std::optional<PropertyList> value, std::uint64_t writer) {
  std::string name(key);
  pending_.erase(name);  // A later write than the one that could not be stored.
  std::optional<PropertyList> previous = table_.exchange(key, value);
  state_.sinceRotation.try_emplace(name, previous);
  if (!state_.previous.isNone()) state_.sincePrevious.try_emplace(name, previous);
  if (writer == JournalRecord::otherProgram && !state_.isReplaying) {
    state_.sincePropertyList.insert_or_assign(name, value);
  } else {
    state_.sincePropertyList.try_emplace(name, previous);
  }
  if (previous == value) return;
  if (state_.isReplaying) return;
  Change change{std::move(name), std::move(value)};
  if (writer == writer_) {
    ownChanges_.push_back(std::move(change));
  } else {
    deliver(std::move(change));
  }
}

std::expected<JournaledUserDefaults::FoundPropertyList, int> JournaledUserDefaults::readPropertyList(
    const std::string& path) {
  try {
    const auto file = detail::readFile(path);
    if (!file) return std::unexpected(errno == ENOTDIR ? ENOENT : errno);
    const Data bytes(std::string_view(file->bytes));
    auto result = PropertyListSerialization::read(bytes.bytes());
    if (result.value.dictionary() == nullptr) return std::unexpected(EILSEQ);
    return FoundPropertyList{.values = std::move(result.value), .identity = file->identity, .format = result.format};
  } catch (const PropertyListError&) {
    return std::unexpected(EILSEQ);
  } catch (const std::bad_alloc&) {
    return std::unexpected(ENOMEM);
  }
}

int JournaledUserDefaults::load() {
  Overlay pending = std::exchange(pending_, {});
  try {
    return loadWith(pending);
  } catch (const std::bad_alloc&) {
    // What was read so far may be a part only; before anything is made of it, it is read again.
    state_.isReplaying = false;
    state_.wantsReload = true;
    pending_.merge(pending);
    return ENOMEM;
  }
}

int JournaledUserDefaults::loadWith(Overlay& pending) {
  // First the old journal, then the property list: a checkpoint that ends in between has put the one into the other.
  const auto old = detail::readFile(oldJournalPath_);
  int error = old || holdsNothing(errno) ? 0 : errno;
  std::string bytes;
  if (journal_.isFollowed) {
    struct stat status{};
    int journalError = ::fstat(journal_.file.get(), &status) == 0 ? 0 : errno;
    if (journalError == 0) {
      journalError = detail::readAt(journal_.file.get(), 0, static_cast<std::size_t>(status.st_size), bytes);
    }
    if (error == 0) error = journalError;
  }
  if (error != 0 && isLoaded_) {
    state_.wantsReload = true;  // What is in memory is nearer to the truth than a part of what is stored.
    pending_ = std::move(pending);
    return error;
  }
  const FileIdentity known = state_.propertyList;
  const PropertyList::Dictionary before = isLoaded_ ? table_.all() : PropertyList::Dictionary();
  PropertyList values = PropertyList::Dictionary();
  FileIdentity found;
  if (auto read = readPropertyList(propertyListPath_)) {
    values = std::move(read->values);
    found = read->identity;
    state_.format = read->format;
  } else if (read.error() != ENOENT) {
    unreadable_ = detail::identityAt(propertyListPath_);
    resolveDamageLater();
  }
  if (found.isNone()) {
    // A file that is missing says nothing: what is in memory is still there.
    values = before;
    state_.wantsCheckpoint = !known.isNone() || !before.empty();
  }
  for (const auto& [key, value] : before) {
    if (values.find(key) == nullptr) table_.exchange(key, std::nullopt);
  }
  for (const auto& [key, value] : *values.dictionary()) table_.exchange(key, value);
  state_.sinceRotation.clear();
  state_.sincePropertyList.clear();
  state_.sincePrevious.clear();
  state_.previous = FileIdentity{};
  state_.isReplaying = true;
  FileIdentity recorded;
  const auto replay = [&](std::string_view bytes) TESSALY_NO_THREAD_SAFETY_ANALYSIS {
    const auto header = JournalHeader::from(bytes);
    if (!header || header->version > JournalHeader::currentVersion) return;
    state_.propertyList = header->checkpoint;
    JournalReader reader(bytes.substr(JournalHeader::size), header->nonce);
    while (const auto record = reader.next()) apply(*record);
    recorded = state_.propertyList;
  };
  if (old) replay(old->bytes);
  state_.sinceRotation.clear();
  if (journal_.isFollowed) {
    replay(bytes);
    JournalReader reader(std::string_view(bytes).substr(std::min(bytes.size(), JournalHeader::size)), journal_.nonce);
    while (reader.next()) {
    }
    journal_.offset = JournalHeader::size + reader.position();
    journal_.size = bytes.size();
  }
  state_.isReplaying = false;
  state_.propertyList = found;
  state_.isUnrecorded = !found.isNone() && found != recorded;
  state_.wantsReload = error != 0;
  for (const auto& [key, value] : pending) table_.exchange(key, value);
  pending_ = std::move(pending);
  const ino_t folder = inodeOf(folder_);
  if (isLoaded_ && followedFolder_ != folder) {
    // Whoever made the folder again need not have heard of all that stood in the one that vanished.
    for (const auto& [key, value] : before) {
      if (table_.value(key)) continue;
      table_.exchange(key, value);
      pending_.insert_or_assign(key, value);
    }
    if (!pending_.empty() && opening_ == Opening::forUse) retry_->schedule(std::chrono::nanoseconds(1));
  }
  followedFolder_ = folder;
  if (isLoaded_) {
    const PropertyList::Dictionary after = table_.all();
    for (const auto& [key, value] : after) {
      const auto previous = before.find(key);
      if (previous == before.end() || previous->second != value) deliver({key, value});
    }
    for (const auto& [key, value] : before) {
      if (!after.contains(key)) deliver({key, std::nullopt});
    }
  }
  isLoaded_ = true;
  return error;
}

}  // namespace Tessaly::inline v1
