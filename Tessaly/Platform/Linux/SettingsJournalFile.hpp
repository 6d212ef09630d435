// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/detail/OwnedDescriptor.hpp"
#include "Tessaly/Platform/Linux/SettingsFileSystem.hpp"
#include "Tessaly/Platform/Settings/detail/SettingsJournal.hpp"
#include "Tessaly/Platform/Settings/detail/StoreProblem.hpp"

namespace Tessaly::inline v1::detail {

/// The journal file that a store has open, and its state: whether it may be written, how far it was read, and whether
/// it is still the same file with the same contents. Does not know the values.
///
/// A new file has a temporary name at first, so that no process ever sees an incomplete header.
///
/// Thread contract: thread-compatible.
class SettingsJournalFile {
 public:
  /// The relation of the open file to the file at the path.
  enum class Standing : std::uint8_t {
    current,
    /// The path has another file, or no file.
    replaced,
    /// The path has the same file, but the bytes that were read of it have changed.
    overwritten,
  };

  SettingsJournalFile(SettingsFileSystem& files, const std::string& directory, std::uint64_t writer);

  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] const std::string& oldPath() const noexcept { return oldPath_; }
  [[nodiscard]] bool isOpen() const noexcept { return file_.isOpen(); }
  [[nodiscard]] bool isWritable() const noexcept { return isWritable_; }
  /// Whether its header was read, and records are read from `offset()` on.
  [[nodiscard]] bool isFollowed() const noexcept { return isFollowed_; }
  /// The nonce of the journal that is followed, or was followed last. 0 if its successor cannot be recognised.
  [[nodiscard]] std::uint64_t nonce() const noexcept { return nonce_; }
  [[nodiscard]] std::uint32_t lineage() const noexcept { return lineage_; }
  [[nodiscard]] std::uint64_t offset() const noexcept { return offset_; }
  [[nodiscard]] bool hasNews() const noexcept { return size_ != offset_; }
  /// Whether the path may have another file, or this file may have changed since `standing()`.
  [[nodiscard]] bool mayHaveChanged();

  /// Opens the file for reading and, if wanted and allowed, for writing.
  [[nodiscard]] StoreResult<> open(bool forWriting);
  void close() noexcept;
  void forgetNonce() noexcept { nonce_ = 0; }
  [[nodiscard]] StoreResult<> lock(LockMode mode) { return files_.lock(file_.get(), mode); }
  void unlock() noexcept {
    if (file_.isOpen()) files_.unlock(file_.get());
  }
  [[nodiscard]] StoreResult<Standing> standing();
  /// Whether the last known bytes are still in the open file.
  [[nodiscard]] StoreResult<bool> isIntact();

  [[nodiscard]] StoreResult<std::string> contents(std::size_t maximum = SIZE_MAX);
  /// Begins to follow a journal with this header. `known` is the beginning of the journal that was already read.
  void follow(const JournalHeader& header, std::string_view known);
  /// The bytes behind `offset()`, which are valid until the next call. Fails if the known bytes before them have
  /// changed.
  [[nodiscard]] StoreResult<std::string_view> news();
  /// Marks that many bytes of the news as read.
  void advance(std::size_t count);

  /// Appends one record with one write. Returns true if no other process has appended anything since the last read.
  /// Then this record counts as read.
  [[nodiscard]] StoreResult<bool> append(std::string_view record);
  /// Appends several records with one write. They are read later, like the records of other processes.
  [[nodiscard]] StoreResult<> appendAll(std::string_view records);
  [[nodiscard]] StoreResult<> synchronize() { return files_.synchronize(file_.get()); }

  /// Makes a journal if the path has none. Does nothing if another process has just made one.
  [[nodiscard]] StoreResult<> create(const JournalHeader& header, std::string_view records);
  /// Replaces this journal by another one. Keeps a journal that is not empty under a new name, and returns that name.
  /// Otherwise returns the journal's own path. Needs the exclusive lock.
  [[nodiscard]] StoreResult<std::string> replace(const JournalHeader& header, std::string_view records);
  /// Makes this journal the old journal, and continues with an empty journal. Needs the exclusive lock.
  [[nodiscard]] StoreResult<> rotate(const JournalHeader& header);

 private:
  [[nodiscard]] StoreResult<OwnedDescriptor> make(const JournalHeader& header, std::string_view records, mode_t mode);
  /// Gives the file the name of the old journal. Returns the way in which the new journal must take its place.
  [[nodiscard]] StoreResult<Replacing> moveToOld();
  void remember(const struct stat& status) noexcept;

  SettingsFileSystem& files_;
  const std::string path_;
  const std::string oldPath_;
  const std::string temporaryPath_;
  OwnedDescriptor file_;
  std::uint64_t inode_ = 0;
  std::uint64_t device_ = 0;
  std::uint64_t nonce_ = 0;
  std::uint32_t lineage_ = 0;
  std::uint64_t offset_ = 0;
  std::uint64_t size_ = 0;
  std::uint64_t reserved_ = 0;
  std::int64_t modified_ = 0;
  /// The last bytes before the offset: another program that overwrites the file changes them.
  std::string tail_;
  std::string buffer_;
  bool isWritable_ = false;
  bool isFollowed_ = false;
};

}  // namespace Tessaly::inline v1::detail
