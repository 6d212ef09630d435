// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/SettingsJournalFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <utility>

#include "Tessaly/Platform/Linux/SettingsFiles.hpp"

namespace Tessaly::inline v1::detail {
namespace {

/// A new journal reserves this many bytes, so that a full disk is noticed before the room is needed.
constexpr std::uint64_t reservedSize = std::uint64_t{256} * 1024;
constexpr std::size_t tailSize = 16;

}  // namespace

SettingsJournalFile::SettingsJournalFile(SettingsFileSystem& files, const std::string& directory, std::uint64_t writer)
    : files_(files),
      path_(directory + "/journal"),
      oldPath_(path_ + ".old"),
      temporaryPath_(path_ + ".new-" + std::to_string(writer)) {}

StoreResult<> SettingsJournalFile::open(bool forWriting) {
  constexpr int common = O_NONBLOCK | O_NOCTTY | O_NOFOLLOW;
  auto file = files_.open(path_, (forWriting ? O_RDWR | O_APPEND : O_RDONLY) | common);
  if (!file && forWriting && file.error().fault == StoreFault::readOnly) {
    forWriting = false;
    file = files_.open(path_, O_RDONLY | common);
  }
  if (!file) return std::unexpected(file.error());
  const auto status = files_.status(file->get());
  if (!status) return std::unexpected(status.error());
  if (!S_ISREG(status->st_mode)) return failure(StoreFault::notAFile, EINVAL);
  file_ = std::move(*file);
  inode_ = status->st_ino;
  device_ = status->st_dev;
  isWritable_ = forWriting;
  isFollowed_ = false;
  return {};
}

void SettingsJournalFile::close() noexcept {
  file_ = OwnedDescriptor();
  isWritable_ = false;
  isFollowed_ = false;
}

void SettingsJournalFile::remember(const struct stat& status) noexcept {
  const FileIdentity identity = identityOf(status);
  size_ = identity.size;
  modified_ = identity.modified;
  reserved_ = static_cast<std::uint64_t>(status.st_blocks) * 512;
}

bool SettingsJournalFile::mayHaveChanged() {
  const auto status = files_.status(path_);
  if (!status) return true;
  const FileIdentity identity = identityOf(*status);
  return identity.inode != inode_ || identity.size != offset_ || identity.modified != modified_;
}

StoreResult<SettingsJournalFile::Standing> SettingsJournalFile::standing() {
  const auto status = files_.status(path_);
  if (!status && status.error().fault != StoreFault::missing) return std::unexpected(status.error());
  if (!status || status->st_ino != inode_ || status->st_dev != device_) return Standing::replaced;
  const FileIdentity identity = identityOf(*status);
  const bool isUntouched = identity.size == size_ && identity.modified == modified_;
  remember(*status);
  if (!isFollowed_) return Standing::current;
  if (size_ < offset_) return Standing::overwritten;
  if (isUntouched) return Standing::current;
  const auto intact = isIntact();
  if (intact && *intact) return Standing::current;
  modified_ = 0;  // Makes the next call compare again.
  if (!intact) return std::unexpected(intact.error());
  return Standing::overwritten;
}

StoreResult<bool> SettingsJournalFile::isIntact() {
  std::string tail;
  const auto read = files_.read(file_.get(), offset_ - tail_.size(), tail_.size(), tail);
  if (!read) return std::unexpected(read.error());
  return tail == tail_;
}

StoreResult<std::string> SettingsJournalFile::contents(std::size_t maximum) {
  const auto status = files_.status(file_.get());
  if (!status) return std::unexpected(status.error());
  std::string bytes;
  const auto read = files_.read(file_.get(), 0, std::min(static_cast<std::size_t>(status->st_size), maximum), bytes);
  if (!read) return std::unexpected(read.error());
  return bytes;
}

void SettingsJournalFile::follow(const JournalHeader& header, std::string_view known) {
  nonce_ = header.nonce;
  lineage_ = header.lineage;
  offset_ = known.size();
  tail_ = known.substr(known.size() - std::min(known.size(), tailSize));
  isFollowed_ = true;
}

StoreResult<std::string_view> SettingsJournalFile::news() {
  const auto status = files_.status(file_.get());
  if (!status) return std::unexpected(status.error());
  remember(*status);
  if (size_ < offset_) return failure(StoreFault::overwritten);
  if (buffer_.capacity() > reservedSize) buffer_ = {};
  buffer_.clear();
  if (size_ == offset_) return std::string_view();
  // Reads the last known bytes again, because another program may have overwritten them before other processes wrote.
  const std::uint64_t start = offset_ - tail_.size();
  const auto read = files_.read(file_.get(), start, static_cast<std::size_t>(size_ - start), buffer_);
  if (!read) return std::unexpected(read.error());
  if (buffer_.starts_with(tail_)) return std::string_view(buffer_).substr(tail_.size());
  modified_ = 0;  // Makes `standing()` compare again.
  return failure(StoreFault::overwritten);
}

void SettingsJournalFile::advance(std::size_t count) {
  if (count == 0) return;
  const std::string_view known = std::string_view(buffer_).substr(0, tail_.size() + count);
  offset_ += count;
  tail_ = known.substr(known.size() - std::min(known.size(), tailSize));
}

StoreResult<> SettingsJournalFile::appendAll(std::string_view records) {
  if (reserved_ < size_ + records.size()) {
    const auto room = files_.allocate(file_.get(), size_, records.size() + reservedSize / 4);
    if (!room) return room;
  }
  const auto count = files_.write(file_.get(), records);
  if (!count) return std::unexpected(count.error());
  // All readers skip a record that was written in part.
  if (*count != records.size()) return failure(StoreFault::diskFull, ENOSPC);
  return {};
}

StoreResult<bool> SettingsJournalFile::append(std::string_view record) {
  const std::uint64_t before = offset_;
  if (const auto appended = appendAll(record); !appended) return std::unexpected(appended.error());
  const auto status = files_.status(file_.get());
  if (!status) return std::unexpected(status.error());
  remember(*status);
  if (size_ < before + record.size()) return failure(StoreFault::overwritten);
  if (size_ != before + record.size()) return false;
  offset_ = size_;
  tail_ = record.substr(record.size() - std::min(record.size(), tailSize));
  return true;
}

StoreResult<OwnedDescriptor> SettingsJournalFile::make(const JournalHeader& header, std::string_view records,
                                                       mode_t mode) {
  if (const auto removed = files_.remove(temporaryPath_); !removed) return std::unexpected(removed.error());
  auto file = files_.open(temporaryPath_, O_RDWR | O_APPEND | O_CREAT | O_EXCL, mode);
  if (!file) return file;
  auto result = files_.allocate(file->get(), 0, reservedSize + records.size());
  if (result) result = files_.writeAll(file->get(), header.encoded());
  if (result) result = files_.writeAll(file->get(), records);
  if (result) return file;
  static_cast<void>(files_.remove(temporaryPath_));
  return std::unexpected(result.error());
}

StoreResult<> SettingsJournalFile::create(const JournalHeader& header, std::string_view records) {
  const auto file = make(header, records, 0600);
  if (!file) return std::unexpected(file.error());
  auto result = files_.link(temporaryPath_, path_);
  // The file system may have no hard links.
  if (!result && result.error().errorCode != EEXIST) result = files_.rename(temporaryPath_, path_, Replacing::refuse);
  static_cast<void>(files_.remove(temporaryPath_));
  if (!result && result.error().errorCode == EEXIST) return {};
  return result;
}

StoreResult<std::string> SettingsJournalFile::replace(const JournalHeader& header, std::string_view records) {
  const auto file = make(header, records, 0600);
  if (!file) return std::unexpected(file.error());
  StoreResult<std::string> name;
  Replacing replacing = Replacing::replace;
  if (size_ > 0) {
    name = setAside(path_, path_, SettingAside::keepBoth, files_);
    if (!name) {
      // The file system may have no hard links. Another process may make a journal before the new one is in place.
      name = setAside(path_, path_, SettingAside::move, files_);
      replacing = Replacing::refuse;
    }
  }
  const auto result = name ? files_.rename(temporaryPath_, path_, replacing) : std::unexpected(name.error());
  if (result) return name;
  static_cast<void>(files_.remove(temporaryPath_));
  return std::unexpected(result.error());
}

StoreResult<Replacing> SettingsJournalFile::moveToOld() {
  const auto linked = files_.link(path_, oldPath_);
  if (linked) return Replacing::replace;
  if (linked.error().errorCode == EEXIST) return std::unexpected(linked.error());
  // The file system may have no hard links. Another process may make a journal before the new one is in place.
  const auto moved = files_.rename(path_, oldPath_, Replacing::refuse);
  if (!moved) return std::unexpected(moved.error());
  return Replacing::refuse;
}

StoreResult<> SettingsJournalFile::rotate(const JournalHeader& header) {
  const auto present = files_.status(file_.get());
  auto file = make(header, {}, present ? present->st_mode & 0777 : 0600);
  if (!file) return std::unexpected(file.error());
  const auto status = files_.status(file->get());
  StoreResult<> result;
  if (!status) result = std::unexpected(status.error());
  const auto replacing = result ? moveToOld() : std::unexpected(result.error());
  result = replacing ? files_.rename(temporaryPath_, path_, *replacing) : std::unexpected(replacing.error());
  if (!result) {
    static_cast<void>(files_.remove(temporaryPath_));
    return result;
  }
  file_ = std::move(*file);
  inode_ = status->st_ino;
  device_ = status->st_dev;
  remember(*status);
  isWritable_ = true;
  follow(header, header.encoded());
  return {};
}

}  // namespace Tessaly::inline v1::detail
