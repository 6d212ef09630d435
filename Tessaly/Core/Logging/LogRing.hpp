// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string_view>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Locks/UnfairLock.hpp"
#include "Tessaly/Core/Logging/LogRecord.hpp"

namespace Tessaly::inline v1 {

/// A record of a ring, with its composed message. Private arguments are redacted unless
/// `LogConfiguration::setPrivateDataShown` was on when the record was appended. The record's texts point into the
/// `LogChunk` that returned the record. They become invalid when `LogRing::read` fills that chunk again, or when the
/// chunk is destroyed.
struct StoredLogRecord {
  LogTime time;
  OSLogType type = OSLogType::default_;
  OSLog log;
  std::int32_t processIdentifier = 0;
  std::uint32_t threadIdentifier = 0;
  std::string_view message;
  std::string_view file;
  std::string_view function;
  unsigned line = 0;
  std::optional<LogSignpost> signpost;
};

/// A position between two records of a ring.
struct LogCursor {
  std::uint64_t position = 0;
  std::uint64_t sequence = 0;
};

/// Records that were copied out of a ring, so that a reader needs no lock.
///
/// Thread contract: thread-compatible.
///
///     LogChunk chunk;
///     LogCursor cursor = ring.begin();
///     const LogCursor end = ring.end();
///     while (ring.read(cursor, end, chunk)) {
///       while (auto record = chunk.next()) show(record->message);
///     }
class TESSALY_EXPORT LogChunk {
 public:
  LogChunk();

  /// The next record, or nothing after the last.
  [[nodiscard]] std::optional<StoredLogRecord> next() noexcept;
  /// The position before the record that `next` will return.
  [[nodiscard]] LogCursor cursor() const noexcept;
  /// The number of records that the cursor skipped, because the ring evicted them before `LogRing::read` filled this
  /// chunk.
  [[nodiscard]] std::uint64_t lostRecords() const noexcept { return lostRecords_; }

 private:
  friend class LogRing;

  std::unique_ptr<std::byte[]> bytes_;
  std::size_t size_ = 0;
  std::size_t at_ = 0;
  LogCursor cursor_;
  std::uint64_t lostRecords_ = 0;
};

/// Log records in one contiguous block of memory of fixed size. Appending to a full ring evicts the oldest records.
///
/// Appending takes one lock and allocates nothing. The system provides each page of the block when the page is first
/// written. Readers copy at most 8 KiB, or one longer record, at a time under the lock, so a writer waits only briefly.
/// Messages longer than 32 KiB, or longer than an eighth of the ring, are cut.
///
/// Thread contract: thread-safe.
///
///     LogRing ring(64 * 1024);
///     ring.append(record);
class TESSALY_EXPORT LogRing {
 public:
  /// Makes an empty ring. The size is rounded down to a power of two, and is at least 4 KiB.
  explicit LogRing(std::size_t capacityInBytes);

  void append(const LogRecord& record) noexcept TESSALY_EXCLUDES(lock_);

  /// The position before the oldest record of the ring.
  [[nodiscard]] LogCursor begin() const noexcept TESSALY_EXCLUDES(lock_);
  /// The position after the newest record.
  [[nodiscard]] LogCursor end() const noexcept TESSALY_EXCLUDES(lock_);
  /// Copies the next records between the cursor and `end` to the chunk: at most 8 KiB, or one longer record. If records
  /// after the cursor were evicted, the copy begins at the oldest record, and `chunk.lostRecords()` counts the evicted
  /// ones. Moves the cursor to the position after the copied records. Returns false if no record was copied and none
  /// was lost.
  bool read(LogCursor& cursor, const LogCursor& end, LogChunk& chunk) const noexcept TESSALY_EXCLUDES(lock_);

  [[nodiscard]] std::size_t capacityInBytes() const noexcept { return capacity_; }
  /// The number of bytes of the block that records take up. Includes the gap that remains if a record does not fit at
  /// the end of the block.
  [[nodiscard]] std::size_t usedBytes() const noexcept;

  /// Whether the lock could be taken in one of 100 attempts. False if the calling thread itself holds the lock.
  [[nodiscard]] bool isLockObtainable() const noexcept TESSALY_EXCLUDES(lock_);
  /// Makes the ring usable in the child of a fork, even if a thread of the parent held the lock. The ring does not
  /// contain half-written records.
  void resetAfterFork() noexcept;

 private:
  friend class LogChunk;
  struct Header;

  Header& headerAt(std::uint64_t position) const noexcept;
  void evictFor(std::size_t size) noexcept TESSALY_REQUIRES(lock_);

  const std::size_t capacity_;
  const std::size_t maximumMessageBytes_;
  const std::unique_ptr<std::byte[]> bytes_;
  mutable UnfairLock lock_;
  // These members are written under the lock only. They are atomic so that the child of a fork sees the writes in the
  // order in which they were made.
  std::atomic<std::uint64_t> head_{0};
  std::atomic<std::uint64_t> tail_{0};
  std::atomic<std::uint64_t> evicted_{0};
  std::atomic<std::uint64_t> appended_{0};
};

}  // namespace Tessaly::inline v1
