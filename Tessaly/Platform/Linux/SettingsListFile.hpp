// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <string>

#include "Tessaly/Core/Foundation/PropertyList.hpp"
#include "Tessaly/Core/Foundation/PropertyListSerialization.hpp"
#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"
#include "Tessaly/Platform/Settings/detail/StoreProblem.hpp"

namespace Tessaly::inline v1::detail {

/// The property-list file of a store. Reads the file, writes a new file beside it, and replaces the file with the new
/// one. This class does not know the journal.
///
/// Thread contract: thread-compatible.
class SettingsListFile {
 public:
  struct Contents {
    /// Always a dictionary.
    PropertyList values;
    FileIdentity identity;
    PropertyListFormat format;
  };
  /// A property list that was written beside the present one.
  struct Written {
    std::string path;
    FileIdentity identity;
  };

  SettingsListFile(SettingsFileSystem& files, const std::string& directory, std::uint64_t writer);

  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  /// The directory of the file itself, after all symbolic links at the path were followed.
  [[nodiscard]] std::string targetDirectory() const;
  /// The identity of the file. `isNone()` is true if there is no file, or if the file's status cannot be read.
  [[nodiscard]] FileIdentity identity() const { return look().value_or(FileIdentity{}); }
  /// The identity of the file. `isNone()` is true if there is no file. Fails if the status of an existing file cannot
  /// be read.
  [[nodiscard]] StoreResult<FileIdentity> look() const;

  /// Reads the file at the path. Fails with `missing` if the path has no file. Fails with `damaged` if the file is
  /// malformed, or if its property list is not a dictionary.
  [[nodiscard]] StoreResult<Contents> read() const { return read(path_); }
  [[nodiscard]] StoreResult<Contents> read(const std::string& path) const;

  /// Writes the values to a new file beside the present file, and waits until the new file is on the disk. Uses the
  /// binary format if the given format cannot represent all values exactly. Removes the files that killed processes
  /// left more than a minute ago.
  [[nodiscard]] StoreResult<Written> write(const PropertyList::Dictionary& values, PropertyListFormat format) const;
  void discard(const Written& written) const;
  /// Puts the written file in place. Returns true if the written file was exchanged with the present file, and the
  /// present file was not the expected one. In this case the replaced file stands at `written.path`.
  [[nodiscard]] StoreResult<bool> put(const Written& written, const FileIdentity& expected) const;
  /// Waits until the entries of the store's directory, and those of `targetDirectory()`, are on the disk.
  [[nodiscard]] StoreResult<> synchronizeDirectories() const;
  /// Waits until the file is on the disk, and then does the same as `synchronizeDirectories`. Fails with `outdated` if
  /// there is no file now.
  [[nodiscard]] StoreResult<> synchronize() const;
  /// Sets the present file aside if it is damaged. If the path leads to something other than a regular file, moves only
  /// the entry at the path, such as a link. Returns the new path, or an empty text if the file is not damaged.
  [[nodiscard]] StoreResult<std::string> setAsideIfDamaged() const;
  /// Sets aside the replaced file at `written.path`. The caller may call this function only after `put` has returned
  /// true. Does not check whether that file is damaged. Returns the new path.
  [[nodiscard]] StoreResult<std::string> setReplacedAside(const Written& written) const;

 private:
  [[nodiscard]] std::string target() const;
  [[nodiscard]] StoreResult<> fill(const std::string& path, const PropertyList::Dictionary& values,
                                   PropertyListFormat format) const;

  SettingsFileSystem& files_;
  const std::string path_;
  const std::uint64_t writer_;
};

}  // namespace Tessaly::inline v1::detail
