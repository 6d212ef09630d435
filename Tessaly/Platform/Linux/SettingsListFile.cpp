// SPDX-License-Identifier: MIT
#include "Tessaly/Platform/Linux/SettingsListFile.hpp"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>
#include <utility>

#include "Tessaly/Core/Foundation/detail/PropertyListFormats.hpp"
#include "Tessaly/Platform/Linux/SettingsFiles.hpp"

namespace Tessaly::inline v1::detail {

namespace {

/// The values in the format, or in the binary format if the given format cannot hold a value.
Data encoded(const PropertyList::Dictionary& values, PropertyListFormat format) {
  if (format == PropertyListFormat::xml) {
    const PropertyList list(values);
    if (PropertyListSerialization::isExact(list, format)) return PropertyListSerialization::data(list, format);
  }
  return Data(writeBinaryPropertyList(values));
}

}  // namespace

SettingsListFile::SettingsListFile(SettingsFileSystem& files, const std::string& directory, std::uint64_t writer)
    : files_(files), path_(directory + "/Settings.plist"), writer_(writer) {}

std::string SettingsListFile::target() const { return followed(path_, files_); }

std::string SettingsListFile::targetDirectory() const { return directoryOfPath(target()); }

StoreResult<FileIdentity> SettingsListFile::look() const {
  const auto status = files_.status(path_);
  if (status) return identityOf(*status);
  const StoreFault fault = status.error().fault;
  if (fault == StoreFault::missing || fault == StoreFault::notAFile) return FileIdentity{};
  return std::unexpected(status.error());
}

StoreResult<SettingsListFile::Contents> SettingsListFile::read(const std::string& path) const {
  try {
    auto file = readFile(path, files_);
    // Another program may be writing the file now.
    for (int attempt = 0; attempt < 3 && !file && file.error().errorCode == EAGAIN; ++attempt) {
      file = readFile(path, files_);
    }
    if (!file) return std::unexpected(file.error());
    const Data bytes(std::string_view(file->bytes));
    auto result = PropertyListSerialization::read(bytes.bytes());
    if (result.value.dictionary() == nullptr) return failure(StoreFault::damaged, EILSEQ);
    return Contents{.values = std::move(result.value), .identity = file->identity, .format = result.format};
  } catch (const PropertyListError&) {
    return failure(StoreFault::damaged, EILSEQ);
  } catch (const std::bad_alloc&) {
    return failure(StoreFault::outOfMemory, ENOMEM);
  }
}

StoreResult<SettingsListFile::Written> SettingsListFile::write(const PropertyList::Dictionary& values,
                                                               PropertyListFormat format) const {
  const std::string beginning = target() + ".new-";
  removeAbandoned(beginning, files_);
  Written written{.path = beginning + std::to_string(writer_), .identity = {}};
  if (const auto filled = fill(written.path, values, format); !filled) {
    discard(written);
    return std::unexpected(filled.error());
  }
  written.identity = identityAt(written.path, files_);
  if (!written.identity.isNone()) return written;
  discard(written);
  return failure(StoreFault::missing, ENOENT);
}

StoreResult<> SettingsListFile::fill(const std::string& path, const PropertyList::Dictionary& values,
                                     PropertyListFormat format) const {
  const auto former = files_.status(path_);
  if (const auto removed = files_.remove(path); !removed) return removed;
  const auto file = files_.open(path, O_WRONLY | O_CREAT | O_EXCL, 0600);
  if (!file) return std::unexpected(file.error());
  const auto result = files_.writeAll(file->get(), encoded(values, format).text());
  if (!result) return result;
  if (former) {
    if (former->st_uid != ::geteuid() || former->st_gid != ::getegid()) {
      files_.setOwner(file->get(), former->st_uid, former->st_gid);
    }
    if (const auto set = files_.setMode(file->get(), former->st_mode & 07777); !set) return set;
  }
  return files_.synchronize(file->get());
}

void SettingsListFile::discard(const Written& written) const { static_cast<void>(files_.remove(written.path)); }

StoreResult<bool> SettingsListFile::put(const Written& written, const FileIdentity& expected) const {
  const std::string target = this->target();
  const bool isExchanged = !expected.isNone() && files_.rename(written.path, target, Replacing::exchange).has_value();
  if (!isExchanged) {
    const auto renamed = files_.rename(written.path, target, Replacing::replace);
    if (!renamed) return std::unexpected(renamed.error());
    return false;
  }
  if (identityAt(written.path, files_) != expected) return true;
  discard(written);
  return false;
}

StoreResult<> SettingsListFile::synchronizeDirectories() const {
  const std::string own = directoryOfPath(path_);
  const std::string other = targetDirectory();
  const auto result = synchronizePath(own, O_DIRECTORY, files_);
  return !result || other == own ? result : synchronizePath(other, O_DIRECTORY, files_);
}

StoreResult<> SettingsListFile::synchronize() const {
  const auto result = synchronizePath(path_, O_NONBLOCK | O_NOCTTY, files_);
  if (result) return synchronizeDirectories();
  return result.error().fault == StoreFault::missing ? failure(StoreFault::outdated) : result;
}

StoreResult<std::string> SettingsListFile::setAsideIfDamaged() const {
  const std::string target = this->target();
  const auto status = files_.status(target);
  const bool isFile = status && S_ISREG(status->st_mode);
  if (isFile) {
    const auto found = read(target);
    if (found || found.error().fault != StoreFault::damaged) return std::string();
  }
  return setAside(isFile ? target : path_, isFile ? target : path_, SettingAside::move, files_);
}

StoreResult<std::string> SettingsListFile::setReplacedAside(const Written& written) const {
  return setAside(written.path, target(), SettingAside::move, files_);
}

}  // namespace Tessaly::inline v1::detail
