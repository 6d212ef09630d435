// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// The CRC-32C checksum of the bytes (Castagnoli, Bräuer and Herrmann: Optimization of cyclic redundancy-check codes,
/// 1993). `seed` must be 0, or the checksum of the bytes that precede these bytes.
[[nodiscard]] TESSALY_EXPORT std::uint32_t crc32c(std::uint32_t seed, std::string_view bytes) noexcept;

/// The inode, size and modification time of a file, which together identify one state of the file.
struct FileIdentity {
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified = 0;

  [[nodiscard]] bool isNone() const noexcept { return inode == 0; }
  friend bool operator==(const FileIdentity&, const FileIdentity&) noexcept = default;
};

/// The beginning of every journal.
struct JournalHeader {
  static constexpr std::size_t size = 64;
  static constexpr std::uint32_t currentVersion = 1;

  std::uint32_t version = currentVersion;
  /// A random number that the checksums of all records include. If a value contains bytes of another journal, those
  /// bytes therefore do not count as records.
  std::uint64_t nonce = 0;
  /// The nonce of the journal before this one; 0 if there was none.
  std::uint64_t predecessor = 0;
  /// The property list that was current when the journal began.
  FileIdentity checkpoint = {};
  /// A random number. A checkpoint copies it into the next journal, or makes a new number if it is 0. A journal that no
  /// checkpoint made has a new number, and may lack values of the journal before it. 0 in journals of older versions of
  /// the library.
  std::uint32_t lineage = 0;

  [[nodiscard]] TESSALY_EXPORT std::string encoded() const;
  /// The header at the beginning of the bytes. Absent if there is no valid header. For a header of a later version,
  /// only `version` is set. The checksum stands at the same place in every version, so damage does not look like a
  /// later version.
  [[nodiscard]] TESSALY_EXPORT static std::optional<JournalHeader> from(std::string_view bytes) noexcept;
};

/// One record of a journal.
struct JournalRecord {
  enum class Kind : std::uint8_t {
    /// The key now has the value, a binary property list.
    set = 1,
    remove = 2,
    /// A checkpoint is about to put a new property list in place. The new list holds the values that were current when
    /// this journal began. The record holds the identity of the new list.
    checkpoint = 3,
    /// Like `checkpoint`. The new list also has other programs' changes that no record holds, so every other process
    /// reads everything again.
    checkpointWithUnknownChanges = 4,
    /// Another program wrote the property list whose identity is in the record. The records before this one hold the
    /// changes of that program.
    adoption = 5,
    /// Like `adoption`. The list also has other programs' changes that no record holds, so every other process reads
    /// everything again.
    adoptionWithUnknownChanges = 6,
    /// Another journal was lost after a process had read a part of it. The records before this one restore the changes
    /// in that part. Earlier versions of the library ignore this kind.
    restoration = 7,
    /// Several keys have changed together. The value holds the changes.
    batch = 8,
  };
  /// One change of a key. The value is a binary property list. A change without a value is a removal.
  struct Change {
    std::string_view key;
    std::optional<std::string_view> value;
  };
  /// The writer number of records with another program's changes, if the present property list contains those changes.
  static constexpr std::uint64_t otherProgram = 0;
  /// The writer number of records with another program's changes, if a checkpoint has already replaced that program's
  /// property list. Also the writer number of records that restore the values of another journal.
  static constexpr std::uint64_t otherProgramReplaced = 1;

  Kind kind = Kind::set;
  std::uint64_t writer = otherProgram;
  std::string_view key = {};
  std::string_view value = {};

  /// The identity in a record of a checkpoint or an adoption. Absent for any other record and for a malformed record.
  [[nodiscard]] TESSALY_EXPORT std::optional<FileIdentity> identity() const noexcept;
  [[nodiscard]] TESSALY_EXPORT static std::string encodedIdentity(const FileIdentity& identity);

