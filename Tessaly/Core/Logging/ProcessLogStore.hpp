// SPDX-License-Identifier: MIT
// Component: Tessaly::Logging
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Tessaly/Core/Base/Export.hpp"
#include "Tessaly/Core/Logging/LogRing.hpp"

namespace Tessaly::inline v1 {

/// A record of a `ProcessLogStore`, with its composed message. Private arguments are redacted unless
/// `LogConfiguration::setPrivateDataShown` was on when the record was appended.
///
/// Thread contract: thread-compatible.
///
///     for (const auto& entry : OSLogStore::currentProcess().entries(since)) {
///       if (!entry.signpost) std::cout << entry.category() << ": " << entry.composedMessage << '\n';
///     }
struct TESSALY_EXPORT LogEntry {
  /// The importance of an entry, as a number.
  enum class Level : std::int32_t { undefined = 0, debug = 1, info = 2, notice = 3, error = 4, fault = 5 };

  /// A mark on a timeline. An entry with a signpost is not a message.
  struct Signpost {
    LogSignpostKind kind = LogSignpostKind::event;
    std::uint64_t id = 0;
    std::string name;
  };

  LogTime date;
  OSLogType type = OSLogType::default_;
  OSLog log;
  std::string composedMessage;
  std::int32_t processIdentifier = 0;
  std::uint32_t threadIdentifier = 0;
  std::optional<Signpost> signpost;

  /// The level that corresponds to `type`. The level of `default_` is `notice`.
  [[nodiscard]] Level level() const noexcept;
  [[nodiscard]] const std::string& subsystem() const noexcept { return log.subsystem(); }
  [[nodiscard]] const std::string& category() const noexcept { return log.category(); }
};

/// The newest records of this process, in a block of memory of fixed size. The default of 1 MiB holds about 8,000
/// records of ordinary length. New records evict the oldest records, regardless of the records' types.
///
/// Thread contract: thread-safe.
///
///     ProcessLogStore store(256 * 1024);
///     store.append(record);
///     const auto lastMinute = store.entries(std::chrono::system_clock::now() - std::chrono::minutes(1));
class TESSALY_EXPORT ProcessLogStore {
 public:
  static constexpr std::size_t defaultCapacityInBytes = std::size_t{1024} * 1024;

  /// Makes an empty store. The capacity is rounded down to a power of two, and is at least 4 KiB.
  explicit ProcessLogStore(std::size_t capacityInBytes = defaultCapacityInBytes) : ring_(capacityInBytes) {}

  /// Keeps a record. Never allocates, never fails. Cuts a message that is longer than 32 KiB or an eighth of the
  /// capacity.
  void append(const LogRecord& record) noexcept { ring_.append(record); }

  /// Copies of the records dated `since` or later, in time order. The result does not contain records that are written
  /// during the call.
  [[nodiscard]] std::vector<LogEntry> entries(LogTime since = LogTime::min()) const;

  [[nodiscard]] std::size_t capacityInBytes() const noexcept { return ring_.capacityInBytes(); }
  [[nodiscard]] std::size_t usedBytes() const noexcept { return ring_.usedBytes(); }
  /// The number of records that have been evicted so far.
  [[nodiscard]] std::uint64_t evictedRecords() const noexcept { return ring_.begin().sequence; }

  /// The ring that contains the records, for backends that pass the records on.
  [[nodiscard]] LogRing& ring() noexcept { return ring_; }

 private:
  LogRing ring_;
};

}  // namespace Tessaly::inline v1
