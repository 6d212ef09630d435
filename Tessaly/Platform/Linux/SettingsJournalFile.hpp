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

/// The journal file that a store has open, and the state of this file. The state says whether the file may be written
/// and how far it was read. It also says whether the path still has this file, and whether the bytes that were read are
/// unchanged. This class does not know the values.
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
    /// The path has the same file, but bytes that were already read from this file have changed.
    overwritten,
  };

  SettingsJournalFile(SettingsFileSystem& files, const std::string& directory, std::uint64_t writer);

  [[nodiscard]] const std::string& path() const noexcept { return path_; }
  [[nodiscard]] const std::string& oldPath() const noexcept { return oldPath_; }
  [[nodiscard]] bool isOpen() const noexcept { return file_.isOpen(); }
  [[nodiscard]] bool isWritable() const noexcept { return isWritable_; }
  /// Whether the header was read, so that records can be read from `offset()` on.
  [[nodiscard]] bool isFollowed() const noexcept { return isFollowed_; }
  /// The nonce of the journal that is followed, or was followed last. 0 if no journal was followed yet, and after
  /// `forgetNonce`. While it is 0, no journal counts as the successor of the last one.
  [[nodiscard]] std::uint64_t nonce() const noexcept { return nonce_; }
  [[nodiscard]] std::uint32_t lineage() const noexcept { return lineage_; }
  [[nodiscard]] std::uint64_t offset() const noexcept { return offset_; }
  [[nodiscard]] bool hasNews() const noexcept { return size_ != offset_; }
  /// Whether the open file may have changed since it was last read, or may no longer be the file at the path.
  [[nodiscard]] bool mayHaveChanged();

  /// Opens the file for reading, and for writing if `forWriting` is true and the system permits writing.
  [[nodiscard]] StoreResult<> open(bool forWriting);
  void close() noexcept;
  void forgetNonce() noexcept { nonce_ = 0; }
  [[nodiscard]] StoreResult<> lock(LockMode mode) { return files_.lock(file_.get(), mode); }
  void unlock() noexcept {
    if (file_.isOpen()) files_.unlock(file_.get());
  }
  [[nodiscard]] StoreResult<Standing> standing();
  /// Whether the last bytes before `offset()` are still the same in the open file.
  [[nodiscard]] StoreResult<bool> isIntact();

  [[nodiscard]] StoreResult<std::string> contents(std::size_t maximum = SIZE_MAX);
  /// Begins to follow a journal with this header. `known` must be the part that was already read, from the journal's
  /// first byte on. So `known` includes the header.
  void follow(const JournalHeader& header, std::string_view known);
  /// The bytes behind `offset()`, which are valid until the next call of `news`. Fails with `overwritten` if the file
  /// is shorter than `offset()`, or if it has new bytes but the last bytes before `offset()` have changed.
  [[nodiscard]] StoreResult<std::string_view> news();
  /// Marks the first `count` bytes of the last `news()` as read. The caller must call this at most once for each call
  /// of `news`.
  void advance(std::size_t count);

  /// Appends one record with one write. Returns true if no other process has appended anything since the last read. In
  /// this case the new record counts as read.
  [[nodiscard]] StoreResult<bool> append(std::string_view record);
  /// Appends several records with one write. The new records do not count as read: `news` returns them, like the
  /// records of other processes.
  [[nodiscard]] StoreResult<> appendAll(std::string_view records);
  [[nodiscard]] StoreResult<> synchronize() { return files_.synchronize(file_.get()); }

  /// Makes a journal at the path, but does not open it. Also succeeds, without an effect, if the path already has a
  /// file.
  [[nodiscard]] StoreResult<> create(const JournalHeader& header, std::string_view records);
  /// Replaces this journal with a new one. If this journal is not empty, keeps it at a new path and returns that path.
  /// For an empty journal, returns an empty path. Does not open the new journal. The caller must hold the exclusive
  /// lock.
  [[nodiscard]] StoreResult<std::string> replace(const JournalHeader& header, std::string_view records);
  /// Moves this journal to `oldPath()`, and continues with a new journal without records. Fails if `oldPath()` already
  /// has a file. The caller must hold the exclusive lock.
  [[nodiscard]] StoreResult<> rotate(const JournalHeader& header);

 private:
  [[nodiscard]] StoreResult<OwnedDescriptor> make(const JournalHeader& header, std::string_view records, mode_t mode);
  /// Adds a hard link to this journal at `oldPath()`, or renames the journal to `oldPath()` if hard links are not
  /// possible. Returns the way in which the caller must rename the new journal to `path()`.
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
  /// A copy of the bytes directly before `offset_`, at most 16. If they differ from the bytes in the file, another
  /// program has overwritten the file.
  std::string tail_;
  std::string buffer_;
  bool isWritable_ = false;
  bool isFollowed_ = false;
};

}  // namespace Tessaly::inline v1::detail