  /// The changes of a record whose kind is `set`, `remove` or `batch`. Empty for any other kind and for a malformed
  /// batch.
  [[nodiscard]] TESSALY_EXPORT std::vector<Change> changes() const;
  /// Returns the value of a record of the kind `batch` that holds these changes.
  [[nodiscard]] TESSALY_EXPORT static std::string encodedChanges(std::span<const Change> changes);
  /// The number of bytes that a change takes in a batch besides its key and value.
  static constexpr std::size_t changeOverhead = 9;
  /// The maximum number of bytes of all changes of one record, including the overhead of each change.
  static constexpr std::size_t maximumChanges = std::size_t{1} << 30;

  /// The part of a lost journal that a process had read: the nonce of that journal, the position up to which the
  /// process had read it, and the number of changes of each writer in that part.
  struct Restoration {
    std::uint64_t nonce = 0;
    std::uint64_t offset = 0;
    std::unordered_map<std::uint64_t, std::uint32_t> changes = {};
  };
  /// The contents of a record of the kind `restoration`. Absent for any other record and for a malformed record.
  [[nodiscard]] TESSALY_EXPORT std::optional<Restoration> restoration() const;
  [[nodiscard]] TESSALY_EXPORT static std::string encodedRestoration(const Restoration& restoration);

  [[nodiscard]] TESSALY_EXPORT std::string encoded(std::uint64_t nonce) const;
  /// The number of bytes that a record takes besides its key and value.
  static constexpr std::size_t overhead = 29;
};

/// Finds the records in a part of a journal, and skips all other bytes. A killed process may leave an incomplete
/// record, and other processes append their records after it.
///
/// Thread contract: thread-compatible.
class JournalReader {
 public:
  /// The bytes must begin directly after the header, or directly after the last record that an earlier reader returned.
  JournalReader(std::string_view bytes, std::uint64_t nonce) noexcept : bytes_(bytes), nonce_(nonce) {}

  /// The next record, or nothing if no whole record is left. The `key` and the `value` of the record are views into the
  /// bytes that the constructor received. A record whose only damage is in its length field counts as whole.
  [[nodiscard]] TESSALY_EXPORT std::optional<JournalRecord> next();
  /// The offset at which the last record that `next` has returned ends; 0 before the first record. A process may still
  /// be writing the bytes that follow.
  [[nodiscard]] std::size_t position() const noexcept { return position_; }
  /// The bytes of damaged records before `position`. Includes the records with a damaged length field that `next` has
  /// returned. Does not include an incomplete record whose writer was killed.
  [[nodiscard]] const std::vector<std::string_view>& damaged() const noexcept { return damaged_; }
  /// The bytes of damaged records after the last whole record. Call this function after `next` has returned nothing.
  [[nodiscard]] TESSALY_EXPORT std::vector<std::string_view> damagedAtEnd() const;

 private:
  void skip(std::string_view gap, std::vector<std::string_view>& damaged) const;

  std::string_view bytes_;
  std::uint64_t nonce_;
  std::size_t position_ = 0;
  std::vector<std::string_view> damaged_;
};

/// The keys in the bytes of a damaged record, as far as they can still be read.
[[nodiscard]] TESSALY_EXPORT std::vector<std::string_view> keysOfDamagedRecord(std::string_view bytes);

/// The header and the records of a whole journal. The records can be read even if the header is damaged.
struct JournalContents {
  /// If the header is damaged, only `nonce` is set. If the header is of a later version, only `version` is set.
  JournalHeader header;
  bool isHeaderDamaged = false;
  /// The bytes after the header.
  std::string_view records;

  /// The journal in the bytes. If the header is damaged, this function tries several nonces and uses the first nonce
  /// with which it finds a record. The function first tries `likelyNonce`, unless that is 0. Then it tries the nonce in
  /// the header, and each nonce that differs from the header's nonce in one bit. If no nonce leads to a record, the
  /// result is absent.
  [[nodiscard]] TESSALY_EXPORT static std::optional<JournalContents> from(std::string_view bytes,
                                                                          std::uint64_t likelyNonce = 0);
};

}  // namespace Tessaly::inline v1::detail
