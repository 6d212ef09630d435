// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"

namespace Tessaly::inline v1::detail {

/// The checksum of Castagnoli, Bräuer and Herrmann (Optimization of cyclic redundancy-check codes, 1993), CRC-32C.
[[nodiscard]] TESSALY_EXPORT std::uint32_t checksum(std::uint32_t seed, std::string_view bytes) noexcept;

/// What tells one state of a file from another.
struct FileIdentity {
  std::uint64_t inode = 0;
  std::uint64_t size = 0;
  std::int64_t modified = 0;

  [[nodiscard]] bool isNone() const noexcept { return inode == 0; }
  friend bool operator==(const FileIdentity&, const FileIdentity&) noexcept = default;
};

/// How every journal begins.
struct JournalHeader {
  static constexpr std::size_t size = 64;
  static constexpr std::uint32_t currentVersion = 1;

  std::uint32_t version = currentVersion;
  /// Random. Records carry it in their checksums, so that bytes of another journal, which a value may hold, are none.
  std::uint64_t nonce = 0;
  /// That of the journal before this one; 0 if there was none.
  std::uint64_t predecessor = 0;
  /// The property list that was current when the journal began.
  FileIdentity checkpoint = {};

  [[nodiscard]] TESSALY_EXPORT std::string encoded() const;
  /// Nothing when the bytes are no header. A header of a later version has only its version; the checksum stands at the
  /// same place in every version, so that damage is not taken for one.
  [[nodiscard]] TESSALY_EXPORT static std::optional<JournalHeader> from(std::string_view bytes) noexcept;
};

/// One record of a journal.
struct JournalRecord {
  enum class Kind : std::uint8_t {
    /// The key now has the value, a binary property list.
    set = 1,
    remove = 2,
    /// The file of that identity, about to be put in place, holds the state at the beginning of this journal.
    checkpoint = 3,
    /// As before, and it holds changes by other programs that no record tells: read everything again.
    checkpointWithUnknownChanges = 4,
    /// The changes that another program made by writing the file of that identity are in the records before this one.
    adoption = 5,
    /// As before, and the file holds changes by other programs that no record tells: read everything again.
    adoptionWithUnknownChanges = 6,
  };
  /// Whose records tell of another program's changes to the property list, which hold there.
  static constexpr std::uint64_t otherProgram = 0;
  /// The same, where a checkpoint has replaced that property list at once.
  static constexpr std::uint64_t otherProgramReplaced = 1;

  Kind kind = Kind::set;
  std::uint64_t writer = otherProgram;
  std::string_view key = {};
  std::string_view value = {};

  /// The identity that a record of the later kinds tells.
  [[nodiscard]] TESSALY_EXPORT std::optional<FileIdentity> identity() const noexcept;
  [[nodiscard]] TESSALY_EXPORT static std::string encodedIdentity(const FileIdentity& identity);

  [[nodiscard]] TESSALY_EXPORT std::string encoded(std::uint64_t nonce) const;
  /// The bytes that a record takes besides its key and value.
  static constexpr std::size_t overhead = 29;
};

/// Finds the records in a part of a journal, and skips what is none: a record that a process was killed in the middle
/// of is followed by those of others.
///
/// Thread contract: thread-compatible.
class JournalReader {
 public:
  /// The bytes begin where a record may begin: behind the header, or where the last reader stopped.
  JournalReader(std::string_view bytes, std::uint64_t nonce) noexcept : bytes_(bytes), nonce_(nonce) {}

  /// The next record, whose texts are those of the bytes; nothing when no more is whole.
  [[nodiscard]] TESSALY_EXPORT std::optional<JournalRecord> next() noexcept;
  /// Behind the last whole record. What follows there may still be in the making.
  [[nodiscard]] std::size_t position() const noexcept { return position_; }
  /// How many bytes were skipped.
  [[nodiscard]] std::size_t skipped() const noexcept { return skipped_; }

 private:
  std::string_view bytes_;
  std::uint64_t nonce_;
  std::size_t position_ = 0;
  std::size_t skipped_ = 0;
};

}  // namespace Tessaly::inline v1::detail
