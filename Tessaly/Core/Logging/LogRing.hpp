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

/// A record as it stands in a ring: composed, private arguments already redacted. Its texts live in the chunk that it
/// was read from.
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

/// A place between two records of a ring.
struct LogCursor {
  std::uint64_t position = 0;
  std::uint64_t sequence = 0;
};

/// Some records copied out of a ring, to be looked at without its lock.
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
  /// Before the record that `next` will return.
  [[nodiscard]] LogCursor cursor() const noexcept;
  /// How many records were evicted before they could be read, between the last chunk of the same cursor and this one.
  [[nodiscard]] std::uint64_t lostRecords() const noexcept { return lostRecords_; }

 private:
  friend class LogRing;

  std::unique_ptr<std::byte[]> bytes_;
  std::size_t size_ = 0;
  std::size_t at_ = 0;
  LogCursor cursor_;
  std::uint64_t lostRecords_ = 0;
};

/// Log records in one contiguous block of memory of fixed size: appending evicts the oldest ones.
///
/// Appending takes one lock and allocates nothing; the block's pages are taken from the system as they are first
/// written. Readers copy up to 8 KiB at a time under the lock, so that they never hold a writer up for long. Messages
/// longer than 32 KiB (or an eighth of the ring) are cut.
///
/// Thread contract: thread-safe.
///
///     LogRing ring(64 * 1024);
///     ring.append(record);
class TESSALY_EXPORT LogRing {
 public:
  /// The size is rounded down to a power of two, and is at least 4 KiB.
  explicit LogRing(std::size_t capacityInBytes);

  void append(const LogRecord& record) noexcept TESSALY_EXCLUDES(lock_);

  /// Before the oldest record that is still there.
  [[nodiscard]] LogCursor begin() const noexcept TESSALY_EXCLUDES(lock_);
  /// Behind the newest record.
  [[nodiscard]] LogCursor end() const noexcept TESSALY_EXCLUDES(lock_);
  /// Copies records from the cursor on into the chunk and moves the cursor behind them; false at `end`.
  bool read(LogCursor& cursor, const LogCursor& end, LogChunk& chunk) const noexcept TESSALY_EXCLUDES(lock_);

  [[nodiscard]] std::size_t capacityInBytes() const noexcept { return capacity_; }
  /// How much of the block records take up.
  [[nodiscard]] std::size_t usedBytes() const noexcept;

  /// Whether the lock could be taken within some microseconds. False when the calling thread itself holds it.
  [[nodiscard]] bool isLockObtainable() const noexcept TESSALY_EXCLUDES(lock_);
  /// Makes the ring usable in the child of a fork, whatever the parent's other threads were doing. A record that was
  /// half written is not there.
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
  // Written under the lock only; atomic so that a child of fork finds them in the order in which they were written.
  std::atomic<std::uint64_t> head_{0};
  std::atomic<std::uint64_t> tail_{0};
  std::atomic<std::uint64_t> evicted_{0};
  std::atomic<std::uint64_t> appended_{0};
};

}  // namespace Tessaly::inline v1
